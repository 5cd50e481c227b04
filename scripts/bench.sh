#!/usr/bin/env bash
# Builds and runs the benchmarks (x86-64, Release), installing what a fresh
# machine lacks first. Extra arguments go to kav_bench, for example
# --benchmark_filter=sin or --benchmark_repetitions=5.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
kav_deps libbenchmark-dev

cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DKAV_BENCH=ON -DKAV_TESTS=OFF >/dev/null
cmake --build build/bench --target kav_bench -j "$(nproc)" >/dev/null
exec build/bench/bench/kav_bench "$@"
