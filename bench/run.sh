#!/usr/bin/env bash
# Builds the release preset, runs every benchmark of bench/ once, and prints our figures beside
# the peers' with their ratios.
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/install-packages.sh
install_missing_packages run.sh build test bench
cmake --preset release >/dev/null
cmake --build --preset release --target bench_logging bench_hash bench_transform >/dev/null

results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT
for bench in bench_logging bench_hash bench_transform; do
    ./build/release/bench/"$bench" --benchmark_format=json "$@" >"$results/$bench.json" 2>/dev/null
done

python3 bench/report.py "$results"
bench/zip/run-extract.sh
bench/emulator/run-write.sh
bench/net/run-http.sh
bench/monitor/run-scan.sh
bench/service/run-load.sh
