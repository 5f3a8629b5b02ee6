#!/usr/bin/env bash
# run-fuzzer.sh: builds a fuzz target with clang (libFuzzer, AddressSanitizer,
# UndefinedBehaviorSanitizer) in build/fuzz, and fuzzes it from the committed corpus for a while.
#
#   tests/fuzz/run-fuzzer.sh [SECONDS] [extra libFuzzer options...]     (default 600 s)
#
# ORV_FUZZ_TARGET picks the target: zip (the default), net, catalog (the service's catalog reader)
# or service_query (the service's answer to a request target).
#
# New interesting inputs go to build/fuzz/corpus (corpus-TARGET for the others; the committed
# corpus is only read). Findings are left as build/fuzz/findings/crash-*, leak-*, timeout-*,
# oom-*; the script exits non-zero when there is one. Replay one with:
#   build/fuzz/tests/fuzz/TARGET_fuzzer FILE
set -euo pipefail
cd "$(dirname "$0")/../.."

seconds=${1:-600}
shift || true
target=${ORV_FUZZ_TARGET:-zip}
build=build/fuzz
case $target in
zip) options=(-dict=tests/fuzz/zip.dict -max_len=65536) corpus=$build/corpus ;;
net) options=(-max_len=4096) corpus=$build/corpus-net ;;
# Longer than JsonCpp's nesting limit of 1000, so that the limit is reached too.
catalog) options=(-dict=tests/fuzz/catalog.dict -max_len=8192) corpus=$build/corpus-catalog ;;
service_query)
    options=(-dict=tests/fuzz/service_query.dict -max_len=1024) corpus=$build/corpus-service_query ;;
*)
    echo "run-fuzzer.sh: unknown ORV_FUZZ_TARGET $target (zip, net, catalog or service_query)" >&2
    exit 2
    ;;
esac

# clang and its runtime (libFuzzer lives in libclang-rt-14-dev).
need=()
command -v clang++ >/dev/null || need+=(clang)
if ! ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1; then
    need+=(libclang-rt-14-dev)
fi
if ((${#need[@]} > 0)); then
    echo "run-fuzzer.sh: installing ${need[*]}"
    sudo=()
    [[ $(id -u) -eq 0 ]] || sudo=(sudo)
    "${sudo[@]}" apt-get update -q
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -q "${need[@]}"
fi

flags="-g -O1 -fno-omit-frame-pointer -fsanitize=fuzzer-no-link,address,undefined"
flags+=" -fno-sanitize-recover=undefined"
# clang 14 with libstdc++ has no std::source_location; the shim stands in for it.
if ! echo '#include <source_location>
std::source_location l = std::source_location::current();' |
    clang++ -std=c++20 -x c++ -fsyntax-only - 2>/dev/null; then
    flags+=" -include $PWD/tests/fuzz/compat/source_location_shim.h"
fi
cmake -S . -B "$build" -G Ninja \
    -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" \
    -DORV_BUILD_FUZZER=ON -DORV_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build "$build" --target "${target}_fuzzer"

mkdir -p "$corpus" "$build/findings"
fuzzer=$build/tests/fuzz/${target}_fuzzer
# One job: the machine is shared.
status=0
"$fuzzer" "$corpus" "tests/fuzz/corpus/$target" "${options[@]}" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$build/findings/" -print_final_stats=1 "$@" || status=$?

findings=$(find "$build/findings" -type f | sort)
if [[ -n $findings ]]; then
    echo "run-fuzzer.sh: findings:"
    echo "$findings"
    echo "run-fuzzer.sh: minimise with: $fuzzer -minimize_crash=1 -runs=10000 FILE"
    exit 1
fi
exit "$status"
