# Shared by the commands of this folder; sourced, not run. Every command works from any folder and leaves nothing behind
# but the build folder.
set -euo pipefail

project_folder=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_folder=$project_folder/build
export LC_ALL=C

say() {
    printf '\n== %s\n' "$*" >&2
}

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

is_installed() {
    [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Installs the Debian packages that are missing, as root or with sudo; without either, says what to run.
require_packages() {
    command -v dpkg-query >/dev/null || fail "this machine has no dpkg: the set-up knows Debian only. Needed: $*"
    local package missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
            as_root=(sudo -n)
        else
            fail "packages are missing; run:  apt-get update && apt-get install --no-install-recommends -y ${missing[*]}"
        fi
    fi
    say "installing ${missing[*]}"
    "${as_root[@]}" apt-get update -qq >&2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install --no-install-recommends -y -qq "${missing[@]}" >&2
}

build_packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev googletest)
test_packages=(binutils clang libclang-rt-14-dev clang-tidy clang-format)
windows_packages=(g++-mingw-w64-x86-64-posix wine wine64)

# build PRESET [TARGET...]: configures if need be, and builds.
build() {
    local preset=$1
    shift
    local options=()
    [ $# -eq 0 ] || options=(--target "$@")
    (cd "$project_folder" && cmake --preset "$preset" >"$build_folder/$preset.configure.log" 2>&1) ||
        { cat "$build_folder/$preset.configure.log" >&2; fail "configuring the preset $preset failed"; }
    cmake --build "$build_folder/$preset" "${options[@]}" >&2
}

mkdir -p "$build_folder"
