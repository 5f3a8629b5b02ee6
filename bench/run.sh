#!/usr/bin/env bash
# Builds the release preset and runs the benchmarks.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target bench_logging
./build/release/bench/bench_logging "$@"
