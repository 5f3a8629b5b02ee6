#!/usr/bin/env bash
# check-format.sh [CLANG_FORMAT [ROOT]]: checks that every C++ file of the project at ROOT (default:
# this checkout) stands as .clang-format lays it out. The layout is pinned to clang-format 14, the
# version Debian 12 ships and install-packages.sh installs, so that every machine gives the same
# answer. In a git checkout the tracked files are checked; elsewhere (an unpacked archive) every
# .cpp and .h outside build/ and hidden folders. Finding no file is a failure, never a pass.
set -euo pipefail
clang_format=${1:-clang-format-14}
root=${2:-$(dirname "$0")/..}
cd "$root"

version=$("$clang_format" --version 2>/dev/null) || {
    echo "check-format.sh: cannot run $clang_format" >&2
    exit 1
}
if [[ ! $version =~ version\ 14\. ]]; then
    echo "check-format.sh: $clang_format is \"$version\"; the layout is pinned to clang-format 14" >&2
    exit 1
fi

files=()
toplevel=$(git rev-parse --show-toplevel 2>/dev/null) || toplevel=
if [[ -n $toplevel && $toplevel -ef . ]]; then
    mapfile -d '' files < <(git ls-files -z -- '*.cpp' '*.h')
else
    mapfile -d '' files < <(find . \( -path ./build -o -path './.*' \) -prune -o \
        -type f \( -name '*.cpp' -o -name '*.h' \) -print0)
fi
if ((${#files[@]} == 0)); then
    echo "check-format.sh: no C++ file to check under $PWD" >&2
    exit 1
fi
"$clang_format" --dry-run --Werror "${files[@]}"
echo "check-format.sh: ${#files[@]} files stand as .clang-format lays them out"
