#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What diagpanel follow costs the BMC and the machine it runs on, against OpenIPMI's simulated BMC
# (ipmi_sim) started here on 127.0.0.1 at a free port and stopped by its process id. The BMC
# counts the commands: ipmi_sim -d logs every LAN datagram it receives, with its time, so the
# tool runs as a user runs it (one poll a second). Figures as ROW|figure|measured|goal|verdict.
#   bench/follow.sh <host build dir>      IDLE_SECONDS (default 60) sets the idle window
set -u
tool=$1/tools/diagpanel
idle=${IDLE_SECONDS:-60}
if ! command -v ipmi_sim >/dev/null || ! command -v ipmitool >/dev/null; then
    echo "skipped: no ipmi_sim (Debian package openipmi) or ipmitool"
    exit 0
fi
work=$(mktemp -d)
sim=
follower=
trap 'kill $sim $follower 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
fail() { echo "follow bench FAILED: $*"; cat "$work/err" 2>/dev/null; exit 1; }

# Waits up to 60 s for $1 lines of follow's timeline that read a SEL record.
waitRecords() {
    for _ in $(seq 1200); do
        [ "$(grep -c "input  SEL" "$work/out")" -ge "$1" ] && return 0
        sleep 0.05
    done
    fail "follow printed $(grep -c "input  SEL" "$work/out") of $1 records"
}

# The BMC of the follow test with room for 4,000 records, kept in memory only (-p: a simulator
# that saves its SEL to disk at every record takes seconds to add 3,000), logging every datagram
# (-d); its console is its standard input, a FIFO held open here.
# shellcheck source=host/support/ipmi_sim.sh
. "$(dirname "$0")/../host/support/ipmi_sim.sh"
ipmiSimBmc "$work/bmc.emu" 4000
mkfifo "$work/console"
exec 4<>"$work/console"
ipmiSimStart "$work" -d -p <&4 || fail "ipmi_sim did not start"

records=(
    "0x10 0x00 0x00 0x00 0x20 0x00 0x04 0x0c 0x60 0x6f 0xa1 0x00 0x60"
    "0x11 0x00 0x00 0x00 0x20 0x00 0x04 0x08 0x30 0x6f 0x01 0xff 0xff"
    "0x12 0x00 0x00 0x00 0x20 0x00 0x04 0x01 0x11 0x01 0x59 0x5a 0x55"
)
# Adds $1 SEL records (type 02h), the three kinds in turn, through the console.
add() { for i in $(seq "$1"); do echo "sel_add 0x20 0x02 ${records[i % 3]}"; done >&4; }
now() { date +%s.%N; }
received() { grep -c "Raw LAN receive from" "$work/sim.log"; }
# "datagrams polls": the datagrams the BMC received after its first $1 up to its first $2, and
# the polls they came in (runs of datagrams less than 0.3 s apart).
polls() {
    grep "Raw LAN receive from" "$work/sim.log" | sed -n "$(($1 + 1)),$2p" |
        awk '{ t = $NF } NR == 1 || t - last > 0.3 { p++ } { last = t } END { print NR, p + 0 }'
}
# CPU seconds of process $1 so far, all its threads, from their schedstat (nanoseconds).
cpu() { cat /proc/"$1"/task/*/schedstat | awk '{ s += $1 } END { printf "%.6f\n", s / 1e9 }'; }

add 3
IPMI_PASSWORD=secret "$tool" follow --host 127.0.0.1 --port "$port" --user admin \
    --board 0x01030103 --stats >"$work/out" 2>"$work/err" &
follower=$!
waitRecords 3
sleep 2 # past its start-up: the SDR dump, its first reads

# (a, d) Idle: nothing new for a while.
n0=$(received); c0=$(cpu "$follower"); t0=$(now)
sleep "$idle"
n1=$(received); c1=$(cpu "$follower"); t1=$(now)
read -r datagrams polls <<<"$(polls "$n0" "$n1")"
perPoll=$(echo "$datagrams $polls" | awk '{ printf "%.2f", $1 / $2 }')
[ "$perPoll" = 1.00 ] && verdict=met || verdict=missed
echo "idle: $datagrams commands in $polls polls over $idle s"
echo "ROW|diagpanel follow: IPMI commands per idle poll (BMC's count)|$perPoll ($datagrams in $polls polls)|1 a poll|$verdict"
echo "$c0 $c1 $t0 $t1" | awk '{ w = ($4 - $3) / 100
    printf "ROW|diagpanel follow: CPU over %.0f s idle, one poll a second|%.3f %%|-|-\n", w * 100, ($2 - $1) / w }'

# (b) Records one at a time, each read before the next is added.
n0=$(received)
for r in $(seq 10); do add 1; waitRecords $((3 + r)); done
read -r datagrams polls <<<"$(polls "$n0" "$(received)")"
single=$(echo "$datagrams $polls" | awk -v idle="$perPoll" '{ printf "%.2f", ($1 - $2 * idle) / 10 }')

# (c) 3,000 records at once: from the first added until follow has printed the last; and the
# time the BMC saw it reading them (its first datagram after the additions to its last).
n0=$(received); t0=$(now)
add 3000
t1=$(now)
waitRecords 3013
t2=$(now)
read -r datagrams polls <<<"$(polls "$n0" "$(received)")"
burst=$(echo "$datagrams $polls" | awk -v idle="$perPoll" '{ printf "%.2f", ($1 - $2 * idle) / 3000 }')
reading=$(grep "Raw LAN receive from" "$work/sim.log" | sed -n "$((n0 + 1)),\$p" |
    awk 'NR == 1 { first = $NF } { last = $NF } END { printf "%.2f", last - first }')
echo "3,000 records: added in $(echo "$t0 $t1" | awk '{ printf "%.2f", $2 - $1 }') s; the BMC" \
    "received $datagrams commands over $reading s"
[ "$single" = 1.00 ] && [ "$burst" = 1.00 ] && verdict=met || verdict=missed
echo "ROW|diagpanel follow: IPMI commands per new record, beyond the poll's|$single one at a time; $burst in a burst of 3,000|1 a record|$verdict"
echo "$t0 $t2 $reading" | awk '{ s = $2 - $1; printf "ROW|diagpanel follow: 3,000 records added at once, until all printed|%.2f s, %.0f records/s (reading them: %.2f s, %.0f records/s)|-|-\n", s, 3000 / s, $3, 3000 / $3 }'

kill "$follower"
wait "$follower" || fail "follow ended with $?"
follower=
grep '^follow:' "$work/err"

# (e) The same 3,013 records, there before follow starts: from its start (the session, the SDR
# repository) until it has printed the last, when it ends by itself. The simulator's own pace
# at adding records does not count here.
t0=$(now)
IPMI_PASSWORD=secret timeout 120 "$tool" follow --host 127.0.0.1 --port "$port" --user admin \
    --board 0x01030103 --records 3013 >"$work/out" 2>"$work/err" || fail "follow --records 3013"
t1=$(now)
[ "$(grep -c "input  SEL" "$work/out")" = 3013 ] || fail "follow read $(grep -c "input  SEL" "$work/out") of 3013 records"
echo "$t0 $t1" | awk '{ s = $2 - $1; printf "ROW|diagpanel follow: 3,013 records there at its start, until all printed|%.2f s, %.0f records/s|-|-\n", s, 3013 / s }'
