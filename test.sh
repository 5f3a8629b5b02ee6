#!/usr/bin/env bash
# Installs what the build and the tests need, builds with AddressSanitizer and
# UndefinedBehaviorSanitizer (preset "asan"), and runs every test through ctest.
# Exits non-zero when anything is missing, fails to build, or fails a test.
set -euo pipefail
cd "$(dirname "$0")"

# Debian packages of the build, the tests and the benchmarks.
packages=(
    cmake ninja-build g++ pkg-config git clang-format
    libutfcpp-dev zlib1g-dev libmbedtls-dev libjsoncpp-dev libpugixml-dev
    libcurl4-openssl-dev libcpp-httplib-dev libfltk1.3-dev openssl python3
    zip unzip p7zip-full xvfb xauth fonts-dejavu-core
    libgtest-dev libgmock-dev libbenchmark-dev
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done

if ((${#missing[@]} > 0)); then
    if [[ $(id -u) -ne 0 ]]; then
        echo "test.sh: missing Debian packages: ${missing[*]}" >&2
        echo "test.sh: install them as root (apt-get install ${missing[*]}) or run this script as root." >&2
        exit 1
    fi
    echo "test.sh: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

cmake --preset asan
cmake --build --preset asan
ctest --preset asan
