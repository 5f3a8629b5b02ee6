# install-packages.sh: sourced by test.sh and demo.sh. Installs the Debian packages of the build,
# the tests and the benchmarks that are missing: as root through apt-get; otherwise it names them
# and stops the calling script. `$1` is the caller's name for the messages.
packages=(
    cmake ninja-build g++ pkg-config git clang-format
    libutfcpp-dev zlib1g-dev libmbedtls-dev libjsoncpp-dev libpugixml-dev
    libcurl4-openssl-dev libcpp-httplib-dev libfltk1.3-dev openssl python3
    zip unzip p7zip-full xvfb xauth fonts-dejavu-core
    libgtest-dev libgmock-dev libbenchmark-dev
)

install_missing_packages() {
    local caller=$1
    local missing=()
    local package
    for package in "${packages[@]}"; do
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
