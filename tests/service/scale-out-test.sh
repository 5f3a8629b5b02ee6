#!/usr/bin/env bash
# scale-out-test.sh ORVSERVICE NGINX_CONF: two orvservice instances behind nginx on this machine,
# with deploy/nginx-orvservice.conf as it stands, sharing one catalog and one files folder. A
# release published with `orvservice publish` is answered by both instances, through nginx too,
# and its file is downloaded from nginx, where the answers' addresses (--files-url) point.
# Exits 0 when all of that holds; run by ctest.
set -euo pipefail
orvservice=$1
template=$2

work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
fail() {
    echo "scale-out-test.sh: $*" >&2
    [[ -f $work/run/error.log ]] && cat "$work/run/error.log" >&2
    exit 1
}
# Waits for `test` to hold; the limit only turns a hang into a failure.
until_true() {
    for _ in $(seq 200); do
        if eval "$1"; then
            return 0
        fi
        sleep 0.1
    done
    return 1
}
free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

mkdir -p "$work/files" "$work/run/temp"
chmod 755 "$work" # nginx's workers may run as nobody
cat >"$work/catalog.json" <<'JSON'
{"objects": [{"id": "D01", "versions": ["1.0"], "latest": "1.0"}]}
JSON
listen=127.0.0.1:$(free_port)
for n in 1 2; do
    "$orvservice" --catalog "$work/catalog.json" --files "$work/files" --listen 127.0.0.1:0 \
        --files-url "http://$listen/files" >"$work/instance$n.txt" 2>&1 &
    pids+=($!)
    until_true "grep -q listening '$work/instance$n.txt'" || fail "instance $n did not start"
    declare "instance$n=$(sed -n 's|.*listening on http://||p' "$work/instance$n.txt")"
done
sed -e "s|@RUN@|$work/run|g" -e "s|@FILES@|$work/files|g" -e "s|@LISTEN@|$listen|" \
    -e "s|@INSTANCE1@|$instance1|" -e "s|@INSTANCE2@|$instance2|" "$template" >"$work/run/nginx.conf"
as_user=()
if [[ $(id -u) -eq 0 ]]; then
    chown -R nobody:nogroup "$work/run"
    as_user=(setpriv --reuid=nobody --regid=nogroup --clear-groups --)
fi
nginx=$(command -v nginx || echo /usr/sbin/nginx)
"${as_user[@]}" "$nginx" -p "$work/run" -c "$work/run/nginx.conf" -e "$work/run/error.log" &
pids+=($!)
check="/check?id=D01&version=1.0&format=json"
until_true "curl -sf 'http://$listen$check' >/dev/null" || fail "nginx did not answer"
curl -sf "http://$listen$check" | grep -q '"up_to_date":true' || fail "D01 1.0 is not up to date"

# The release, published while both instances serve.
python3 - "$work/D01-2.0.zip" <<'PY'
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], "w", zipfile.ZIP_DEFLATED) as archive:
    archive.writestr("D01.xml", "the part, version 2.0\n")
PY
"$orvservice" publish --catalog "$work/catalog.json" --files "$work/files" --id D01 \
    --version 2.0 "$work/D01-2.0.zip" >"$work/publish.txt" || fail "publish: $(cat "$work/publish.txt")"
file_url="http://$listen/files/D01-2.0.zip"
for instance in "$instance1" "$instance2"; do
    until_true "curl -sf 'http://$instance$check' | grep -qF '\"url\":\"$file_url\"'" ||
        fail "$instance does not offer the release: $(curl -s "http://$instance$check")"
done
for _ in 1 2 3 4; do
    curl -sf "http://$listen$check" | grep -qF "\"update_available\":true" ||
        fail "nginx answered without the release"
done
headers=$(curl -sf -D - -o "$work/downloaded.zip" "$file_url") || fail "the file is not served"
cmp -s "$work/downloaded.zip" "$work/D01-2.0.zip" || fail "the file served is not the one published"
grep -qi "^Content-Disposition: attachment; filename\*=UTF-8''D01-2.0.zip" <<<"$headers" ||
    fail "no Content-Disposition with the file's name: $headers"
echo "scale-out-test.sh: both instances and nginx answer the release; its file comes from nginx"
