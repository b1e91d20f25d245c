#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# make bench: runs every benchmark program and prints what the library costs, then the figures as
# one Markdown table (the one kept in BENCHMARKS.md). Nothing here asserts a figure.
#   bench/run.sh <host build dir> <armhf build dir>
set -eu
host=$1
armhf=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
rows=$work/rows

# A row of the table: figure, measured, goal, verdict.
row() {
    printf '%s|%s|%s|%s\n' "$1" "$2" "$3" "$4" >>"$rows"
}

# Figures that a program prints as "ROW|figure|measured|goal|verdict" go into the table.
run() {
    "$@" | tee "$work/out"
    grep '^ROW|' "$work/out" | cut -d'|' -f2- >>"$rows" || true
}

# callgrind <out-prefix> <program> <args>: the program's windows, one file per dump.
callgrind() {
    prefix=$1
    shift
    valgrind --tool=callgrind --separate-threads=yes --callgrind-out-file="$prefix" "$@" \
        >"$prefix.stdout" 2>"$prefix.stderr"
}

# The callgrind file (of any thread) whose dump was triggered as window $2.
window() {
    grep -l "^desc: Trigger: Client Request: $2\$" "$1".* | head -n 1
}

# Inclusive instructions of the functions named by the extended regexp $2 in file $1, summed;
# "TOTAL" is the whole window of that thread.
incl() {
    awk -f "$here/inclusive.awk" "$1" | awk -v re="^($2)\$" '
        { n = $1; $1 = ""; $2 = ""; sub(/^  /, ""); if ($0 ~ re) s += n }
        END { print s + 0 }'
}

# The firmware's platform calls: the stand-in's cost is not the library's.
platform='DiagLogOut|SGPIO_DRV_common|QMX_GetProductBoardID|QMX_Get_DiagnosticPanel_Present'
platform="$platform|QMX_Scnprintf|Hal_GetSensorNameCfg|MODULE_GetDiskLocationByInstance"
platform="$platform|snoop_read_current_bios_code|dfc_fan_UpdateFanInstallState"
platform="$platform|DFC_ctl_CheckFanErrState|file_lock_write|file_unlock"

# per <window> <base window> <functions> <count>: the functions' instructions in the window less
# those in the base window, per item counted.
per() {
    echo "$(incl "$1" "$3") $(incl "$2" "$3") $4" | awk '{ printf "%d", ($1 - $2) / $3 + 0.5 }'
}

echo "== machine"
echo "cores: $(nproc); CPU: $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1)"
echo "kernel: $(uname -sr); compiler: $(c++ --version | head -n 1)"
echo "cross: $(arm-linux-gnueabihf-g++ --version | head -n 1)"
echo "C library: $(ldd --version | head -n 1); $(valgrind --version)"
qemu-arm --version | head -n 1
echo "load before: $(cut -d' ' -f1-3 /proc/loadavg)"

echo
echo "== intake throughput (post to fault table)"
run "$host/bench/bench_intake" memory

echo
echo "== instructions per SEL frame, merge into an existing entry (callgrind)"
for family in memory psu; do
    p=$work/sel-$family
    callgrind "$p" "$host/bench/bench_sel_instructions" "$family"
    n=$(sed -n 's/^.*: \([0-9]*\) merges$/\1/p' "$p.stdout")
    rm=$(window "$p" "reader merges"); rb=$(window "$p" "reader marker")
    wm=$(window "$p" "writer merges"); wb=$(window "$p" "writer marker")
    reader=$(per "$rm" "$rb" TOTAL "$n")
    readerPlatform=$(per "$rm" "$rb" "$platform" "$n")
    writer=$(per "$wm" "$wb" DIAG_PANEL_TRANS_postMessage "$n")
    writerPlatform=$(per "$wm" "$wb" "$platform" "$n")
    ownWriter=$((writer - writerPlatform))
    ownReader=$((reader - readerPlatform))
    library=$((ownWriter + ownReader))
    echo "$family per frame: writer $writer (platform $writerPlatform)," \
        "reader $reader (platform $readerPlatform)"
    echo "  the reader's costliest functions per frame (inclusive, self):"
    awk -f "$here/inclusive.awk" "$rm" | sort -rn | awk -v n="$n" 'NR > 4 && NR <= 22 {
        i = $1; s = $2; $1 = ""; $2 = ""; sub(/^  /, "")
        printf "    %6.0f %6.0f  %s\n", i / n, s / n, substr($0, 1, 70) }'
    [ "$library" -le 2000 ] && verdict=met || verdict=missed
    standIn=$((writerPlatform + readerPlatform))
    row "Instructions per SEL frame, $family merge, post to fault table" \
        "$library (writer $ownWriter + reader $ownReader; platform stand-in +$standIn)" \
        "<= 2000" "$verdict"
done

echo
echo "== one display step over a full table"
run "$host/bench/bench_display_step"
p=$work/display
callgrind "$p" "$host/bench/bench_display_step" windows
cycle=$(window "$p" cycle)
crossing=$(window "$p" crossing)
none=$work/none # no window: nothing to subtract
: >"$none"
outside="$platform|sleep" # the panel driver's stand-in and the interposed sleep
driver=$(per "$cycle" "$none" "$outside" 3072)
step=$(($(per "$cycle" "$none" DIAG_PANEL_StateProcess 3072) - driver))
leaving=$(($(incl "$crossing" DIAG_PANEL_StateProcess) - $(incl "$crossing" "$outside")))
echo "instructions per step: mean $step, leaving a bucket $leaving" \
    "(+$driver panel driver and sleep)"
row "Display step, full table (12 x 256): instructions" \
    "mean $step; leaving a bucket $leaving (panel driver stand-in +$driver)" "-" "-"

echo
echo "== idle CPU, real 10-second window"
run "$host/bench/bench_idle_cpu"

echo
echo "== diagpanel replay throughput and peak memory (65,535 records, median of 5 runs; the capture"
echo "   of one record a second also beside a busy process on each core)"
run "$host/bench/bench_replay" "$host/tools/diagpanel"

echo
echo "== diagpanel follow against a simulated BMC (ipmi_sim on 127.0.0.1; a minute idle)"
if command -v ipmi_sim >/dev/null && command -v ipmitool >/dev/null; then
    run "$here/follow.sh" "$host"
else
    echo "skipped: ipmi_sim (Debian package openipmi) or ipmitool missing"
fi

echo
echo "== diagpanel watch over a fleet of simulated BMCs (ipmi_sim on 127.0.0.1; WATCH_BMCS, 1,000)"
run "$here/watch.sh" "$host"
run "$host/bench/bench_scrape"

echo
echo "== size and heap on armhf"
arm-linux-gnueabihf-strip -o "$work/libDiagnosticPanel.so.1" "$armhf/libDiagnosticPanel.so.1"
size=$(wc -c <"$work/libDiagnosticPanel.so.1")
arm-linux-gnueabihf-size -A "$work/libDiagnosticPanel.so.1" | awk '$2 > 1000'
[ "$size" -le 65536 ] && verdict=met || verdict=missed
kib=$(echo "$size" | awk '{ printf "%.1f", $1 / 1024 }')
row "Stripped armhf libDiagnosticPanel.so.1" "$size bytes ($kib KiB)" "<= 64 KiB" "$verdict"
run qemu-arm -L /usr/arm-linux-gnueabihf "$armhf/bench/bench_heap"
"$host/bench/bench_heap" | grep -v '^ROW|'

echo
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
echo
echo "| Figure | Measured | Goal | |"
echo "|---|---|---|---|"
sed 's/|/ | /g; s/^/| /; s/$/ |/' "$rows"
