#!/usr/bin/env bash
# wine-run.sh PROGRAM [ARGUMENT...]: runs a Windows program of the build under wine, in the
# build's own prefix (build/windows/wine, made on first use), quietly, with a wine server that
# stays up between the test programs (`wineserver -k` ends it). The first program also starts
# wine's services, which keep its output open while they run: scripts/build-windows.sh starts
# them with its output detached.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-$root/build/windows/wine}
export WINEDEBUG=${WINEDEBUG:--all}
# No Mono or Gecko installer dialogs: nothing here needs them.
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
if [[ ! -f $WINEPREFIX/system.reg ]]; then
    mkdir -p "$WINEPREFIX"
    wineboot --init >/dev/null 2>&1 || true
    # Windows that no window manager manages: Xvfb has none, and a managed window waits two
    # seconds for one at each hide.
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1 || true
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
