#!/usr/bin/env bash
# run-load.sh: orvservice of the release build (whatever its core) under load, beside nginx
# answering every check of the same 1,000-object catalog with orvservice's own bytes
# (nginx-twin.py), one after the other in one run:
# - wrk -t2 with 100 and with 1,000 keep-alive connections spread over the objects (spread.lua):
#   requests/s, p99, socket errors, error statuses;
# - a 64 KiB request line and a 64 KiB header (overlong.py): the status, and whether the
#   connection is closed;
# - 1,000 slow clients (a byte a second) and 1,000 idle ones held open (hold-clients.py): a good
#   check's worst time, when the server closes them, and the server's peak memory.
# Prints the table and each goal met or MISSED (report-load.py) and writes the figures as JSON.
# Not a test: it reports, it does not fail on slowness. About three minutes with the defaults.
#
#   bench/service/run-load.sh     DURATION=S (default 10) seconds of each wrk run;
#                                 HOLD=S (default 30) how long slow and idle clients are held;
#                                 RESULTS=FILE (default build/release/bench/service-load.json)
set -euo pipefail
cd "$(dirname "$0")/../.."

source scripts/install-packages.sh
install_missing_packages run-load.sh build test bench

duration=${DURATION:-10}
hold=${HOLD:-30}
results=${RESULTS:-$PWD/build/release/bench/service-load.json}
objects=1000
here=bench/service

bin=build/release/bin
cmake --preset release >/dev/null
cmake --build --preset release --target orvservice >/dev/null

# 1,000 wrk connections, or 2,000 held ones, need more descriptors than the usual 1,024.
nofile=8192
hard=$(ulimit -Hn)
[[ $hard != unlimited ]] && ((hard < nofile)) && nofile=$hard
ulimit -n "$nofile" || echo "run-load.sh: cannot raise ulimit -n to $nofile" >&2
if (($(ulimit -n) < 4096)); then
    echo "run-load.sh: ulimit -n is $(ulimit -n) (hard limit $hard): the 1,000-connection" \
        "runs and the held clients may fail for want of descriptors" >&2
fi

work=$(mktemp -d)
chmod 755 "$work" # nginx's workers may run as nobody
servers=()
client=
# Running, and not a zombie waiting for us.
alive() {
    local state
    state=$(sed 's/.*) //' "/proc/$1/stat" 2>/dev/null | cut -d' ' -f1)
    [[ -n $state && $state != Z ]]
}
# TERM, and KILL (with its children: nginx's workers) if it is still there after 5 s.
stop() {
    local pid=$1
    kill "$pid" 2>/dev/null || return 0
    for _ in $(seq 50); do alive "$pid" || break; sleep 0.1; done
    if alive "$pid"; then
        local children
        children=$(cat /proc/"$pid"/task/*/children 2>/dev/null || true)
        # shellcheck disable=SC2086 # one pid a word
        kill -KILL "$pid" $children 2>/dev/null || true
    fi
    wait "$pid" 2>/dev/null || true
}
cleanup() {
    [[ -n $client ]] && stop "$client"
    for pid in "${servers[@]}"; do stop "$pid"; done
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
# Measuring clients run in the background: the traps above then act at once on Ctrl+C or TERM,
# instead of after the client.
measure() {
    local out=$1
    shift
    "$@" >"$out" &
    client=$!
    wait "$client"
    client=
}

python3 - "$work" "$objects" <<'PY'
import json, os, sys
work, count = sys.argv[1], int(sys.argv[2])
os.mkdir(f"{work}/files")
objects = []
for n in range(count):
    objects.append({"id": f"P{n:04d}", "versions": ["1.0", "1.1", "2.0"], "latest": "2.0",
                    "test_versions": ["2.1-beta"], "file": f"P{n:04d}-2.0.zip"})
    open(f"{work}/files/P{n:04d}-2.0.zip", "wb").close()
json.dump({"objects": objects}, open(f"{work}/catalog.json", "w"))
PY

"$bin/orvservice" --catalog "$work/catalog.json" --files "$work/files" \
    --listen 127.0.0.1:0 >"$work/service.txt" &
orvservice=$!
servers+=("$orvservice")
for _ in $(seq 50); do grep -q listening "$work/service.txt" && break; sleep 0.1; done
orv_url=$(sed -n 's/.*listening on \(http[^ ]*\).*/\1/p' "$work/service.txt")
[[ -n $orv_url ]] || { echo "run-load.sh: orvservice did not start" >&2; exit 1; }

mkdir -p "$work/nginx/temp"
port=$(python3 "$here/nginx-twin.py" conf "$work/catalog.json" "$orv_url" "$work/nginx" "$(nproc)")
as_user=()
if [[ $(id -u) -eq 0 ]]; then
    # Unprivileged even when the script runs as root.
    chown -R nobody:nogroup "$work/nginx"
    as_user=(setpriv --reuid=nobody --regid=nogroup --clear-groups --)
fi
"${as_user[@]}" nginx -p "$work/nginx" -c "$work/nginx/nginx.conf" -e "$work/nginx/error.log" &
nginx=$!
servers+=("$nginx")
nginx_url=http://127.0.0.1:$port
for _ in $(seq 50); do curl -s -o /dev/null "$nginx_url/check" && break; sleep 0.1; done
alive "$nginx" || { echo "run-load.sh: nginx did not start:" >&2; cat "$work/nginx/error.log" >&2; exit 1; }
python3 "$here/nginx-twin.py" verify "$orv_url" "$nginx_url" "$objects"

figures=$work/figures
mkdir "$figures"
printf '{"objects": %d, "duration_s": %s, "hold_s": %s, "cores": %d, "nofile": %d, "load_average": %s}\n' \
    "$objects" "$duration" "$hold" "$(nproc)" "$(ulimit -n)" "$(cut -d' ' -f1 /proc/loadavg)" \
    >"$figures/context.json"
declare -A url=([orvservice]=$orv_url [nginx]=$nginx_url)
declare -A pid=([orvservice]=$orvservice [nginx]=$nginx)

for connections in 100 1000; do
    for server in orvservice nginx; do
        echo "run-load.sh: wrk, $connections keep-alive connections, $server, $duration s" >&2
        measure "$work/wrk.txt" wrk -t2 -c"$connections" -d"$duration"s --timeout 2s --latency \
            -s "$here/spread.lua" "${url[$server]}" -- "$objects"
        # spread.lua's summary is wrk's last line.
        tail -n 1 "$work/wrk.txt" >"$figures/wrk-$server-$connections.json"
        sleep 2 # the server closes the connections wrk leaves
    done
done
for server in orvservice nginx; do
    echo "run-load.sh: over-long request line and header, $server" >&2
    measure "$figures/overlong-$server.json" python3 "$here/overlong.py" "${url[$server]#http://}"
done
# Last: a server that never closes slow clients stays busy with them.
for server in orvservice nginx; do
    echo "run-load.sh: 1,000 slow and 1,000 idle clients for up to $hold s, $server" >&2
    measure "$figures/hold-$server.json" python3 "$here/hold-clients.py" \
        "${url[$server]#http://}" "${pid[$server]}" --hold "$hold"
done

if [[ -s $work/nginx/error.log ]]; then
    echo "run-load.sh: nginx's error log:" >&2
    cat "$work/nginx/error.log" >&2
fi
python3 "$here/report-load.py" "$figures" "$results"
