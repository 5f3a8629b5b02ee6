#!/bin/sh
# run-under-xvfb.sh: runs a command on a private virtual X display. Xvfb picks a free display
# number itself (-displayfd), so runs started at the same moment never fight over one, as
# parallel "xvfb-run -a" runs can.
set -eu

ready=$(mktemp)
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$ready" 2>/dev/null &
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true; rm -f "$ready"' EXIT

# The server writes its display number once it accepts connections.
waited=0
until [ -s "$ready" ]; do
    if ! kill -0 "$server" 2>/dev/null || [ "$waited" -ge 100 ]; then
        echo "run-under-xvfb: Xvfb did not start" >&2
        exit 1
    fi
    sleep 0.1
    waited=$((waited + 1))
done

status=0
DISPLAY=":$(head -n 1 "$ready")" "$@" || status=$?
exit "$status"
