#!/usr/bin/env bash
# The long fuzz pass over every row: scripts/fuzz.sh [SECONDS [JOBS]] (default
# one hour on every core). Installs clang and its libFuzzer when missing. Each
# job prints its executions and coverage when it ends; a finding stops its job
# and leaves the input in build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
seconds=${1:-3600} jobs=${2:-$(nproc)}
kav_fuzz build/fuzz/corpus -max_total_time="$seconds" -jobs="$jobs" -workers="$jobs"
