#!/usr/bin/env bash
# The long fuzz pass over every row: scripts/fuzz.sh [SECONDS [JOBS [FLAGS...]]]
# (default one hour on every core; FLAGS go to libFuzzer, e.g. -runs=N).
# Installs clang and its libFuzzer when missing. Each job's log lands in build/fuzz/fuzz-JOB.log; the last line sums the jobs'
# executions. A finding stops its job and leaves the input in
# build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
seconds=${1:-3600} jobs=${2:-$(nproc)}
shift $(($# < 2 ? $# : 2))
rc=0
kav_fuzz build/fuzz/corpus -max_total_time="$seconds" -jobs="$jobs" -workers="$jobs" "$@" || rc=$?
# libFuzzer writes the jobs' logs to the working folder.
mv fuzz-*.log build/fuzz/ 2>/dev/null || true
total=$(cat build/fuzz/fuzz-*.log 2>/dev/null | sed -n 's/^stat::number_of_executed_units: *//p' |
  awk '{s += $1} END {print s + 0}')
findings=$(find build/fuzz/findings -type f | wc -l)
echo "fuzz: $total executions in $jobs jobs, $findings findings in build/fuzz/findings"
exit $rc
