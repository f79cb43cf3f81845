# Shared by ./run, ./check and .ci/run: what has to be installed, and how a preset is built. Sourced, from the
# project's root.

toolPackages="g++ cmake ninja-build"
boardPackages="libtomlplusplus-dev libcli11-dev libgtest-dev libgmock-dev binutils"
coveragePackages="gcovr"
stationPackages="nlohmann-json3-dev libpugixml-dev libssl-dev python3-jsonschema"
armhfPackages="g++-arm-linux-gnueabihf libc6-dev-armhf-cross linux-libc-dev-armhf-cross"
armelPackages="g++-arm-linux-gnueabi libc6-dev-armel-cross linux-libc-dev-armel-cross"
emulatorPackages="qemu-user"
benchmarkPackages="libbenchmark-dev"
emulatedPackages="qemu-system-arm ipxe-qemu dosfstools fdisk cpio kmod"
fuzzPackages="clang libclang-rt-14-dev"

say() {
    printf '== %s\n' "$*" >&2
}

fail() {
    printf '== FAILED: %s\n' "$*" >&2
    exit 1
}

# Installs the packages that are missing, or only names them after --no-install.
needPackages() {
    missing=""
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "ok installed" || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    [ "${install:-yes}" = yes ] || fail "these Debian packages are missing:$missing"
    asRoot=""
    [ "$(id -u)" = 0 ] || asRoot=sudo
    say "installing$missing (apt-get${asRoot:+, with sudo})"
    $asRoot apt-get update -qq || fail "apt-get update"
    $asRoot env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null ||
        fail "apt-get install$missing"
}

# The cross compiler for armhf or armel, and the board's C library, which lands below build/.
needBoardBuild() {
    case $1 in
        armhf) needPackages $toolPackages binutils $armhfPackages ;;
        armel) needPackages $toolPackages binutils $armelPackages ;;
        *) fail "armhf or armel, not '$1'" ;;
    esac
    [ ! -f "build/musl/$1/complete" ] || return 0
    [ "${install:-yes}" = yes ] || fail "the board's C library is missing; ./run --install-deps $1 fetches it"
    say "fetching musl-dev:$1 into build/musl/$1 (apt-get)"
    cmake/fetch_musl "$1" "build/musl/$1" || fail "cmake/fetch_musl $1"
}

# The machine of the emulated board, and what makes its file systems.
needEmulatedBoard() {
    needPackages $emulatedPackages
}

# Everything that a preset needs on this machine.
needPreset() {
    grep -q "\"configurePreset\": \"$1\"" CMakePresets.json || fail "there is no preset '$1'"
    case $1 in
        armhf | armel) needBoardBuild "$1" ;;
        armhf-test)
            needPackages $toolPackages $boardPackages $stationPackages $emulatorPackages
            needBoardBuild armhf
            needBoardBuild armel
            ;;
        coverage) needPackages $toolPackages $boardPackages $stationPackages $coveragePackages ;;
        fuzz) needPackages $toolPackages $boardPackages $stationPackages $fuzzPackages ;;
        *) needPackages $toolPackages $boardPackages $stationPackages ;;
    esac
}

# Configures a preset once and builds it, or only the targets named behind it; the compiler speaks only when
# something is wrong.
buildPreset() {
    preset=$1
    shift
    mkdir -p "build/$preset"
    log="build/$preset/build.log"
    [ -d "build/$preset/bin" ] || say "building build/$preset (the first time takes a minute or two)"
    if [ ! -f "build/$preset/build.ninja" ]; then
        cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2; fail "cmake --preset $preset"; }
    fi
    cmake --build --preset "$preset" ${1:+--target "$@"} >"$log" 2>&1 ||
        { cat "$log" >&2; fail "cmake --build --preset $preset"; }
}
