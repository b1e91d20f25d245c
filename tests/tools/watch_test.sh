#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# diagpanel watch over three simulated BMCs (OpenIPMI's ipmi_sim, each on its own free port of
# 127.0.0.1, stopped by process id whatever happens), two of them followed, one refusing our
# password. Every wait is bounded.
#   watch_test.sh TOOL          exit 77 (skipped) without ipmi_sim, ipmitool, jq, curl or promtool
# shellcheck disable=SC2016 # the target lists are jq's: its $a, $b, $c expand there
set -u
tool=$1
for needed in ipmi_sim ipmitool jq curl promtool; do command -v $needed >/dev/null || { echo "no $needed"; exit 77; }; done
work=$(mktemp -d)
sims=()
watchers=()
trap 'kill "${watchers[@]}" "${sims[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; tail -n 30 "$work"/*.err; head -n 40 "$work/metrics" 2>/dev/null; exit 1; }
# shellcheck source=host/support/ipmi_sim.sh
. "$(dirname "$0")/../../host/support/ipmi_sim.sh"

# Three BMCs with SELs of their own; a record goes in through a BMC's console.
addRecord() { ipmiSimAdd "$(cat "$work/$1/console")" "$2"; }
memory="0x10 0x00 0x00 0x00 0x20 0x00 0x04 0x0c 0x60 0x6f 0xa1 0x00 0x60"
psu="0x11 0x00 0x00 0x00 0x20 0x00 0x04 0x08 0x30 0x6f 0x01 0xff 0xff"
psuGone="0x11 0x00 0x00 0x00 0x20 0x00 0x04 0x08 0x30 0xef 0x01 0xff 0xff"
for bmc in a b c; do
    mkdir -p "$work/$bmc"
    ipmiSimBmc "$work/$bmc/bmc.emu"
    ipmiSimStart "$work/$bmc" -n || fail "ipmi_sim did not start"
    sims+=("$sim")
    echo "$port" >"$work/$bmc/port"
    echo "$console" >"$work/$bmc/console"
done
addRecord a "$memory"
addRecord a "$psu"
addRecord b "$psu"
name() { echo "127.0.0.1:$(cat "$work/$1/port")"; }
dir() { echo "127.0.0.1-$(cat "$work/$1/port")"; }
ipmitool -I lanplus -H 127.0.0.1 -p "$(cat "$work/a/port")" -U admin -P secret -C 3 sdr dump "$work/sdr.bin" >/dev/null || fail "sdr dump"

# A config of two modules; the targets file feeds every watcher.
echo secret >"$work/pw"
echo wrong >"$work/bad"
chmod 600 "$work/pw" "$work/bad"
config() {
    cat >"$work/config.yml" <<EOF
modules:
  default: {user: admin, password_file: $work/pw, interval: $1, board: "0x01030103"}
  stale: {user: admin, password_file: $work/bad, interval: $1, board: "0x01030103"}
target_files: [$work/targets.json]
EOF
}
# targets LIST: the first group's targets, jq's $a, $b, $c naming the BMCs.
targets() { jq -n --arg a "$(name a)" --arg b "$(name b)" --arg c "$(name c)" "[{targets: [$1], labels: {rack: \"r1\"}}, {targets: [\$c], labels: {module: \"stale\"}}]" >"$work/targets.json"; }
config 0.2
targets '$a, $b'
run() { timeout 300 "$tool" watch --config "$work/config.yml" --state-dir "$work/$1" --listen 127.0.0.1:0 "${@:2}" 2>"$work/$1.err" & watchers+=($!); }
watcher() { pgrep -P "${watchers[$1]}" -x diagpanel; } # the watcher itself, under timeout

# Waits up to 30 s for the jq test $3 to hold of BMC $2's panel.json in state dir $1.
waitPanel() {
    for _ in $(seq 300); do
        jq -e "$3" "$work/$1/$(dir "$2")/panel.json" >/dev/null 2>&1 && return 0
        sleep 0.1
    done
    fail "$2's panel in $1: not $3: $(cat "$work/$1/$(dir "$2")/panel.json" 2>&1)"
}
# Every followed BMC's fault table is what replay makes of the records kept for it.
sameAsReplay() {
    for bmc in a b; do
        local kept
        kept=$work/$1/$(dir $bmc)
        "$tool" replay --json --board 0x01030103 --sdr "$work/sdr.bin" "$kept/records.bin" | jq -c 'select(.kind == "summary") | .faults | sort_by(.fault_type, .index)' >"$work/replayed"
        waitPanel "$1" $bmc ".faults == $(cat "$work/replayed")"
    done
}

run s --events "$work/events"
waitPanel s a '.state == "following" and .records == 2 and (.faults | length) == 2'
waitPanel s b '.state == "following" and .records == 1 and .faults[0].type == "power supply"'
waitPanel s c '.state == "wrong_password" and .records == 0'
sameAsReplay s

# The same panels as Prometheus metrics, as promtool's lint wants them.
port=$(sed -n 's|.*metrics on http://127.0.0.1:\([0-9]*\)/metrics.*|\1|p' "$work/s.err")
curl -sf "http://127.0.0.1:$port/metrics" >"$work/metrics" || fail "no metrics at port '$port'"
grep -q "^diagpanel_fault_active{bmc=\"$(name a)\",board=\"0x01030103\",type=\"1\",index=\"B3\",mask=\"0x00000002\",level=\"3\",fault=\"memory B3\"} 1$" "$work/metrics" || fail "a's memory fault not a metric"
[ "$(grep -c "^diagpanel_fault_active{" "$work/metrics")" = 3 ] || fail "not 3 active faults"
grep -q "^diagpanel_bmc_state{bmc=\"$(name c)\",state=\"wrong_password\"} 1$" "$work/metrics" || fail "c's state not a metric"
grep -q "^diagpanel_bmc_up{bmc=\"$(name a)\",board=\"0x01030103\",rack=\"r1\"} 1$" "$work/metrics" || fail "a not up"
promtool check metrics <"$work/metrics" >"$work/promtool" 2>&1 || fail "promtool: $(cat "$work/promtool")"

# A record on one BMC shows in its panel within a poll, and in no other.
addRecord b "$psuGone"
waitPanel s b '.records == 2 and .faults == []'
waitPanel s a '.records == 2'
told() { [ -n "$(jq -c "select(.bmc == \"$(name b)\" and $1)" "$work/events")" ]; } # of b
told '.kind == "fault" and .change == "removed"' || fail "the removal is not an event"
# Every line says when it was heard; b's state and its panel's codes are told as they come.
[ "$(jq -c 'select(.at == null)' "$work/events")" = "" ] || fail "an event without its time"
told '.kind == "state" and .state == "following"' || fail "b's state not told"
for _ in $(seq 100); do told '.kind == "panel" and .words == "nothing to show"' && break; sleep 0.1; done
told '.kind == "panel" and .words == "nothing to show"' || fail "b's empty panel not told"

# The panel workers killed: started again, each table rebuilt from the records kept (a record
# after the restart changes the table; the rest must be there).
pkill -KILL -P "$(watcher 0)" -f watch-worker || fail "no panel worker"
for _ in $(seq 100); do [ "$(grep -c "panel worker ended" "$work/s.err")" = 2 ] && break; sleep 0.1; done
[ "$(grep -c "panel worker ended" "$work/s.err")" = 2 ] || fail "the workers' ends not noticed"
addRecord a "$psuGone"
waitPanel s a '.records == 3'
sameAsReplay s
[ "$(jq -c 'select(.kind == "fault" and .change == "added" and .type == "memory")' "$work/events" | wc -l)" = 1 ] || fail "a rebuilt table told again"

# A target let go and followed again as the targets file changes.
targets '$a'
waitPanel s b '.records == 2' # its state stays
for _ in $(seq 100); do grep -q "1 removed" "$work/s.err" && break; sleep 0.1; done
grep -q "1 removed" "$work/s.err" || fail "b not let go"
rm "$work/s/$(dir b)/panel.json"
targets '$a, $b'
waitPanel s b '.state == "following" and .records == 2'

# The watcher killed, a record logged meanwhile, the watcher started again: tables as before,
# nothing lost or doubled, and at most 3 commands to each BMC before following on.
kill -KILL "$(watcher 0)"
wait "${watchers[0]}" 2>/dev/null
addRecord a "$psu"
rm "$work"/s/*/panel.json
config 30.0
run s
waitPanel s a '.state == "following" and .records == 4 and .commands <= 3'
waitPanel s b '.state == "following" and .records == 2 and .commands <= 3'
[ "$(stat -c %s "$work/s/$(dir a)/records.bin")" = 64 ] || fail "a's records doubled or lost"
sameAsReplay s
kill "${watchers[1]}"
wait "${watchers[1]}" || fail "the watcher did not end well on SIGTERM"

# Two shards of one targets file: each BMC followed by exactly one.
run shard0 --shard 0/2
run shard1 --shard 1/2
for bmc in a b c; do
    for _ in $(seq 300); do [ -e "$work/shard0/$(dir $bmc)/panel.json" ] || [ -e "$work/shard1/$(dir $bmc)/panel.json" ] && break; sleep 0.1; done
done
[ "$(find "$work"/shard? -name panel.json | wc -l)" = 3 ] || fail "shards: $(find "$work"/shard? -name panel.json)"
echo "watch: OK"
