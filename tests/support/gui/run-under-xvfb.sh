#!/bin/sh
# run-under-xvfb.sh: runs a command on a private virtual X display. Xvfb picks a free display
# number itself (-displayfd), so runs started at the same moment never fight over one, as
# parallel "xvfb-run -a" runs can.
set -eu

work=$(mktemp -d)
ready="$work/ready"
mkfifo "$ready"
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$ready" 2>/dev/null &
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true; rm -rf "$work"' EXIT

# The server writes its display number once it accepts connections; the read ends with that
# line, or at once when the server is gone (the pipe closes). The time limit only turns a server
# that hangs into a failure.
display=$(timeout 60 head -n 1 "$ready" || true)
case "$display" in
'' | *[!0-9]*)
    echo "run-under-xvfb: Xvfb did not start" >&2
    exit 1
    ;;
esac

status=0
DISPLAY=":$display" "$@" || status=$?
exit "$status"
