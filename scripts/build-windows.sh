#!/usr/bin/env bash
# build-windows.sh: builds every Windows product of this checkout with Debian's mingw-w64 into
# build/windows (the products in build/windows/bin), dependencies included.
#
# The dependencies are Debian's own: zlib from libz-mingw-w64-dev; mbed TLS, JsonCpp, pugixml, libpng,
# GoogleTest and OpenSSL's two libraries built for Windows from Debian's source packages of the
# versions the Linux build uses (apt-get source, through an apt configuration of this script's own
# inside the build folder, so that the machine's is left as it was); the utfcpp headers of the
# Linux package, Boost's headers of the Linux package (Asio and Beast are headers only), and
# cpp-httplib's single header from its source package. They are fetched and built once, into
# build/windows/deps, and reused.
#
#   scripts/build-windows.sh [--deps-only]
set -euo pipefail
# A step that fails inside $(...) stops the script too.
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

# apt-get or apt-cache with this script's own source list (deb-src of the machine's suites),
# lists and cache.
apt_private() {
    local tool=$1
    shift
    "$tool" -o Dir::Etc::SourceList="$deps/apt/empty.list" \
        -o Dir::Etc::SourceParts="$deps/apt/sources.list.d" \
        -o Dir::State::Lists="$deps/apt/lists" -o Dir::Cache="$deps/apt/cache" \
        -o Debug::NoLocking=1 -o APT::Sandbox::User=root "$@"
}

prepare_apt() {
    [[ -f $deps/apt/updated ]] && return 0
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
    apt_private apt-get update -qq
    touch "$deps/apt/updated"
}

# The source package of the installed Linux package `binary`, unpacked with Debian's patches;
# prints the folder. A machine that lags behind its suite's updates may have a version that the
# mirror no longer holds: then the newest one the mirror holds is taken, and said so.
fetch_source() {
    local binary=$1 source version candidate taken folder
    source=$(dpkg-query -W -f='${source:Package}' "$binary")
    version=$(dpkg-query -W -f='${source:Version}' "$binary")
    # The version unpacked for the installed one.
    taken=$deps/sources/$source-$version.taken
    if [[ ! -f $taken ]]; then
        prepare_apt
        for candidate in "$version" $(apt_private apt-cache showsrc "$source" |
            sed -n 's/^Version: //p' | sort -Vru); do
            rm -rf "$deps/sources/download"
            mkdir -p "$deps/sources/download"
            if (cd "$deps/sources/download" &&
                apt_private apt-get source -qq --download-only "$source=$candidate") \
                >/dev/null 2>&1; then
                break
            fi
            candidate=
        done
        if [[ -z $candidate ]]; then
            echo "build-windows.sh: the mirror has no source of $source" >&2
            exit 1
        fi
        if [[ $candidate != "$version" ]]; then
            echo "build-windows.sh: the mirror has no $source $version; taking $candidate" >&2
        fi
        folder=$deps/sources/$source-$candidate
        rm -rf "$folder"
        dpkg-source --no-check -x "$deps/sources/download/"*.dsc "$folder" >&2
        rm -rf "$deps/sources/download"
        echo "$candidate" >"$taken"
    fi
    echo "$deps/sources/$source-$(cat "$taken")"
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

# OpenSSL (the service's HTTPS) builds with its own Configure, whose mingw64 target names the
# compilers by the prefix; only libcrypto and libssl, static, without tests or programs.
build_openssl() {
    local log=$deps/build/libssl-dev.log source
    [[ -f $deps/build/libssl-dev.done ]] && return 0
    source=$(fetch_source libssl-dev)
    echo "build-windows.sh: building $(basename "$source") for Windows (libraries only)"
    rm -rf "$deps/build/libssl-dev"
    mkdir -p "$deps/build/libssl-dev"
    (cd "$deps/build/libssl-dev" &&
        "$source/Configure" mingw64 --cross-compile-prefix=x86_64-w64-mingw32- CC=gcc-posix \
            no-shared no-tests --prefix="$prefix" --libdir=lib &&
        make -j"$(nproc)" build_libs && make install_dev) >"$log" 2>&1 || { cat "$log"; exit 1; }
    touch "$deps/build/libssl-dev.done"
}
build_openssl
# Header-only libraries. utfcpp's and Boost's Linux headers serve as they are (Boost's, 180 MB,
# through a link); Debian's httplib.h declares what its shared library defines, so the single
# header of the source package is taken instead.
mkdir -p "$prefix/include/utf8cpp"
cp -r /usr/include/utf8cpp/. "$prefix/include/utf8cpp/"
ln -sfn /usr/include/boost "$prefix/include/boost"
cp "$(fetch_source libcpp-httplib-dev)/httplib.h" "$prefix/include/"

if [[ ${1:-} == --deps-only ]]; then
    exit 0
fi

cmake --preset windows -DORV_WINDOWS_DEPS="$prefix"
cmake --build --preset windows
# The wine prefix is made here, once, so that test programs started side by side find it ready;
# the services wine starts with it stay up, detached from any output a later reader waits on.
scripts/wine-run.sh cmd.exe /c exit 0 </dev/null >/dev/null 2>&1
