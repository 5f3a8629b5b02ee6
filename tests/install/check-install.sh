#!/usr/bin/env bash
# check-install.sh BUILD_DIR: `cmake --install` puts every product in one folder, where each finds
# the others beside itself: orvhost loads the installed module and reads the installed demo.
set -euo pipefail
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

fail() {
    echo "check-install: $*" >&2
    exit 1
}

cmake --install "$build" --prefix "$prefix" >/dev/null
folder=$prefix/lib/orvupdate
for product in orvhost orvservice orvzip libhostkit.so libwinsys.so OrvUpdate.so \
    Graphics/brennerstein.png demo/project.json; do
    [[ -e $folder/$product ]] || fail "$product is not installed in $folder"
done
"$folder/orvhost" status "$folder/demo" | grep -q "D01 Vchodové dveře" ||
    fail "the installed orvhost does not read the installed demo"
for program in orvservice orvzip; do
    "$folder/$program" --help >/dev/null || fail "the installed $program does not run"
done
echo "check-install: every product stands in $folder"
