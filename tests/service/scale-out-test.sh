#!/usr/bin/env bash
# scale-out-test.sh ORVSERVICE NGINX_CONF: two orvservice instances behind nginx on this machine,
# with deploy/nginx-orvservice.conf as it stands, sharing one catalog and one files folder. Two
# releases published with `orvservice publish`, a ZIP archive and a plain part (which publish places
# in a folder of its own under the part's own name), are answered by both instances, through nginx
# too, and their files are downloaded from nginx, where the answers' addresses (--files-url) point,
# each with Content-Disposition naming the file the add-on saves: the plain part's own name.
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
# Waits until FILE holds COUNT lines matching PATTERN, reading them as they are written (tail -f
# follows the file by inotify); the limit only turns a hang into a failure.
wait_for_lines() {
    local file=$1 pattern=$2 count=$3 found
    found=$(timeout 20 tail -n +1 -f "$file" | grep -m "$count" -c -- "$pattern" || true)
    [[ $found -ge $count ]]
}
# nginx says nothing when it is ready: polled for, bounded, the one wait here without an event.
until_nginx_answers() {
    for _ in $(seq 200); do
        if curl -sf "$1" >/dev/null; then
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
{"objects": [{"id": "D01", "versions": ["1.0"], "latest": "1.0"},
             {"id": "P01", "versions": ["1.0"], "latest": "1.0"}]}
JSON
listen=127.0.0.1:$(free_port)
for n in 1 2; do
    : >"$work/instance$n.txt"
    "$orvservice" --catalog "$work/catalog.json" --files "$work/files" --listen 127.0.0.1:0 \
        --files-url "http://$listen/files" >"$work/instance$n.txt" 2>&1 &
    pids+=($!)
    wait_for_lines "$work/instance$n.txt" "listening on" 1 ||
        fail "instance $n did not start: $(cat "$work/instance$n.txt")"
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
check() { echo "/check?id=$1&version=1.0&format=json"; }
until_nginx_answers "http://$listen$(check D01)" || fail "nginx did not answer"
curl -sf "http://$listen$(check D01)" | grep -q '"up_to_date":true' || fail "D01 1.0 is not up to date"

# Publishes FILE as version 2.0 of ID while both instances serve, and waits until each has taken
# the new catalog: its COUNT-th "catalog ... taken" line.
publish() {
    local id=$1 file=$2 count=$3
    "$orvservice" publish --catalog "$work/catalog.json" --files "$work/files" --id "$id" \
        --version 2.0 "$file" >"$work/publish.txt" || fail "publish: $(cat "$work/publish.txt")"
    for n in 1 2; do
        wait_for_lines "$work/instance$n.txt" "catalog .* taken" "$count" ||
            fail "instance $n did not take the catalog: $(cat "$work/instance$n.txt")"
    done
}
# ID's release is offered at URL by both instances and through nginx; URL gives FILE's bytes from
# nginx under NAME.
expect_served() {
    local id=$1 file=$2 url=$3 name=$4
    for instance in "$instance1" "$instance2"; do
        curl -sf "http://$instance$(check "$id")" | grep -qF "\"url\":\"$url\"" ||
            fail "$instance does not offer $id's release: $(curl -s "http://$instance$(check "$id")")"
    done
    for _ in 1 2 3 4; do
        curl -sf "http://$listen$(check "$id")" | grep -qF "\"update_available\":true" ||
            fail "nginx answered without $id's release"
    done
    headers=$(curl -sf -D - -o "$work/downloaded" "$url") || fail "$url is not served"
    cmp -s "$work/downloaded" "$file" || fail "$url is not the file published"
    grep -qi "^Content-Disposition: attachment; filename\*=UTF-8''$name"$'\r'"\$" <<<"$headers" ||
        fail "$url: no Content-Disposition naming $name: $headers"
}

# A ZIP archive, served as ID-V.zip.
python3 - "$work/D01-2.0.zip" <<'PY'
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], "w", zipfile.ZIP_DEFLATED) as archive:
    archive.writestr("D01.xml", "the part, version 2.0\n")
PY
publish D01 "$work/D01-2.0.zip" 1
expect_served D01 "$work/D01-2.0.zip" "http://$listen/files/D01-2.0.zip" "D01-2.0.zip"

# A plain part, served under its own name, the one the add-on saves it under and so replaces.
mkdir -p "$work/maker"
cat >"$work/maker/P01 Door.gsm" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<Symbol IsArchivable="false" IsPlaceable="true" Version="43">
<ParamSection SectVersion="27" SectionFlags="0" SubIdent="0">
<Parameters>
<String Name="check_url">
<Value><![CDATA["http://$listen/check?id=P01&version=2.0"]]></Value>
</String>
<RealNum Name="uptodate">
<Value>0</Value>
</RealNum>
</Parameters>
</ParamSection>
</Symbol>
XML
publish P01 "$work/maker/P01 Door.gsm" 2
[[ -f "$work/files/P01-2.0/P01 Door.gsm" ]] || fail "the plain part is not at P01-2.0/P01 Door.gsm"
expect_served P01 "$work/maker/P01 Door.gsm" "http://$listen/files/P01-2.0/P01%20Door.gsm" \
    "P01%20Door.gsm"
echo "scale-out-test.sh: both instances and nginx answer both releases; their files come from" \
    "nginx, the plain part's under its own name"
