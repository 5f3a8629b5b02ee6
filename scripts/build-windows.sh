#!/usr/bin/env bash
# build-windows.sh: builds every Windows product of this checkout with Debian's mingw-w64 into
# build/windows (the products in build/windows/bin), dependencies included.
#
# The dependencies are Debian's own: zlib from libz-mingw-w64-dev; mbed TLS, JsonCpp, pugixml,
# libpng and GoogleTest built for Windows from Debian's source packages of the versions the Linux build uses
# (apt-get source, through an apt configuration of this script's own inside the build folder, so
# that the machine's is left as it was); the utfcpp and cpp-httplib headers of the Linux packages.
# They are fetched and built once, into build/windows/deps, and reused.
#
#   scripts/build-windows.sh [--deps-only]
set -euo pipefail
# A failure inside $(...) stops the script too.
shopt -s inherit_errexit
cd "$(dirname "$0")/.."
source scripts/install-packages.sh
install_missing_packages build-windows.sh build test windows

root=$PWD
out=$root/build/windows
deps=$out/deps
prefix=$deps/prefix
toolchain=$root/cmake/mingw-w64-x86_64.cmake
mkdir -p "$deps/sources" "$deps/build" "$prefix/include"

# apt with this script's own source list (deb-src of the machine's suites), lists and cache.
apt_options=(-o Dir::Etc::SourceList="$deps/apt/empty.list"
    -o Dir::Etc::SourceParts="$deps/apt/sources.list.d"
    -o Dir::State::Lists="$deps/apt/lists" -o Dir::Cache="$deps/apt/cache"
    -o Debug::NoLocking=1 -o APT::Sandbox::User=root)
apt_private() { apt-get "${apt_options[@]}" "$@"; }

# The lists are fetched once; `refresh` fetches them again (a security update moved a version on).
prepare_apt() {
    [[ ${1:-} != refresh && -f $deps/apt/updated ]] && return 0
    mkdir -p "$deps/apt/sources.list.d" "$deps/apt/lists/partial" "$deps/apt/cache/archives/partial"
    : >"$deps/apt/empty.list"
    local file
    for file in /etc/apt/sources.list.d/*.sources; do
        [[ -f $file ]] || continue
        sed 's/^Types:.*$/Types: deb-src/' "$file" >"$deps/apt/sources.list.d/$(basename "$file")"
    done
    if [[ -f /etc/apt/sources.list ]]; then
        sed -n 's/^deb /deb-src /p' /etc/apt/sources.list >"$deps/apt/sources.list.d/machine.list"
    fi
    apt_private update -qq
    touch "$deps/apt/updated"
}

# Downloads source package `source` at `version` into the current folder.
download_source() {
    apt_private source -qq --download-only "$1=$2" >&2 2>/dev/null
}

# The versions of source package `source` the lists offer with the same upstream version as
# `version`, newest first, `version` itself left out.
sibling_versions() {
    local source=$1 version=$2
    apt-cache "${apt_options[@]}" showsrc "$source" 2>/dev/null | sed -n 's/^Version: //p' | sort -urV |
        awk -v upstream="${version%-*}-" -v own="$version" 'index($0, upstream) == 1 && $0 != own'
}

# The source package of the installed Linux package `binary`, unpacked with Debian's patches;
# prints the folder. The installed version is taken where the mirror has its sources; where it
# has them no more (a security update of which only the binaries are kept), the newest Debian
# revision of the same upstream version that it has.
fetch_source() {
    local binary=$1 source version folder candidate
    source=$(dpkg-query -W -f='${source:Package}' "$binary")
    version=$(dpkg-query -W -f='${source:Version}' "$binary")
    for folder in "$deps/sources/$source-${version%-*}"-*; do
        [[ -f $folder/.unpacked ]] && { echo "$folder"; return 0; }
    done
    prepare_apt
    rm -rf "$deps/sources/download"
    mkdir -p "$deps/sources/download"
    cd "$deps/sources/download"
    if ! download_source "$source" "$version"; then
        prepare_apt refresh
        download_source "$source" "$version" || {
            for candidate in $(sibling_versions "$source" "$version") ""; do
                [[ -n $candidate ]] && download_source "$source" "$candidate" && break
            done
            [[ -n $candidate ]] || { echo "build-windows.sh: no sources of $source $version" >&2; exit 1; }
            echo "build-windows.sh: $source $version has no sources on the mirror; using $candidate" >&2
            version=$candidate
        }
    fi
    cd "$root"
    folder=$deps/sources/$source-$version
    rm -rf "$folder"
    dpkg-source --no-check -x "$deps/sources/download/${source}_${version#*:}.dsc" "$folder" >&2
    rm -rf "$deps/sources/download"
    touch "$folder/.unpacked"
    echo "$folder"
}

# Builds and installs a CMake project of a source package into the prefix, once.
build_dependency() {
    local binary=$1 source
    shift
    [[ -f $deps/build/$binary.done ]] && return 0
    source=$(fetch_source "$binary")
    echo "build-windows.sh: building $(basename "$source") for Windows"
    rm -rf "$deps/build/$binary"
    cmake -S "$source" -B "$deps/build/$binary" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF \
        "$@" >"$deps/build/$binary.log" 2>&1 || { cat "$deps/build/$binary.log"; exit 1; }
    cmake --build "$deps/build/$binary" >>"$deps/build/$binary.log" 2>&1 &&
        cmake --install "$deps/build/$binary" >>"$deps/build/$binary.log" 2>&1 ||
        { cat "$deps/build/$binary.log"; exit 1; }
    touch "$deps/build/$binary.done"
}

build_dependency libmbedtls-dev -DENABLE_TESTING=OFF -DENABLE_PROGRAMS=OFF \
    -DUSE_STATIC_MBEDTLS_LIBRARY=ON -DUSE_SHARED_MBEDTLS_LIBRARY=OFF -DMBEDTLS_FATAL_WARNINGS=OFF
build_dependency libjsoncpp-dev -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF \
    -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF -DBUILD_STATIC_LIBS=ON -DBUILD_OBJECT_LIBS=OFF
build_dependency libpugixml-dev
build_dependency libpng-dev -DPNG_SHARED=OFF -DPNG_STATIC=ON -DPNG_TESTS=OFF -DPNG_EXECUTABLES=OFF \
    -DPNG_TOOLS=OFF -DSKIP_INSTALL_PROGRAMS=ON -DSKIP_INSTALL_FILES=ON
build_dependency libgtest-dev -DBUILD_GMOCK=ON -DINSTALL_GTEST=ON
# Header-only libraries: the Linux packages' headers serve as they are.
mkdir -p "$prefix/include/utf8cpp"
cp -r /usr/include/utf8cpp/. "$prefix/include/utf8cpp/"
cp /usr/include/httplib.h "$prefix/include/"

if [[ ${1:-} == --deps-only ]]; then
    exit 0
fi

cmake --preset windows -DORV_WINDOWS_DEPS="$prefix"
cmake --build --preset windows
# The wine prefix is made here, once, so that test programs started side by side find it ready;
# the services wine starts with it stay up, detached from any output a later reader waits on.
scripts/wine-run.sh cmd.exe /c exit 0 </dev/null >/dev/null 2>&1
