# shellcheck shell=bash disable=SC2034
# What the scripts share: the packages a build needs, and how to configure and build a preset. Sourced, never run.

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
readonly ROOT
JOBS=$(nproc)
readonly JOBS

# Debian's names: what a build needs, and what rt-import, rt-render and rt-farm need on top.
BUILD_PACKAGES=(g++ cmake ninja-build)
TOOL_PACKAGES=(libassimp-dev libpng-dev libjpeg-dev libxxhash-dev libcpp-httplib-dev nlohmann-json3-dev
    libopenexr-dev)
# For the Python module and its tests; a build does without.
PYTHON_PACKAGES=(pybind11-dev python3-dev python3-numpy python3-pytest python3-distributed)

# A header that tells whether a library's package is there.
declare -A HEADERS=([libassimp-dev]=assimp/Importer.hpp [libpng-dev]=png.h [libjpeg-dev]=jpeglib.h
    [libxxhash-dev]=xxhash.h [libbenchmark-dev]=benchmark/benchmark.h
    [libcpp-httplib-dev]=httplib.h [libopenexr-dev]=OpenEXR/ImfOutputFile.h [nlohmann-json3-dev]=nlohmann/json.hpp)

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

# Whether Clang links programs with its fuzzer and sanitizers.
hasClangRuntime() {
    local szProgram iStatus=0
    szProgram=$(mktemp)
    echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
        clang++ -fsanitize=fuzzer,address,undefined -x c++ - -o "$szProgram" || iStatus=1
    rm -f "$szProgram"
    return $iStatus
}

# Whether what a package brings is there, wherever it came from.
isThere() {
    case $1 in
        ninja-build) command -v ninja ;;
        googletest) [ -e /usr/src/googletest/CMakeLists.txt ] ;;
        dpkg-dev) command -v dpkg-shlibdeps ;;
        qemu-user) command -v qemu-i386 qemu-aarch64 ;;
        binutils-aarch64-linux-gnu) command -v aarch64-linux-gnu-ld ;;
        libstdc++-12-dev-arm64-cross) [ -e /usr/aarch64-linux-gnu/include/c++/12/vector ] ;;
        slurm-wlm) command -v slurmctld slurmd ;;
        munge) command -v munged ;;
        chromium-driver) command -v chromedriver ;;
        openssh-client) command -v ssh ;;
        openssh-server) [ -x /usr/sbin/sshd ] ;;
        systemd) command -v systemd-analyze ;;
        g++-multilib) echo '#include <cstdio>' | g++ -m32 -fsyntax-only -x c++ - ;;
        libclang-rt-14-dev) hasClangRuntime ;;
        pybind11-dev) [ -e /usr/include/pybind11/pybind11.h ] ;;
        python3-dev) compgen -G '/usr/include/python3.*/Python.h' ;;
        python3-*) /usr/bin/python3 -c "import ${1#python3-}" ;;
        lib* | nlohmann*) echo "#include <${HEADERS[$1]}>" | g++ -std=c++17 -E -x c++ - ;;
        *) command -v "$1" ;;
    esac >/dev/null 2>&1
}

# The named packages that are missing, a line each.
missingPackages() {
    local szPackage
    for szPackage in "$@"; do isThere "$szPackage" || echo "$szPackage"; done
}

# Installs those of the named packages that are missing; asks for nothing when CI is set or nobody is there to answer.
# Fails, and says what to do, when that is not possible. One process at a time.
installPackages() {
    [ -n "$(missingPackages "$@")" ] || return 0
    (
        flock 9
        mapfile -t vMissing < <(missingPackages "$@")
        [ ${#vMissing[@]} = 0 ] && exit
        szAdvice="missing: ${vMissing[*]} (Debian's names). As root: apt-get install ${vMissing[*]}"
        command -v apt-get >/dev/null || { echo "$szAdvice" >&2; exit 1; }
        vRoot=()
        if [ "$(id -u)" != 0 ]; then
            command -v sudo >/dev/null || { echo "$szAdvice" >&2; exit 1; }
            vRoot=(sudo)
            if [ "${CI:-}" = true ] || ! [ -t 0 ]; then vRoot+=(-n); fi
        fi
        echo "Installing: ${vMissing[*]}"
        vRoot+=(env DEBIAN_FRONTEND=noninteractive apt-get -q -y)
        "${vRoot[@]}" update || echo "The package lists could not be refreshed; trying those that are here." >&2
        "${vRoot[@]}" install --no-install-recommends "${vMissing[@]}" </dev/null || { echo "$szAdvice" >&2; exit 1; }
    ) 9<"$ROOT/scripts/lib/setup.sh"
}

needPackages() {
    installPackages "$@" || fail "cannot go on without these packages"
}

# What a build needs and what it can do without, missing packages of both kinds told at once.
needBuildPackages() {
    local szPackage
    installPackages "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" && return
    for szPackage in "${BUILD_PACKAGES[@]}"; do
        isThere "$szPackage" || fail "cannot go on without: ${BUILD_PACKAGES[*]}"
    done
    echo "Going on without what rt-import, rt-render and rt-farm need." >&2
}

# For what works without them in part.
wantPackages() {
    installPackages "$@" || echo "Going on without them." >&2
}
