#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# diagpanel follow against a BMC that misbehaves on purpose (host/fake_bmc), one run a row: what
# the BMC does wrong, and what a user must see of it. Each BMC is started here on 127.0.0.1 at a
# free port with the SEL of data/sel.bin (records 1 to 6; the misbehaviour touches record 2) and
# stopped by its process id whatever happens. Every wait is bounded.
#   hostile_bmc_test.sh TOOL      exit 77 (skipped) without pyghmi (Debian: python3-pyghmi)
set -u
tool=$1
here=$(dirname "$0")
board=0x01030103
py=
for candidate in python3 /usr/bin/python3; do
    "$candidate" -c 'import pyghmi.ipmi.bmc' 2>/dev/null && py=$candidate && break
done
[ -n "$py" ] || { echo "no pyghmi"; exit 77; }
work=$(mktemp -d)
bmc=
follower=
trap 'kill $bmc $follower 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
echo wrong >"$work/bad"
failed=0
fail() {
    echo "FAILED: $row: $*"
    echo "--- follow's output"; cat "$work/out" "$work/err" "$work/bmc"
    failed=1
}

# A row: the misbehaviour, for the first K answers (0: for ever); follow's options; its exit
# code; the records read, by ID, in order; its bmc lines as event:number (a regular expression);
# and a regular expression its output or the BMC's count of commands must match. "add": once
# the first records are in, a seventh is logged. Exit codes as docs/diagpanel.md gives them: 1
# when a record could not be read, 3 when the BMC could not be logged in to. pyghmi does not
# answer an unknown user at all: follow can only say that nothing answered.
while IFS='|' read -r misbehave times options status records notes said; do
    row="$misbehave $times $options"
    cp "$here/data/sel.bin" "$work/sel.bin"
    : >"$work/bmc" && : >"$work/out" # not the last row's: a job empties its files once it runs
    timeout 300 "$py" "$here/../../host/fake_bmc/fake_bmc.py" --sel "$work/sel.bin" \
        --sdr "$here/data/sdr.dump" --misbehave "${misbehave% add}" --times "$times" \
        >"$work/bmc" 2>&1 &
    bmc=$!
    for _ in $(seq 100); do grep -q listening "$work/bmc" && break; sleep 0.1; done
    port=$(sed -n 's/^fake_bmc: listening on 127.0.0.1 port \([0-9]*\),.*/\1/p' "$work/bmc")
    [ -n "$port" ] || { fail "the fake BMC did not start"; kill $bmc; wait $bmc; continue; }
    # shellcheck disable=SC2086 # the options are words
    IPMI_PASSWORD=secret timeout 120 "$tool" follow --host 127.0.0.1 --port "$port" --board $board \
        --json --interval 0.2 $options >"$work/out" 2>"$work/err" &
    follower=$!
    if [ "$misbehave" != "${misbehave% add}" ]; then
        for _ in $(seq 300); do grep -q '"source":"sel:6"' "$work/out" && break; sleep 0.1; done
        { printf '\7\0'; tail -c 14 "$here/data/sel.bin"; } >>"$work/sel.bin"
    fi
    wait $follower
    code=$?
    follower=
    kill $bmc
    wait $bmc
    bmc=
    read_ids=$(sed -n 's/.*"kind":"input".*"source":"sel:\([0-9]*\)".*/\1/p' "$work/out" | paste -sd' ')
    told=$(sed -n 's/.*"event":"\([a-z-]*\)","kind":"bmc","number":\([0-9]*\).*/\1:\2/p' \
        "$work/out" | paste -sd' ')
    [ "$code" = "$status" ] || fail "exit code $code, not $status"
    [ "$read_ids" = "$records" ] || fail "records read: '$read_ids', not '$records'"
    [[ $told =~ ^$notes$ ]] || fail "told '$told', not '$notes'"
    cat "$work/out" "$work/err" "$work/bmc" | grep -Eq -- "$said" || fail "nothing says '$said'"
done <<EOF_ROWS
none|0|--user admin --duration 3|0|1 2 3 4 5 6||answered [0-9]+ commands
loop-self|0|--user admin --duration 3|0|1 2 3 4 5 6|loop:2|record 2 names record 2 as its next
loop-back add|0|--user admin --duration 30 --records 7|0|1 2 3 4 5 6 7|loop:2|record 2 names record 1
next-zero|0|--user admin --duration 3|0|1 2 3 4 5 6|loop:2|record 2 names record 0
more-entries|0|--user admin --duration 3|0|1 2 3 4 5 6||"kind":"summary"
short|0|--user admin --duration 3|1|1 3 4 5 6|unreadable:2|record 2 could not be read \(an answer of 17 bytes\)
long|0|--user admin --duration 3|1|1 3 4 5 6|unreadable:2|record 2 could not be read \(an answer of 19 bytes\)
wrong-id|0|--user admin --duration 3|0|1 1 3 4 5 6||"kind":"summary"
busy|2|--user admin --duration 3|0|1 2 3 4 5 6||0Ah/43h: 8\b
busy|0|--user admin --duration 3|1|1 3 4 5 6|unreadable:2|completion code C0h
cancelled|2|--user admin --duration 3|0|1 2 3 4 5 6||0Ah/42h: 2\b
cancelled|0|--user admin --duration 3|1|1 3 4 5 6|unreadable:2|completion code C5h
absent|2|--user admin --duration 3|0|1 2 3 4 5 6||0Ah/43h: 8\b
absent|0|--user admin --duration 3|1|1 3 4 5 6|unreadable:2|completion code CBh
unspecified|0|--user admin --duration 3|1|1 3 4 5 6|unreadable:2|completion code FFh
slow|1|--user admin --duration 6|0|1 2 3 4 5 6||"kind":"summary"
slow|0|--user admin --duration 60 --records 5|1|1 3 4 5 6|(lost:1 back:[0-9]+ ){3}unreadable:2|record 2 got no answer 3 times
sdr-bad-length|0|--user admin --duration 3|0|1 2 3 4 5 6||SDR repository \(1\)
sdr-bad-length|0|--user admin --duration 3|0|1 2 3 4 5 6||SDR repository was read in part \(record [0-9]+ could not be read\)
sdr-endless|0|--user admin --duration 3|0|1 2 3 4 5 6||0Ah/23h: [0-9]{3,4},
none|0|--user nobody --duration 3|3|||no answer from 127.0.0.1 port [0-9]+ \(unreachable
none|0|--user admin --password-file $work/bad --duration 3|3|||wrong password for user 'admin'
EOF_ROWS
[ $failed = 0 ] && echo "follow against a misbehaving BMC: every readable record once, the rest told"
exit $failed
