#!/usr/bin/env bash
# check-layout.sh SOURCE_ROOT [CMAKE_OPTION...]: the layout as the README draws it: no include
# crosses into another folder's src/, and the targets that a configure of SOURCE_ROOT with the
# given options states form no cycle (read from `cmake --graphviz` in a folder of its own).
set -euo pipefail
root=$1
shift
check="$root/scripts/check-layout.py"

python3 "$check" includes "$root"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if ! cmake -S "$root" -B "$work/build" -G Ninja "$@" --graphviz="$work/graph.dot" \
        >"$work/configure.log" 2>&1; then
    cat "$work/configure.log"
    exit 1
fi
python3 "$check" graph "$work/graph.dot"
