#!/usr/bin/env bash
# Builds the release preset and runs every benchmark of bench/ once: our figures beside the peers'
# with their ratios, each benchmark's goals met or MISSED, and at the end every goal of the run
# together (bench/summary.py), beside the last run's verdict. The figures go to one JSON file,
# RESULTS=FILE (default build/release/bench/results.json); the last run's is kept beside it as
# results.previous.json. Arguments go to the Google Benchmark programs.
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/install-packages.sh
install_missing_packages run.sh build test bench
cmake --preset release >/dev/null
cmake --build --preset release --target bench_logging bench_hash bench_transform >/dev/null

output=${RESULTS:-$PWD/build/release/bench/results.json}
results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT
for bench in bench_logging bench_hash bench_transform; do
    ./build/release/bench/"$bench" --benchmark_format=json "$@" >"$results/$bench.json" 2>/dev/null
done

mkdir "$results/figures"
BENCH_RESULTS=$results/figures/streams.json python3 bench/report.py "$results"
BENCH_RESULTS=$results/figures/zip.json bench/zip/run-extract.sh
BENCH_RESULTS=$results/figures/emulator.json bench/emulator/run-write.sh
BENCH_RESULTS=$results/figures/net.json bench/net/run-http.sh
BENCH_RESULTS=$results/figures/monitor.json bench/monitor/run-scan.sh
RESULTS=$results/figures/service.json bench/service/run-load.sh
python3 bench/summary.py "$results/figures" "$output"
