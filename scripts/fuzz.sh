#!/usr/bin/env bash
# The long fuzz pass: scripts/fuzz.sh [SECONDS [JOBS [FLAGS...]]] fuzzes every
# row, then what people type (script lines and .kvt files), each for SECONDS
# on JOBS jobs (default one hour each on every core; FLAGS go to libFuzzer,
# e.g. -runs=N). KAV_FUZZ_TARGETS="rows", "input" or "rows input" (the
# default) picks the targets. Installs clang and its libFuzzer when missing.
# Each job's log lands in build/fuzz/TARGET-JOB.log; a line per target sums
# its jobs' executions and counts its findings. A finding stops its job and
# leaves the input in build/fuzz/findings (the input target's as input-*).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
seconds=${1:-3600} jobs=${2:-$(nproc)}
shift $(($# < 2 ? $# : 2))
rc=0 report=()
for target in ${KAV_FUZZ_TARGETS:-rows input}; do
  case $target in
    rows) run=(kav_fuzz build/fuzz/corpus) mine=(! -name 'input-*') ;;
    input) run=(kav_fuzz_input build/fuzz/input-corpus) mine=(-name 'input-*') ;;
    *) echo "fuzz.sh: no target $target (rows, input)" >&2; exit 2 ;;
  esac
  rm -f fuzz-*.log build/fuzz/"$target"-*.log
  # The jobs share the corpus folder; rereading it every second (libFuzzer's
  # default) would cost more than fuzzing once it holds thousands of files.
  "${run[@]}" -max_total_time="$seconds" -jobs="$jobs" -workers="$jobs" -reload=300 "$@" || rc=$?
  # libFuzzer writes the jobs' logs to the working folder.
  for log in fuzz-*.log; do [[ -e $log ]] && mv "$log" "build/fuzz/$target-${log#fuzz-}"; done
  total=$(cat build/fuzz/"$target"-*.log 2>/dev/null | sed -n 's/^stat::number_of_executed_units: *//p' |
    awk '{s += $1} END {print s + 0}')
  findings=$(find build/fuzz/findings -type f "${mine[@]}" | wc -l)
  report+=("fuzz $target: $total executions in $jobs jobs, $findings findings in build/fuzz/findings")
done
printf '%s\n' "${report[@]}"
exit $rc
