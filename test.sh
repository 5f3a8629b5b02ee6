#!/usr/bin/env bash
# Installs what the build, the tests and the benchmarks need, builds with AddressSanitizer and
# UndefinedBehaviorSanitizer (preset "asan"), and runs every test through ctest. Then cross-builds
# the Windows programs (scripts/build-windows.sh), runs their tests under wine, runs the Linux
# tests that drive orvhost (the demo, the monitor, the shell's routing) against orvhost.exe and
# OrvUpdate.apx, and checks orvzip.exe with the same comparisons against unzip and 7z as the Linux
# orvzip.
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
# The whole road on Windows, played by the Linux tests that run orvhost: the demo (scripted, and
# in the gui, whose summary's screenshot is kept), the monitor end to end against the in-process
# service, and the shell's routing, with orvhost.exe and the Windows modules in place of this
# build's.
windows=$PWD/build/windows/bin
export ORV_ORVHOST_COMMAND="$PWD/scripts/wine-run.sh $windows/orvhost.exe"
export ORV_ORVUPDATE_MODULE=$windows/OrvUpdate.apx ORV_ROUTING_PROBE_MODULE=$windows/routing_probe.dll
scripts/on-wine-display.sh ctest --test-dir build/asan --output-on-failure -j2 \
    -R '^(Demo|MonitoredParts|VersionCheck|DeferredPresentation|ObjectUpdateTest|RoutingThroughHost)\.'
scripts/on-wine-display.sh build/asan/tests/emulator/cli/orvhost_tests --gtest_filter='DemoGui.*'
ORV_ORVZIP_COMMAND="$PWD/scripts/wine-run.sh $windows/orvzip.exe" \
    build/asan/tests/zip/zip_tests --gtest_filter='InteropTest.*:OrvzipCommandLine.*'
