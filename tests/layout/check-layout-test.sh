#!/usr/bin/env bash
# check-layout-test.sh SOURCE_ROOT: check-layout.py finds what it must: an include into another
# folder's src/, a public src/ include path, a cycle, and nothing to look at; and passes a clean
# tree and an acyclic graph.
set -euo pipefail
check="$1/scripts/check-layout.py"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

expect() {  # expect STATUS WHAT COMMAND...
    local wanted=$1 what=$2 status=0
    shift 2
    "$@" >"$work/out" 2>&1 || status=$?
    if [ "$status" -ne "$wanted" ]; then
        echo "FAILED: $what: exit status $status, wanted $wanted"
        cat "$work/out"
        failures=$((failures + 1))
    fi
}

tree() {  # tree NAME: a folder with a library and a header of its own
    mkdir -p "$work/$1/lib/include/lib" "$work/$1/lib/src" "$work/$1/app"
    printf 'add_library(lib STATIC src/a.cpp)\ntarget_include_directories(lib PUBLIC include PRIVATE src)\n' \
        >"$work/$1/lib/CMakeLists.txt"
    printf '#include "lib/a.h"\n' >"$work/$1/lib/src/a.cpp"
    printf '#pragma once\n' >"$work/$1/lib/include/lib/a.h"
    printf '#include "lib/a.h"\n' >"$work/$1/app/main.cpp"
}

tree clean
expect 0 "a clean tree" python3 "$check" includes "$work/clean"

tree reach
printf '#include "../lib/src/a.cpp"\n' >"$work/reach/app/main.cpp"
expect 1 "an include up and into src/" python3 "$check" includes "$work/reach"

tree reach2
printf '#include "lib/src/b.h"\n' >"$work/reach2/app/main.cpp"
expect 1 "an include into src/" python3 "$check" includes "$work/reach2"

tree public
printf 'add_library(lib STATIC src/a.cpp)\ntarget_include_directories(lib PUBLIC include src)\n' \
    >"$work/public/lib/CMakeLists.txt"
expect 1 "a public src/ include path" python3 "$check" includes "$work/public"

tree other
printf 'add_executable(app main.cpp)\ntarget_include_directories(app PRIVATE ${PROJECT_SOURCE_DIR}/lib/src)\n' \
    >"$work/other/app/CMakeLists.txt"
expect 1 "a private include path into another folder's src/" python3 "$check" includes "$work/other"

mkdir -p "$work/empty"
expect 1 "a tree with nothing in it" python3 "$check" includes "$work/empty"

cat >"$work/acyclic.dot" <<'DOT'
digraph "x" {
    "node0" [ label = "app", shape = egg ];
    "node1" [ label = "lib", shape = octagon ];
    "node2" [ label = "base", shape = octagon ];
    "node0" -> "node1"
    "node1" -> "node2"
    "node0" -> "node2"
}
DOT
expect 0 "an acyclic graph" python3 "$check" graph "$work/acyclic.dot"
sed 's/^}$/    "node2" -> "node0"\n}/' "$work/acyclic.dot" >"$work/cyclic.dot"
expect 1 "a graph with a cycle" python3 "$check" graph "$work/cyclic.dot"
printf 'digraph "x" {\n}\n' >"$work/none.dot"
expect 1 "a graph without targets" python3 "$check" graph "$work/none.dot"

exit $((failures > 0))
