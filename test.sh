#!/usr/bin/env bash
# Installs what the build, the tests and the benchmarks need, builds with AddressSanitizer and
# UndefinedBehaviorSanitizer (preset "asan"), and runs every test through ctest.
# Exits non-zero when anything is missing, fails to build, or fails a test.
set -euo pipefail
cd "$(dirname "$0")"

source scripts/install-packages.sh
install_missing_packages test.sh build test bench

cmake --preset asan
cmake --build --preset asan
ctest --preset asan
