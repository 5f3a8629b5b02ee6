#!/usr/bin/env bash
# on-wine-display.sh COMMAND [ARGUMENT...]: runs COMMAND with a virtual display of its own (Xvfb)
# for the Windows programs it starts under wine (scripts/wine-run.sh), as some show windows.
#
# wine's server and its desktop process stay up between programs, and they hold on to the
# display they started with: so they are stopped before, started afresh on the new display
# (detached from any output a reader waits on), and stopped again when the display goes.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-$root/build/windows/wine}
wineserver -k 2>/dev/null || true
trap 'wineserver -k 2>/dev/null || true' EXIT
# The search for a free display starts at a number of its own, so that runs side by side do not
# race for the same one.
xvfb-run -a -n $((100 + RANDOM % 800)) -s "-screen 0 1280x1024x24" bash -c '
    "$0"/scripts/wine-run.sh cmd.exe /c exit 0 </dev/null >/dev/null 2>&1
    "$@"' "$root" "$@"
