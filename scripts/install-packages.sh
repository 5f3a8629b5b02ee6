# install-packages.sh: sourced by test.sh, demo.sh and the benchmark scripts. Installs the Debian
# packages (Debian 12 or a derivative) of the groups a caller names that are missing: as root
# through apt-get; otherwise it names them and stops the calling script.
#
#   install_missing_packages CALLER GROUP...     GROUP: build, test, bench or windows
#
# build: what configures and builds the products (the demo needs no more). FLTK's CMake package
#        names /usr/bin/fluid, so fluid belongs here although nothing runs it.
# test:  what the tests build with and run. clang-format is pinned to major version 14, the one
#        Debian 12 ships, so that the format check gives the same answer on every machine;
#        nginx-light stands in front of two version services in the scale-out test.
# bench: what the benchmarks build with and measure against (nginx-light and wrk: the version
#        service's load benchmark).
# windows: what scripts/build-windows.sh cross-builds and the Windows tests run with: mingw-w64
#        with posix threads, its zlib, dpkg-dev to unpack Debian's source packages, and wine.
build_packages=(
    cmake ninja-build g++ pkg-config
    libutfcpp-dev zlib1g-dev libpng-dev libmbedtls-dev libjsoncpp-dev libpugixml-dev
    libcurl4-openssl-dev libcpp-httplib-dev libssl-dev libboost1.81-dev libfltk1.3-dev fluid
    fonts-dejavu-core
)
test_packages=(
    libgtest-dev libgmock-dev git clang-format-14 python3 openssl curl
    zip unzip p7zip-full xvfb xauth nginx-light
)
bench_packages=(
    libbenchmark-dev python3 curl zip unzip p7zip-full time nginx-light wrk
)

windows_packages=(
    g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
    libz-mingw-w64-dev dpkg-dev xz-utils wine wine64
)

install_missing_packages() {
    local caller=$1
    shift
    local wanted=() group
    for group in "$@"; do
        case $group in
        build) wanted+=("${build_packages[@]}") ;;
        test) wanted+=("${test_packages[@]}") ;;
        bench) wanted+=("${bench_packages[@]}") ;;
        windows) wanted+=("${windows_packages[@]}") ;;
        *)
            echo "install-packages.sh: unknown package group '$group'" >&2
            exit 2
            ;;
        esac
    done
    local missing=() package
    for package in $(printf '%s\n' "${wanted[@]}" | sort -u); do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$package")
        fi
    done
    if ((${#missing[@]} == 0)); then
        return 0
    fi
    if [[ $(id -u) -ne 0 ]]; then
        echo "$caller: missing Debian packages: ${missing[*]}" >&2
        echo "$caller: install them as root (apt-get install ${missing[*]}) or run this script as root." >&2
        exit 1
    fi
    echo "$caller: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
