#!/usr/bin/env bash
# windows-tests.sh [CTEST-OPTION...]: runs the Windows build's tests (ctest --preset windows)
# under wine on a virtual display of their own (Xvfb), as some of them show windows.
#
# wine's server and its desktop process stay up between the test programs, and they hold on to
# the display they started with: so they are stopped before, started afresh on the new display
# (detached from any output a reader waits on), and stopped again when the display goes.
set -euo pipefail
cd "$(dirname "$0")/.."
export WINEPREFIX=$PWD/build/windows/wine
wineserver -k 2>/dev/null || true
trap 'wineserver -k 2>/dev/null || true' EXIT
xvfb-run -a -s "-screen 0 1280x1024x24" bash -c '
    scripts/wine-run.sh cmd.exe /c exit 0 </dev/null >/dev/null 2>&1
    ctest --preset windows "$@"' windows-tests "$@"
