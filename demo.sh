#!/usr/bin/env bash
# Installs what the build needs, builds the release preset (only orvhost, the add-on and what
# they pull in), and runs the demo: `orvhost demo` with this script's arguments.
set -euo pipefail
cd "$(dirname "$0")"

# The same Debian packages as test.sh, so that one build folder serves both.
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
        echo "demo.sh: missing Debian packages: ${missing[*]}" >&2
        echo "demo.sh: install them as root (apt-get install ${missing[*]}) or run this script as root." >&2
        exit 1
    fi
    echo "demo.sh: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

cmake --preset release >/dev/null
cmake --build --preset release --target orvhost OrvUpdate
exec build/release/bin/orvhost demo "$@"
