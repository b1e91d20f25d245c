#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# diagpanel watch's wall of panels in headless Chromium (wall_browser.py): two simulated BMCs
# (ipmi_sim) and a watcher on free ports of 127.0.0.1, stopped by process id. Every wait is bounded.
#   wall_test.sh TOOL SCREENSHOT   exit 77 (skipped) without ipmi_sim, chromium or its driver
set -u
tool=$1
python=/usr/bin/python3 # the system's, where Debian's selenium is
for needed in ipmi_sim chromium chromedriver; do command -v $needed >/dev/null || { echo "no $needed"; exit 77; }; done
$python -c "import selenium" 2>/dev/null || { echo "no python3-selenium"; exit 77; }
work=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; tail -n 20 "$work"/*.err; exit 1; }
# shellcheck source=host/support/ipmi_sim.sh
. "$(dirname "$0")/../../host/support/ipmi_sim.sh"

addRecord() { ipmiSimAdd "$(cat "$work/$1/console")" "$2"; }
memory="0x10 0x00 0x00 0x00 0x20 0x00 0x04 0x0c 0x60 0x6f 0xa1 0x00 0x60"
psu="0x11 0x00 0x00 0x00 0x20 0x00 0x04 0x08 0x30 0x6f 0x01 0xff 0xff"
for bmc in a b; do
    mkdir -p "$work/$bmc"
    ipmiSimBmc "$work/$bmc/bmc.emu"
    ipmiSimStart "$work/$bmc" -n || fail "ipmi_sim did not start"
    pids+=("$sim")
    echo "$sim" >"$work/$bmc/pid"
    echo "127.0.0.1:$port" >"$work/$bmc/name"
    echo "$console" >"$work/$bmc/console"
done
addRecord a "$psu"
addRecord b "$psu"
echo secret >"$work/pw"
chmod 600 "$work/pw"
echo "[{\"targets\": [\"$(cat "$work/a/name")\", \"$(cat "$work/b/name")\"], \"labels\": {\"rack\": \"r1\"}}]" >"$work/targets.json"
timeout 120 "$tool" watch --targets "$work/targets.json" --user admin --password-file "$work/pw" --interval 0.5 \
    --board 0x01030103 --state-dir "$work/state" --listen 127.0.0.1:0 2>"$work/watch.err" &
pids+=($!)
for _ in $(seq 100); do grep -q "panels on http://" "$work/watch.err" && break; sleep 0.1; done
url=$(sed -n 's|.*panels on \(http://127.0.0.1:[0-9]*/\).*|\1|p' "$work/watch.err")
[ -n "$url" ] || fail "the watcher does not say where its panels are"

timeout 150 $python "$(dirname "$0")/wall_browser.py" "$url" "$2" "$(cat "$work/a/console")" "$memory" "$(cat "$work/b/pid")" \
    "$(cat "$work/a/name")=1" "$(cat "$work/b/name")=1" || fail "the wall"
