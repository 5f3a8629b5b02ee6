#!/usr/bin/env bash
# wine-run.sh PROGRAM [ARGUMENT...]: runs a Windows program of the build under wine, in the
# build's own prefix (build/windows/wine, made on first use), quietly, with a wine server that
# stays up between the test programs (`wineserver -k` ends it). The first program also starts
# wine's services, which keep its output open while they run: scripts/build-windows.sh starts
# them with its output detached.
#
# ORV_WINE_TEMP, a Windows path, is the program's temporary folder (TEMP and TMP; by default the
# user's), so that a test can give each run a folder of its own: wine sets those two from its
# registry over the caller's environment, so the registry names this variable.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-$root/build/windows/wine}
export WINEDEBUG=${WINEDEBUG:--all}
# No Mono or Gecko installer dialogs: nothing here needs them.
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
export ORV_WINE_TEMP=${ORV_WINE_TEMP:-"C:\\users\\$(id -un)\\Temp"}
if [[ ! -f $WINEPREFIX/system.reg ]]; then
    mkdir -p "$WINEPREFIX"
    wineboot --init >/dev/null 2>&1 || true
    # Windows that no window manager manages: Xvfb has none, and a managed window waits two
    # seconds for one at each hide.
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1 || true
    # Expanded from each program's environment as it starts.
    for name in TEMP TMP; do
        wine reg add 'HKCU\Environment' /v $name /t REG_EXPAND_SZ /d '%ORV_WINE_TEMP%' /f \
            >/dev/null 2>&1 || true
    done
fi
# Detached from this program's output: a server that outlives it must not hold a pipe open for
# whoever reads that output to its end. When this starts a new server (status 0; 2 when one is
# up), wine's services come up with it: they are started here, detached too, or the program's
# output would stay open in them (a server that died mid-run would hold ctest for ever).
status=0
wineserver -p </dev/null >/dev/null 2>&1 || status=$?
if [[ $status == 0 ]]; then
    wine cmd.exe /c exit 0 </dev/null >/dev/null 2>&1 || true
fi
exec wine "$@"
