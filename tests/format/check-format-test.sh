#!/usr/bin/env bash
# check-format-test.sh CLANG_FORMAT: the format check fails where it must. Outside a git checkout it
# still finds the files and refuses a badly laid out one; a tree with no C++ file is refused rather
# than passed; in a git checkout the tracked files are the ones checked.
set -euo pipefail
clang_format=$1
here=$(cd "$(dirname "$0")" && pwd)
check=$here/../../scripts/check-format.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "check-format-test: $*" >&2
    exit 1
}
passes() { "$check" "$clang_format" "$work" >/dev/null 2>&1; }

cp "$here/../../.clang-format" "$work/"
passes && fail "a tree without C++ files passed"

mkdir -p "$work/src" "$work/build"
printf 'int f() { return 1; }\n' >"$work/src/good.cpp"
passes || fail "a well laid out file outside git failed"
printf 'int   g( ){return 2;}\n' >"$work/src/bad.cpp"
passes && fail "a badly laid out file outside git passed"
mv "$work/src/bad.cpp" "$work/build/bad.cpp"
passes || fail "a file under build/ was checked"

mv "$work/build/bad.cpp" "$work/src/bad.cpp"
git -C "$work" init -q
git -C "$work" add .clang-format src/good.cpp
passes || fail "an untracked file in a git checkout was checked"
git -C "$work" add src/bad.cpp
passes && fail "a badly laid out tracked file passed"
echo "check-format-test: the check refuses what it must"
