#!/usr/bin/env bash
# Builds and runs the benchmarks (x86-64, RelWithDebInfo: the module as the
# default preset builds it), installing what a fresh machine lacks first.
#   scripts/bench.sh [ARGS]          kav_bench, Google Benchmark; ARGS go to it,
#                                    for example --benchmark_filter=sin
#   scripts/bench.sh --rows [ARGS]   kav_rows: each row next to its plain
#                                    reading; ARGS: [REGEX] [--lib PATH] ...
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
kav_deps libbenchmark-dev

target=kav_bench
if [[ "${1:-}" == --rows ]]; then
  target=kav_rows
  shift
fi
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKAV_BENCH=ON -DKAV_TESTS=OFF >/dev/null
cmake --build build/bench --target "$target" -j "$(nproc)" >/dev/null
exec "build/bench/bench/$target" "$@"
