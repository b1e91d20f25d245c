#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What diagpanel watch costs over a fleet of simulated BMCs: OpenIPMI's ipmi_sim, N of them, each
# on its own free port of 127.0.0.1 with a SEL of 20 records, stopped by process id whatever
# happens. BMC 1 logs every datagram it receives (-d), so that it counts the commands it gets;
# BMCs 2 and 3 each take a burst of 3,000 records, their datagrams counted on the loopback by
# bench/udp_times.py (root), since that log slows a simulator down.
# Figures as ROW|figure|measured|goal|verdict; every wait bounded.
#   bench/watch.sh <host build dir>   WATCH_BMCS (1000) BMCs, WATCH_WINDOW (30) s CPU windows
set -u
tool=$1/tools/diagpanel
n=${WATCH_BMCS:-1000}
window=${WATCH_WINDOW:-30}
if ! command -v ipmi_sim >/dev/null || ! command -v ipmitool >/dev/null ||
    ! command -v jq >/dev/null; then
    echo "skipped: no ipmi_sim (Debian package openipmi), ipmitool or jq"
    exit 0
fi
work=$(mktemp -d)
watcher=
sniffer=
trap 'kill $watcher $sniffer $(cat "$work"/bmc/*/pid 2>/dev/null) 2>/dev/null; wait; rm -rf "$work"' EXIT
fail() { echo "watch bench FAILED: $*"; tail -n 5 "$work"/watch.err 2>/dev/null; exit 1; }
# shellcheck source=host/support/ipmi_sim.sh disable=SC2016 # awk's and jq's $ in single quotes
. "$(dirname "$0")/../host/support/ipmi_sim.sh"
now() { date +%s.%N; }
# PSS of the processes $@ in KiB, summed.
# shellcheck disable=SC2016 # awk's own fields
pss() { printf '/proc/%s/smaps_rollup\n' "$@" | xargs awk '/^Pss:/ { s += $2 } END { print s + 0 }'; }
since() { echo "$1 $(now)" | awk '{ printf "%.2f", $2 - $1 }'; }
verdict() { awk -v a="$1" -v b="$2" 'BEGIN { print (a <= b ? "met" : "missed") }'; }

# BMC $1: room for 4,000 records, kept in memory only (-p), no console on standard input (-n),
# but for BMC 1: its debug log (-d) needs one, a FIFO held open here. Its port is 10000 + 2 x $1
# (its console's the next), or as much again higher while taken: random ports, 2,000 of them,
# would meet, and a BMC whose port another took answers its starter with the other's voice.
startBmc() {
    local dir=$work/bmc/$1 try options=(-n -p) input=/dev/null
    mkdir -p "$dir"
    ipmiSimBmc "$dir/bmc.emu" 4000
    if [ "$1" = 1 ]; then
        mkfifo "$dir/stdin"
        exec 4<>"$dir/stdin"
        options=(-d -p)
        input=$dir/stdin
    fi
    for try in 0 1 2 3 4; do
        port=$((10000 + 2 * $1 + try * 2 * n))
        console=$((port + 1))
        ipmiSimRun "$dir" "${options[@]}" <"$input" && break
    done
    [ -n "${sim:-}" ] || return 1
    echo "$sim" >"$dir/pid"
    echo "$port" >"$dir/port"
    echo "$console" >"$dir/console"
}
record="0x10 0x00 0x00 0x00 0x20 0x00 0x04 0x0c 0x60 0x6f 0xa1 0x00 0x60"
# add BMC COUNT: COUNT SEL records (type 02h) through BMC's console, each one's answer awaited.
add() {
    local added
    exec 3<>"/dev/tcp/127.0.0.1/$(cat "$work/bmc/$1/console")" || return 1
    for _ in $(seq "$2"); do echo "sel_add 0x20 0x02 $record"; done >&3
    added=$(timeout 120 grep -a -m "$2" -c "Added record" <&3)
    exec 3>&-
    [ "$added" = "$2" ]
}

echo "load before: $(cut -d' ' -f1-3 /proc/loadavg)"
t0=$(now)
{ startBmc 1 && add 1 20; } || fail "BMC 1 did not start"
starters=() # 8 at a time, each waiting on its BMC's first answer (BMC 1 stays a child here)
for i in $(seq 2 "$n"); do
    { startBmc "$i" && add "$i" 20; } &
    starters+=($!)
    [ ${#starters[@]} = 8 ] && wait "${starters[@]}" && starters=()
done
wait "${starters[@]}"
started=$(ps -o pid= -p "$(cat "$work"/bmc/*/pid 2>/dev/null | paste -sd,)" | wc -l)
[ "$started" = "$n" ] || fail "$started of $n BMCs started"
# shellcheck disable=SC2046
echo "$n BMCs started, 20 records each, in $(since "$t0") s;" \
    "ipmi_sim: $(($(pss $(cat "$work"/bmc/*/pid)) / 1024)) MiB PSS"

echo secret >"$work/pw"
chmod 600 "$work/pw"
for i in $(seq "$n"); do echo "\"127.0.0.1:$(cat "$work/bmc/$i/port")\""; done |
    jq -s '[{targets: ., labels: {rack: "r1"}}]' >"$work/targets.json"
config() {
    cat >"$work/config.yml" <<EOF
modules:
  default: {user: admin, password_file: $work/pw, interval: $1, board: "0x01030103"}
target_files: [$work/targets.json]
EOF
}
start() {
    "$tool" watch --config "$work/config.yml" --state-dir "$work/state" --listen 127.0.0.1:0 2>>"$work/watch.err" &
    watcher=$!
}
workers() { cat /proc/"$watcher"/task/*/children 2>/dev/null; }
panels() { find "$work/state" -name panel.json -print0 2>/dev/null | xargs -0r cat; }
# Waits up to $2 s until every panel.json says "following" with $1 records: the time it took.
waitAll() {
    local t0 left=$n
    t0=$(now)
    for _ in $(seq $(($2 * 2))); do
        left=$(panels | jq -s --argjson r "$1" --argjson n "$n" \
            '$n - ([.[] | select(.state == "following" and .records >= $r)] | length)')
        [ "$left" = 0 ] && since "$t0" && return 0
        sleep 0.5
    done
    fail "$left of $n panels not following with $1 records after $2 s:" \
        "$(panels | jq -s -c 'group_by(.state) | map({(.[0].state): length}) | add')"
}
# Stops the watcher with signal $1; its workers, if they outlive it 10 s, by their ids.
stop() {
    local children
    children=$(workers)
    kill "-$1" "$watcher"
    wait "$watcher" 2>/dev/null
    for _ in $(seq 100); do
        # shellcheck disable=SC2086
        kill -0 $children 2>/dev/null || break
        sleep 0.1
    done
    # shellcheck disable=SC2086
    kill -0 $children 2>/dev/null && echo "workers outlived the watcher by 10 s" && kill -KILL $children
    watcher=
}
# CPU seconds of the watcher and its workers so far (utime + stime, clock ticks).
cpu() { echo "$watcher $(workers)" | tr ' ' '\n' | sed '/^$/d; s|.*|/proc/&/stat|' | xargs cat 2>/dev/null |
    awk -v hz="$(getconf CLK_TCK)" '{ s += $14 + $15 } END { printf "%.2f", s / hz }'; }
# The share of one core the watcher took over $window s.
cpuWindow() {
    local c0 t0
    c0=$(cpu); t0=$(now)
    sleep "$window"
    echo "$c0 $(cpu) $t0 $(now)" | awk '{ printf "%.2f", 100 * ($2 - $1) / ($4 - $3) }'
}
bound=$((120 + n / 2)) # seconds

# (a) Every table built from an empty state dir; (b) again after SIGKILL, over the full state dir.
config 10
start
build=$(waitAll 20 "$bound")
echo "ROW|diagpanel watch, $n BMCs: all tables built from an empty state dir|$build s|60 s for 1,000|$(verdict "$build" 60)"
stop KILL
rm "$work"/state/*/panel.json
start
restart=$(waitAll 20 "$bound")
echo "ROW|diagpanel watch, $n BMCs: all tables built again after SIGKILL|$restart s|20 s for 1,000|$(verdict "$restart" 20)"

# burst BMC REMOVALS: 3,000 records at once on BMC $1 (the watcher's $2nd target let go); writes
# "datagrams seconds-reading seconds-until-panel.json seconds-adding" to $work/burst$1. BMC 1's debug log slows it
# to a third of its pace, so the datagrams of this one are counted from outside
# (bench/udp_times.py, on the loopback). The simulator adds only a few hundred records a second,
# so the BMC is let go (dropped from the targets file) while they go in, then followed again:
# from its first datagram then (the session opened) to the end of that run of datagrams.
burst() {
    local panel t0 added total datagrams reading
    panel=$work/state/127.0.0.1-$(cat "$work/bmc/$1/port")/panel.json
    jq --arg t "127.0.0.1:$(cat "$work/bmc/$1/port")" '.[0].targets -= [$t]' "$work/targets.json" >"$work/less.json"
    mv "$work/targets.json" "$work/all.json"
    mv "$work/less.json" "$work/targets.json"
    for _ in $(seq 100); do [ "$(grep -c "1 removed" "$work/watch.err")" -ge "$2" ] && break; sleep 0.1; done
    [ "$(grep -c "1 removed" "$work/watch.err")" -ge "$2" ] || fail "BMC $1 not let go"
    t0=$(now)
    add "$1" 3000 || fail "BMC $1: 3,000 records not added"
    added=$(since "$t0")
    "$(dirname "$0")/udp_times.py" "$(cat "$work/bmc/$1/port")" >"$work/times" &
    sniffer=$!
    for _ in $(seq 50); do [ -s "$work/times" ] && break; sleep 0.1; done
    [ -s "$work/times" ] || fail "no datagrams counted on the loopback (bench/udp_times.py needs root)"
    t0=$(now)
    mv "$work/all.json" "$work/targets.json"
    for _ in $(seq 1200); do [ "$(jq .records "$panel")" -ge 3020 ] && break; sleep 0.05; done
    total=$(since "$t0")
    [ "$(jq .records "$panel")" -ge 3020 ] || fail "BMC $1: $(jq .records "$panel") of 3020 records"
    kill "$sniffer"
    wait "$sniffer"
    sniffer=
    # The reading ends at the first pause of 0.1 s after 3,000 datagrams (the next poll comes
    # later); pauses before, while the session opens, count.
    read -r datagrams reading <<<"$(sed 1d "$work/times" |
        awk '{ t = $1 } NR == 1 { first = t } NR > 3000 && t - last > 0.1 { exit } { last = t; n++ }
            END { printf "%d %.2f", n, last - first }')"
    echo "$datagrams $reading $total $added" >"$work/burst$1"
    # The time from one command to the next, command by command, and the pauses that add up.
    sed 1d "$work/times" | head -n "$datagrams" | awk 'NR > 1 { printf "%.0f\n", ($1 - last) * 1e6 } { last = $1 }' |
        sort -n | awk '{ a[NR] = $1; if ($1 > 1000) { n++; s += $1 } }
            END { printf "BMC '"$1"': a command every %d us (median; 90th percentile %d, 99th %d); %d pauses over 1 ms, %.2f s in all\n",
                  a[int(NR / 2)], a[int(NR * 0.9)], a[int(NR * 0.99)], n, s / 1e6 }'
}
# One row of a burst: POLL "datagrams reading total added" GOAL.
burstRow() {
    local datagrams reading total added rate met
    read -r datagrams reading total added <<<"$2"
    rate=$(echo "$reading" | awk '{ printf "%.0f", 3000 / $1 }')
    met=-
    if [ "$3" != - ]; then met=$(verdict 5000 "$rate"); fi
    echo "ROW|diagpanel watch, $n BMCs: 3,000 new records on one BMC, session to last read, $1 s poll|$rate records/s ($datagrams commands in $reading s; all in panel.json $total s after it was followed again)|$3|$met"
    echo "3,000 records added through the console in $added s"
}

# (c) CPU at a 10 s poll, once the panels are idle (a worker whose panel shows one code stops
# stepping its display 8 steps after its last record); (d) memory: PSS of the watcher and its
# workers.
sleep 40
idle10=$(cpuWindow)
echo "ROW|diagpanel watch, $n BMCs: CPU (watcher and workers) over $window s, 10 s poll|$idle10 % of a core|2 %|$(verdict "$idle10" 2)"
# shellcheck disable=SC2046
read -r all own <<<"$(pss "$watcher" $(workers)) $(pss "$watcher")"
perBmc=$(echo "$all $n" | awk '{ printf "%.2f", $1 / 1024 / $2 }')
echo "ROW|diagpanel watch, $n BMCs: PSS per BMC (watcher and workers)|$perBmc MiB ($((all / 1024)) MiB in all, the watcher $((own / 1024)) MiB)|4 MiB|$(verdict "$perBmc" 4)"

# (g) 3,000 new records at once on BMC 2, among the others' polls every 10 s (and on BMC 3 at
# the 1 s poll, below).
burst 2 1

# (e) CPU and commands at a 1 s poll: the BMC's count of BMC 1, panel.json's of all.
stop TERM
rm "$work"/state/*/panel.json
config 1
start
echo "restart at a 1 s poll: $(waitAll 20 "$bound") s"
sleep 40
received() { grep -c "Raw LAN receive from" "$work/bmc/1/sim.log"; }
# "datagrams polls" BMC 1 received after its first $1 up to its first $2 (a poll: datagrams less
# than 0.3 s apart).
polls() {
    grep "Raw LAN receive from" "$work/bmc/1/sim.log" | sed -n "$(($1 + 1)),$2p" |
        awk '{ t = $NF } NR == 1 || t - last > 0.3 { p++ } { last = t } END { print NR, p + 0 }'
}
# The commands every BMC was sent, from the metrics (panel.json has its counters a minute late).
commands() {
    curl -s "$(grep -o 'metrics on http://[0-9.:]*/metrics' "$work/watch.err" | tail -n 1 | cut -d' ' -f3)" |
        awk '/^diagpanel_ipmi_commands_total/ { s += $2 } END { printf "%d", s }'
}
r0=$(received); k0=$(commands); t0=$(now)
idle1=$(cpuWindow)
r1=$(received); k1=$(commands); t1=$(now)
echo "ROW|diagpanel watch, $n BMCs: CPU (watcher and workers) over $window s, 1 s poll|$idle1 % of a core|20 %|$(verdict "$idle1" 20)"
read -r datagrams polls <<<"$(polls "$r0" "$r1")"
perPoll=$(echo "$datagrams $polls" | awk '{ printf "%.2f", $1 / $2 }')
fleet=$(echo "$k0 $k1 $t0 $t1" | awk -v n="$n" '{ printf "%.2f", ($2 - $1) / (n * ($4 - $3)) }')
echo "ROW|diagpanel watch, $n BMCs: IPMI commands per idle poll per BMC|$perPoll (BMC 1: $datagrams in $polls polls; all: $fleet a BMC a second)|1|$(verdict "$perPoll" 1)"

# (f) New records on BMC 1: ten one at a time, each read before the next is added.
panel1=$work/state/127.0.0.1-$(cat "$work/bmc/1/port")/panel.json
waitRecords() {
    for _ in $(seq 1200); do [ "$(jq .records "$panel1")" -ge "$1" ] && return 0; sleep 0.05; done
    fail "BMC 1: $(jq .records "$panel1") of $1 records"
}
r0=$(received)
for r in $(seq 10); do add 1 1; waitRecords $((20 + r)); done
read -r datagrams polls <<<"$(polls "$r0" "$(received)")"
single=$(echo "$datagrams $polls" | awk -v idle="$perPoll" '{ printf "%.2f", ($1 - $2 * idle) / 10 }')

burst 3 2
burstsCommands=$(cat "$work/burst2" "$work/burst3" | awk '$1 > most { most = $1 } END { printf "%.2f", most / 3000 }')
worst=$(echo "$single $burstsCommands" | awk '{ print ($1 > $2 ? $1 : $2) }')
echo "ROW|diagpanel watch, $n BMCs: IPMI commands per new record|$single beyond the poll's, one at a time; $burstsCommands in a burst of 3,000 (session included)|1|$(verdict "$worst" 1)"
burstRow 10 "$(cat "$work/burst2")" "5,000 records/s"
burstRow 1 "$(cat "$work/burst3")" -
stop TERM
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
