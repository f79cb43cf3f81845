# Shared by ./run, ./check and .ci/run: what has to be installed, and how a preset is built. Sourced, from the
# project's root.

toolPackages="g++ cmake ninja-build"
boardPackages="libtomlplusplus-dev libcli11-dev libgtest-dev libgmock-dev binutils"
coveragePackages="gcovr"
stationPackages="nlohmann-json3-dev libpugixml-dev libssl-dev libsqlite3-dev libpq-dev python3-jsonschema busybox"
armhfPackages="g++-arm-linux-gnueabihf libc6-dev-armhf-cross linux-libc-dev-armhf-cross"
armelPackages="g++-arm-linux-gnueabi libc6-dev-armel-cross linux-libc-dev-armel-cross"
arm64Packages="g++-aarch64-linux-gnu libc6-dev-arm64-cross linux-libc-dev-arm64-cross"
emulatorPackages="qemu-user"
benchmarkPackages="valgrind"
tidyPackages="clang-tidy"
emulatedPackages="qemu-system-arm ipxe-qemu dosfstools fdisk cpio kmod openssh-client"
linePackages="openssh-server openssh-client procps chromium chromium-driver python3-selenium"
debianPackages="dpkg-dev debhelper fakeroot g++-arm-linux-gnueabi g++-arm-linux-gnueabihf"
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

# The cross compiler for armhf, armel or arm64, and the board's C library, which lands below build/.
needBoardBuild() {
    case $1 in
        armhf) needPackages $toolPackages binutils $armhfPackages ;;
        armel) needPackages $toolPackages binutils $armelPackages ;;
        arm64) needPackages $toolPackages binutils $arm64Packages ;;
        *) fail "armhf, armel or arm64, not '$1'" ;;
    esac
    [ ! -s "build/musl/$1/complete" ] || return 0
    [ "${install:-yes}" = yes ] || fail "the board's C library is missing; ./run --install-deps $1 fetches it"
    say "fetching musl-dev:$1 into build/musl/$1 (apt-get)"
    cmake/fetch_musl "$1" "build/musl/$1" || fail "cmake/fetch_musl $1"
}

# The machine of the emulated board, and what makes its file systems.
needEmulatedBoard() {
    needPackages $emulatedPackages
}

# A PostgreSQL server's programs. The cluster that Debian would make and start with them is not wanted, unless somebody
# on this machine has chosen it already.
needDatabaseServer() {
    if ! dpkg-query -W -f='${Status}' postgresql 2>/dev/null | grep -q "ok installed" && [ "${install:-yes}" = yes ]; then
        needPackages postgresql-common
        asRoot=""
        [ "$(id -u)" = 0 ] || asRoot=sudo
        $asRoot sed -i 's/^#create_main_cluster *=.*/create_main_cluster = false/' \
            /etc/postgresql-common/createcluster.conf || fail "/etc/postgresql-common/createcluster.conf"
    fi
    needPackages postgresql
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

# Runs a command with its output in a log, which is shown when it fails; says after three seconds what takes so long.
runLogged() {
    log=$1
    hint=$2
    shift 2
    (
        sleep 3 2>/dev/null &
        sleeper=$!
        trap 'kill "$sleeper"; exit' TERM
        wait "$sleeper" && kill -0 $$ && say "$hint"
    ) >/dev/null &
    hinter=$!
    status=0
    "$@" >"$log" 2>&1 || status=$?
    kill "$hinter" 2>/dev/null || true # it may have spoken already
    wait "$hinter" 2>/dev/null || true
    [ "$status" = 0 ] || { cat "$log" >&2; fail "$*"; }
}

# In a moved or copied checkout CMake would complain and then build and run the old place's program, with success.
configuredHere() {
    home=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "build/$1/CMakeCache.txt" 2>/dev/null) || return 1
    [ -f "build/$1/build.ninja" ] && [ -d "$home" ] && [ "$(cd "$home" && pwd -P)" = "$(pwd -P)" ]
}

# Configures a preset, unless that was done in this very folder.
configurePreset() {
    mkdir -p "build/$1"
    ! configuredHere "$1" || return 0
    # The ARM builds within this one have caches of their own.
    find "build/$1" -mindepth 2 -name CMakeCache.txt -delete
    [ "$1" != armhf-test ] || rm -f build/armhf/CMakeCache.txt build/armel/CMakeCache.txt
    runLogged "build/$1/build.log" "configuring build/$1" cmake --fresh --preset "$1"
}

# Configures a preset once and builds it, or only the targets named behind it; the compiler speaks only when
# something is wrong.
buildPreset() {
    preset=$1
    shift
    hint="building build/$preset anew where sources have changed"
    [ -d "build/$preset/bin" ] || hint="building build/$preset (the first time takes half a minute to a minute)"
    configurePreset "$preset"
    runLogged "build/$preset/build.log" "$hint" cmake --build --preset "$preset" ${1:+--target "$@"}
}
