# shellcheck shell=bash disable=SC2034
# What the scripts share: the packages a build needs, and how to configure and build a preset. Sourced, never run.

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
readonly ROOT
JOBS=$(nproc)
readonly JOBS

# Debian's names. The second list is what the tests need on top.
BUILD_PACKAGES=(g++ cmake ninja-build)
TEST_PACKAGES=(googletest libbenchmark-dev clang clang-format)
[ "$(uname -m)" = x86_64 ] && TEST_PACKAGES+=(g++-multilib)

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Whether this machine runs 32-bit programs; some kernels do not.
runs32Bit() {
    local szProgram iStatus=0
    szProgram=$(mktemp)
    echo 'int main() { return 0; }' | g++ -m32 -x c++ - -o "$szProgram" && "$szProgram" || iStatus=1
    rm -f "$szProgram"
    return $iStatus
} 2>/dev/null

# Whether what a package brings is there, wherever it came from.
isThere() {
    case $1 in
        ninja-build) command -v ninja ;;
        googletest) [ -e /usr/src/googletest/CMakeLists.txt ] ;;
        libbenchmark-dev) [ -e /usr/include/benchmark/benchmark.h ] || [ -e /usr/local/include/benchmark/benchmark.h ] ;;
        qemu-user) command -v qemu-i386 ;;
        g++-multilib) echo '#include <cstdio>' | g++ -m32 -fsyntax-only -x c++ - ;;
        *) command -v "$1" ;;
    esac >/dev/null 2>&1
}

# Installs those of the named packages that are missing; asks for nothing when CI is set or nobody is there to answer.
needPackages() {
    local szPackage vMissing=() vRoot=()
    for szPackage in "$@"; do isThere "$szPackage" || vMissing+=("$szPackage"); done
    [ ${#vMissing[@]} = 0 ] && return
    command -v apt-get >/dev/null ||
        fail "missing: ${vMissing[*]} (Debian's names). There is no apt-get here: install them another way."
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null ||
            fail "missing: ${vMissing[*]}. As root: apt-get install ${vMissing[*]}"
        vRoot=(sudo)
        if [ "${CI:-}" = true ] || ! [ -t 0 ]; then vRoot+=(-n); fi
    fi
    echo "Installing: ${vMissing[*]}"
    vRoot+=(env DEBIAN_FRONTEND=noninteractive apt-get -q -y)
    "${vRoot[@]}" update || echo "The package lists could not be refreshed; trying those that are here." >&2
    "${vRoot[@]}" install --no-install-recommends "${vMissing[@]}" </dev/null ||
        fail "could not install: ${vMissing[*]}. As root: apt-get install ${vMissing[*]}"
}
