#!/usr/bin/env bash
# Installs what the build, the tests and the benchmarks need, builds with AddressSanitizer and
# UndefinedBehaviorSanitizer (preset "asan"), and runs every test through ctest. Then cross-builds
# the Windows programs (scripts/build-windows.sh), runs their tests under wine, plays the demo with
# orvhost.exe as the Linux demo tests play it, and checks orvzip.exe with the same comparisons
# against unzip and 7z as the Linux orvzip.
# Exits non-zero when anything is missing, fails to build, or fails a test.
set -euo pipefail
cd "$(dirname "$0")"

source scripts/install-packages.sh
install_missing_packages test.sh build test bench windows

cmake --preset asan
cmake --build --preset asan
ctest --preset asan

# wine's server stays up between the Windows programs; it goes when this script ends.
trap 'WINEPREFIX="$PWD/build/windows/wine" wineserver -k 2>/dev/null || true' EXIT
scripts/build-windows.sh
scripts/windows-tests.sh
# The whole road on Windows: orvhost.exe plays the demo with OrvUpdate.apx and its in-process
# service, scripted and in the gui (whose summary's screenshot is kept), as the Linux orvhost does.
ORV_ORVHOST_COMMAND="$PWD/scripts/wine-run.sh $PWD/build/windows/bin/orvhost.exe" \
    scripts/on-wine-display.sh build/asan/tests/emulator/cli/orvhost_tests \
    --gtest_filter='Demo.*:DemoGui.*'
ORV_ORVZIP_COMMAND="$PWD/scripts/wine-run.sh $PWD/build/windows/bin/orvzip.exe" \
    build/asan/tests/zip/zip_tests --gtest_filter='InteropTest.*:OrvzipCommandLine.*'
