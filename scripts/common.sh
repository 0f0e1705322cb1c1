# shellcheck shell=bash
# SPDX-License-Identifier: MIT
# Sourced by the scripts beside it: where the tree is, how to fail, what to install, how to build.
# Leaves the current directory at the root of the tree.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root" || exit

# shellcheck disable=SC2034 # for the scripts that source this file
driver_folders=(ds3000)
# shellcheck disable=SC2034
source_folders=("${driver_folders[@]}" board broadcast sim trace host tests bench examples)

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# What the comment block at the head of the running script says.
usage() {
    sed -n '3,/^[^#]/{s/^# \{0,1\}//p}' "$root/scripts/${0##*/}"
}

# The packages of the named sections of packages.txt, one a line.
packages_of() {
    local section
    for section in "$@"; do
        awk -v wanted="[$section]" '
            /^\[/ { inside = ($0 == wanted); found = found || inside; next }
            inside && NF && !/^#/ { print $1 }
            END { exit !found }' packages.txt || fail "packages.txt has no section [$section]"
    done
}

# Those of the packages on standard input that are not installed.
missing_packages() {
    local package
    while read -r package; do
        if [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) != installed ]]; then
            printf '%s\n' "$package"
        fi
    done
}

# Run a command and show what it printed only if it fails.
quietly() {
    local log status=0
    log=$(mktemp)
    "$@" >"$log" 2>&1 || status=$?
    if ((status != 0)); then
        cat "$log" >&2
    fi
    rm -f "$log"
    return "$status"
}

# Install what is missing of the named sections of packages.txt; without a word if nothing is.
require_packages() {
    if ! command -v dpkg-query >/dev/null; then
        printf '%s: not a Debian system; what is needed is in packages.txt\n' "${0##*/}" >&2
        return
    fi
    local wanted missing
    wanted=$(packages_of "$@")
    mapfile -t missing < <(missing_packages <<<"$wanted")
    if ((${#missing[@]} == 0)); then
        return
    fi

    local as_root=()
    if ((EUID != 0)); then
        command -v sudo >/dev/null ||
            fail "missing packages, and neither root nor sudo to install them: ${missing[*]}"
        as_root=(sudo)
    fi
    printf 'Installing Debian packages: %s\n' "${missing[*]}"
    local apt_get=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
        apt-get -q -y -o DPkg::Lock::Timeout=300)
    # A package list that cannot be fetched, be it another one's, is no reason to stop yet.
    quietly "${apt_get[@]}" update ||
        printf '%s: apt-get update failed; going on with the lists at hand\n' "${0##*/}" >&2
    quietly "${apt_get[@]}" install --no-install-recommends "${missing[@]}" ||
        fail "apt-get could not install: ${missing[*]} (no network, or not Debian 12?)"
}

# shellcheck disable=SC2034
foreign_targets=(i386 aarch64 armhf mipsel mips sh4)

# The sections of packages.txt that a preset builds with.
sections_of_preset() {
    case $1 in
    clang | tidy | asan | tsan) echo build clang ;;
    clang19) echo build clang19 ;;
    i386 | aarch64 | armhf | mipsel | mips | sh4) echo build foreign "$1" ;;
    coverage) echo build coverage ;;
    *) echo build ;;
    esac
}

# What Debian calls a preset's processor, where it has packages for it.
debian_architecture() {
    case $1 in
    i386 | armhf | mipsel) echo "$1" ;;
    aarch64) echo arm64 ;;
    esac
}

# of_toolchain PRESET VARIABLE: what the preset's toolchain file sets it to
of_toolchain() {
    local file=$root/cmake/toolchain-$1.cmake
    [[ ! -f $file ]] || sed -n "s/^set($2 \(.*\))\$/\1/p" "$file" | tr -d '"'
}

# The preset that builds for a processor by Debian's name, of those that packages are made for.
preset_of_architecture() {
    case $1 in
    amd64) echo release ;;
    arm64) echo aarch64 ;;
    armhf) echo armhf ;;
    *) fail "no packages for $1; there are amd64, arm64 and armhf" ;;
    esac
}

# unpack_packages ARCHITECTURE SECTION FOLDER: unpack the packages of a section, of another
# architecture, by an apt of its own that knows that one alone: installed, they would conflict with
# this machine's.
unpack_packages() {
    local architecture=$1 folder=$3 wanted apt_state
    wanted=$(packages_of "$2")
    if [[ -f $folder/packages && $(<"$folder/packages") == "$wanted" ]]; then
        return
    fi

    printf 'Unpacking Debian packages of %s: %s\n' "$architecture" "${wanted//$'\n'/ }"
    rm -rf "$folder"
    mkdir -p "$folder"
    apt_state=$(mktemp -d)
    mkdir -p "$apt_state"/{lists,archives}/partial
    touch "$apt_state/status"
    local apt_get=(apt-get -q -y
        -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
        -o "Dir::State=$apt_state" -o "Dir::State::status=$apt_state/status"
        -o "Dir::Cache=$apt_state" -o APT::Sandbox::User=)
    # As with require_packages: what is missing shows in the next step.
    "${apt_get[@]}" update >"$apt_state/update.log" 2>&1 || true
    local package
    # shellcheck disable=SC2086 # one word a package
    (cd "$apt_state/archives" && quietly "${apt_get[@]}" download $wanted) ||
        fail "apt-get could not fetch for $architecture: ${wanted//$'\n'/ } (no network?)"
    for package in "$apt_state"/archives/*.deb; do
        dpkg-deb --extract "$package" "$folder"
    done
    rm -rf "$apt_state"
    printf '%s\n' "$wanted" >"$folder/packages"
}

# Debian's libraries for a foreign preset, in build/PRESET/sysroot.
unpack_sysroot() {
    local architecture
    architecture=$(debian_architecture "$1")
    if [[ -n $architecture ]] && command -v dpkg-deb >/dev/null; then
        unpack_packages "$architecture" sysroot "$root/build/$1/sysroot"
    fi
}

# Install what a preset builds with and configure it, with further arguments for cmake. Of its report
# only the lines about placeholder firmware and about what is left out are shown.
configure_preset() {
    local preset=$1 sections log
    shift
    read -ra sections <<<"$(sections_of_preset "$preset")"
    require_packages "${sections[@]}"
    unpack_sysroot "$preset"
    log=$(mktemp)
    if ! cmake --preset "$preset" "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        fail "cmake --preset $preset $* failed"
    fi
    sed -n 's/^-- \(Firmware .*\|Left out: .*\)/\1/p' "$log"
    rm -f "$log"
}

# Configure a preset and build it, or only the given targets of it.
build_preset() {
    local preset=$1
    shift
    configure_preset "$preset"
    cmake --build "build/$preset" ${1:+--target "$@"} || fail "build/$preset: the build failed"
}
