# Shared by ./run, ./check and .ci/run: what has to be installed, and how a preset is built. Sourced, from the
# project's root.

toolPackages="g++ cmake ninja-build"
boardPackages="libtomlplusplus-dev libcli11-dev libgtest-dev libgmock-dev binutils"
stationPackages="nlohmann-json3-dev libpugixml-dev libssl-dev python3-jsonschema"

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

# Configures a preset once and builds it; the compiler speaks only when something is wrong.
buildPreset() {
    mkdir -p "build/$1"
    log="build/$1/build.log"
    [ -d "build/$1/bin" ] || say "building build/$1 (the first time takes a minute or two)"
    [ -f "build/$1/build.ninja" ] || cmake --preset "$1" >"$log" 2>&1 || { cat "$log" >&2; fail "cmake --preset $1"; }
    cmake --build --preset "$1" >"$log" 2>&1 || { cat "$log" >&2; fail "cmake --build --preset $1"; }
}
