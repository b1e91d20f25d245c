#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# diagpanel follow against OpenIPMI's simulated BMC (ipmi_sim), started here on 127.0.0.1 at a
# free port with a SEL and SDRs of this test's own, and stopped by its process id whatever
# happens. Every wait is bounded.
#   follow_test.sh TOOL          exit 77 (skipped) without ipmi_sim or ipmitool
set -u
tool=$1
board=0x01030103 # the stand-in's default board, whose sensor names the records use
if ! command -v ipmi_sim >/dev/null || ! command -v ipmitool >/dev/null; then echo "no ipmi_sim/ipmitool"; exit 77; fi
work=$(mktemp -d)
sim=
follower=
trap 'kill -CONT $sim 2>/dev/null; kill $sim $follower 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; echo "--- follow's output"; cat "$work/out" "$work/err" 2>/dev/null; exit 1; }
# follow in the background, polling every 0.2 s, with these options; end: waits up to 30 s for it
# to end, and fails unless it ended well. The last run's output goes first: a job empties its
# files only once it runs, and a wait could read them before.
start() { : >"$work/out"; : >"$work/err"; IPMI_PASSWORD=secret timeout 120 "$tool" "${follow[@]}" --interval 0.2 "$@" >"$work/out" 2>"$work/err" & follower=$!; }
end() {
    for _ in $(seq 300); do kill -0 $follower 2>/dev/null || break; sleep 0.1; done
    wait $follower || fail "follow $*, ended with $?"
    follower=
}

# Waits up to 30 s for $3 (default 1) lines matching $2 in file $1.
waitFor() {
    for _ in $(seq 300); do
        [ "$(grep -c -- "$2" "$1" 2>/dev/null)" -ge "${3:-1}" ] && return 0
        sleep 0.1
    done
    fail "no '$2' in $1"
}

# The BMC: an admin user, three named sensors, an empty SEL; records come through its console.
# shellcheck source=host/support/ipmi_sim.sh
. "$(dirname "$0")/../../host/support/ipmi_sim.sh"
ipmiSimBmc "$work/bmc.emu"
echo secret >"$work/pw"
echo wrong >"$work/bad"
ipmiSimStart "$work" -n || fail "ipmi_sim did not start"

# A SEL record through the BMC's console: record type 02h and the 13 bytes after it.
addRecord() { ipmiSimAdd "$console" "$@"; }
memory=(0x10 0x00 0x00 0x00 0x20 0x00 0x04 0x0c 0x60 0x6f 0xa1 0x00 0x60)
psu=(0x11 0x00 0x00 0x00 0x20 0x00 0x04 0x08 0x30 0x6f 0x01 0xff 0xff)
temperature=(0x12 0x00 0x00 0x00 0x20 0x00 0x04 0x01 0x11 0x01 0x59 0x5a 0x55)
addRecord "${memory[@]}"; addRecord "${psu[@]}"; addRecord "${temperature[@]}"

follow=(follow --host 127.0.0.1 --port "$port" --user admin --board "$board")

# Every refusal the simulator can give, each in its own words: exit 3, in bounded time. The port
# after the console's has no BMC: nothing answers there.
while IFS='|' read -r words options; do
    # shellcheck disable=SC2086 # the options are words
    timeout 60 "$tool" follow --host 127.0.0.1 --board $board $options >"$work/out" 2>"$work/err"
    if [ $? != 3 ] || ! grep -qF "cannot follow 127.0.0.1 port " "$work/err" || ! grep -qF "$words" "$work/err"; then fail "$words"; fi
done <<EOF_REFUSALS
wrong password for user 'admin'|--port $port --user admin --password-file $work/bad
the BMC does not know user 'nobody'|--port $port --user nobody --password-file $work/pw
the BMC refused cipher suite 17 (try --cipher-suite 3)|--port $port --user admin --password-file $work/pw --cipher-suite 17
no answer from 127.0.0.1 port $((console + 1)) (unreachable, or not an IPMI LAN interface)|--port $((console + 1)) --user admin --password-file $work/pw
EOF_REFUSALS

# Every existing record, through the library: the fault table that replay gives for the same
# records, named from the BMC's own SDRs.
timeout 60 "$tool" "${follow[@]}" --password-file "$work/pw" --records 3 >"$work/out" 2>"$work/err" || fail "follow --records 3"
bmc() { ipmitool -I lanplus -H 127.0.0.1 -p "$port" -U admin -f "$work/pw" -C 3 "$@" >/dev/null 2>&1; }
bmc sel writeraw "$work/sel.bin"
bmc sdr dump "$work/sdr.bin"
"$tool" replay --board $board --sdr "$work/sdr.bin" "$work/sel.bin" >"$work/replayed" || fail "replay"
faults() { sed -n '/active faults/,/cycle/p' "$1" | grep -v cycle; }
if [ "$(faults "$work/out")" != "$(faults "$work/replayed")" ] || ! grep -q "power supply 02" "$work/out"; then fail "follow and replay differ"; fi

# Following: a record added shows within a poll; a clear is told and what follows still comes; a
# BMC that stops answering is told, and once it answers again nothing is lost or read twice.
start --records 6 --stats
waitFor "$work/out" "(sel:3)"
addRecord "${psu[@]}"
waitFor "$work/out" "(sel:4)"
bmc sel clear
waitFor "$work/err" "the SEL was cleared"
addRecord "${temperature[@]}"
waitFor "$work/out" "input  SEL .*temperature 11h" 2
kill $sim; wait $sim 2>/dev/null
waitFor "$work/err" "the BMC stopped answering"
ipmiSimRun "$work" -n || fail "ipmi_sim did not start again"
waitFor "$work/err" "the BMC answers again"
addRecord "${memory[@]}"
end "--records 6"
[ "$(grep -c "input  SEL" "$work/out")" = 6 ] || fail "records lost or read twice"
grep -q "follow: .* 6 records, 0 unreadable" "$work/err" || fail "stats"

# Ctrl-C while a command waits on a BMC that has frozen: follow ends as asked, and does not tell
# the BMC lost.
start
waitFor "$work/out" "(sel:"
kill -STOP $sim
sleep 1 # a poll is under way: it waits up to 3 s for an answer
kill -INT $follower
end "interrupted mid-command"
kill -CONT $sim
! grep -q "stopped answering" "$work/err" || fail "an interrupted command told as the BMC lost"

# Polls further apart than a command may wait (3 s) keep the session: the BMC is never told lost.
timeout 30 "$tool" "${follow[@]}" --password-file "$work/pw" --interval 3.5 --duration 8 >"$work/out" 2>"$work/err" || fail "follow --interval 3.5"
! grep -q "stopped answering" "$work/err" || fail "an idle session told as the BMC lost"

# A BMC that stops answering keeps follow no longer than --duration asks; its JSON Lines say so
# too, stamped with the board and the BMC.
start --duration 6 --json
waitFor "$work/out" '"source":"sel:'
kill $sim; wait $sim 2>/dev/null
waitFor "$work/err" "the BMC stopped answering"
end "--duration, the BMC gone"
grep '"kind":"bmc"' "$work/out" | grep '"event":"lost"' | grep -q "\"bmc\":\"127.0.0.1:$port\",\"board\":\"$board\"" || fail "no bmc event in the JSON Lines"
echo "follow: every record once, through a clear and a restart; --duration kept with the BMC gone; Ctrl-C mid-command; slow polls"
