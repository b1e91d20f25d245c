#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs the fuzz targets and prints their figures.
#   run.sh --smoke DIR TARGET   one target for a few seconds over a copy of its seeds (ctest)
#   run.sh DIR SECONDS [TARGET...]  every target (or those named) for SECONDS each (make fuzz);
#                               the corpus each one grows is kept in DIR/corpus-<target> and
#                               reused by the next run
# DIR holds the <target>_fuzz binaries. A finding (crash, sanitizer report, leak, time-out) is
# saved as DIR/findings/<target>/<kind>-<hash> and makes the run fail.
set -u
here=$(cd "$(dirname "$0")" && pwd)
targets="intake translator display"
readers="binary_sel hex_sel freeipmi_sel event_lines scenario sdr_dump sdr_elist sdr_csv"
library=$targets

# seeds TARGET: the library's targets have a corpus each; the readers start from the tool's
# samples and test data, every format for each (longer inputs than these add nothing).
seeds() {
    case " $library " in
    *" $1 "*) echo "$here/corpus/$1" ;;
    *) echo "-max_len=8192 $here/../../tools/diagpanel/samples $here/../tools/data" ;;
    esac
}

# run TARGET SECONDS CORPUS: one libFuzzer run, its output into CORPUS.log
run() {
    mkdir -p "$3" "$dir/findings/$1"
    # shellcheck disable=SC2046 # the seeds are words
    "$dir/$1_fuzz" -max_total_time="$2" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="$dir/findings/$1/" "$3" $(seeds "$1") >"$3.log" 2>&1
}

if [ "${1:-}" = --smoke ]; then
    dir=$2
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    run "$3" 5 "$work/corpus"
    status=$?
    grep -E '^#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units' "$work/corpus.log"
    [ $status -eq 0 ] || tail -n 40 "$work/corpus.log"
    exit $status
fi

dir=$1
seconds=$2
shift 2
[ $# -eq 0 ] || { targets=$*; readers=; }
failed=0
total=0
printf '%-12s %8s %12s %9s %8s %8s %7s  %s\n' target seconds executions exec/s edges features corpus findings
for target in $targets $readers; do
    run "$target" "$seconds" "$dir/corpus-$target"
    status=$?
    log="$dir/corpus-$target.log"
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
    done_line=$(grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -n 1)
    edges=$(echo "$done_line" | sed -n 's/.* cov: \([0-9]*\).*/\1/p')
    features=$(echo "$done_line" | sed -n 's/.* ft: \([0-9]*\).*/\1/p')
    corpus=$(echo "$done_line" | sed -n 's/.* corp: \([0-9]*\).*/\1/p')
    findings=$(find "$dir/findings/$target" -mindepth 1 -maxdepth 1 | wc -l)
    if [ $status -ne 0 ] || [ "$findings" -ne 0 ]; then
        failed=1
        tail -n 40 "$log"
    fi
    total=$((total + ${execs:-0}))
    printf '%-12s %8s %12s %9s %8s %8s %7s  %s\n' "$target" "$seconds" "${execs:-?}" "${rate:-?}" \
        "${edges:-?}" "${features:-?}" "${corpus:-?}" "$findings"
done
echo "executions over the targets: $total"
exit $failed
