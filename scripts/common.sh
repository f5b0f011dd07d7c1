# Shared by the commands of this folder; sourced, not run. Every command works from any folder and leaves nothing behind
# but the build folder.
set -euo pipefail

project_folder=$(cd -P "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
build_folder=$project_folder/build
logs_folder=$build_folder/logs
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
test_packages=(binutils pkgconf clang libclang-rt-14-dev clang-tidy clang-format cppcheck tmux prometheus
    python3-prometheus-client python3-jsonschema zsh fish groff-base)
bench_packages=(python3 binutils libbenchmark-dev strace valgrind)
windows_packages=(g++-mingw-w64-x86-64-posix wine wine64)

build_options=()

# build PRESET [TARGET...]: configures if need be, and builds.
build() {
    local preset=$1
    shift
    configure "$preset"
    cmake --build "$build_folder/$preset" ${1:+--target "$@"} -- "${build_options[@]}" >&2
}

configure() { # configure PRESET: unless it is; what the build files know they keep up to date themselves
    local build_file=$build_folder/$1/build.ninja
    [ ! -f "$build_file" ] || [ "$project_folder/CMakePresets.json" -nt "$build_file" ] || return 0
    local log=$logs_folder/configure-$1.log
    (cd "$project_folder" && cmake --preset "$1" >"$log" 2>&1) || { cat "$log" >&2; fail "configuring the preset $1 failed"; }
}

# test_programs PRESET [LABEL...]: name, file and labels of the preset's test programs that have one of the labels, or of
# all, as lines with tabulators.
test_programs() {
    local list=$build_folder/$1/test-programs.tsv
    [ -s "$list" ] || fail "there is no $list: build the preset $1 first (cmake --preset $1 && cmake --build build/$1)"
    awk -F '\t' -v wanted="${*:2}" '
        function has_wanted(labels,    place, count, label) {
            count = split(wanted, label, " ")
            for (place = 1; place <= count; ++place) {
                if (index(" " labels " ", " " label[place] " ")) return 1
            }
            return count == 0
        }
        has_wanted($3)' "$list"
}

# A part of scripts/test ends with this: one line with what it counted on standard output. Above it may stand lines that
# begin with "skipped" and name a test and the reason; everything else goes to standard error.
answer() { # answer PASSED FAILED [SKIPPED]
    printf '%d %d %d\n' "$1" "$2" "${3:-0}"
    [ "$2" -eq 0 ] || exit 1
    exit 0
}

tracked_files() { # tracked_files PATTERN...: the project's files, new ones included
    git -C "$project_folder" ls-files --cached --others --exclude-standard "$@" | sort -u | while read -r file; do
        [ ! -e "$project_folder/$file" ] || printf '%s\n' "$file"
    done
}

mkdir -p "$logs_folder"
