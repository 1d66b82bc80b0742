#!/usr/bin/env bash
# setup.sh GROUP... - installs what is missing of the named groups: build test sanitize lint docs bench fuzz interop.
#
# Looks first and touches nothing, network included, when everything is there. Made for Debian 12; on another
# system it names what is needed and leaves the rest to CMake. QUOR_REPLACE_BOOST=1 lets it replace an older
# Boost without asking.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."

say() { printf 'setup: %s\n' "$*"; }
fail() {
    printf 'setup: %s\n' "$*" >&2
    exit 1
}

# Debian packages by group. "package:command" is also satisfied by a command from elsewhere.
packagesOf() {
    case $1 in
        build)
            echo g++:g++ cmake:cmake ninja-build:ninja pkg-config:pkg-config libboost1.81-dev libssl-dev \
                libcjson-dev libspdlog-dev libcli11-dev nlohmann-json3-dev libcurl4-openssl-dev libc-ares-dev \
                libmagick++-6.q16-dev
            ;;
        test) echo libgtest-dev libgmock-dev python3:python3 openssl:openssl dnsmasq-base ;;
        sanitize) echo clang-14:clang-14 libclang-rt-14-dev llvm-14:llvm-symbolizer-14 ;;
        lint)
            echo clang-14:clang-14 clang-tidy-14:clang-tidy-14 clang-format-14:clang-format-14 \
                libclang-14-dev llvm-14-dev shellcheck:shellcheck python3:python3 git:git
            ;;
        docs) echo doxygen:doxygen mandoc:mandoc python3:python3 git:git ;;
        bench) echo valgrind:valgrind ;;
        fuzz) echo libgtest-dev libgmock-dev ;;
        interop) echo ;;
        *) fail "unknown group '$1'; groups are: build test sanitize lint docs bench fuzz interop" ;;
    esac
}

isInstalled() {
    local package=${1%%:*} command=${1#*:}
    if [[ $1 == *:* ]] && command -v "$command" >/dev/null; then
        return 0
    fi
    [[ $(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null) == installed ]]
}

missingOf() {
    local group entry
    for group in "$@"; do
        for entry in $(packagesOf "$group"); do
            isInstalled "$entry" || echo "${entry%%:*}"
        done
    done | sort -u
}

asRoot() {
    if [[ $(id -u) == 0 ]]; then
        "$@"
    else
        sudo -- "$@"
    fi
}

aptInstall() {
    if [[ $(id -u) != 0 ]] && ! command -v sudo >/dev/null; then
        fail "run this as root, or install sudo, or run: apt-get install --no-install-recommends $*"
    fi
    asRoot env DEBIAN_FRONTEND=noninteractive apt-get -qq update \
        || say "apt-get update failed; trying with the package lists that are there"
    asRoot env DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o DPkg::Lock::Timeout=300 \
        install --no-install-recommends "$@"
}

# Debian's default Boost is too old for the WebSocket code, and its headers and those of 1.81 exclude each other.
agreeToReplaceBoost() {
    isInstalled libboost1.74-dev || return 0
    say "libboost1.81-dev replaces libboost1.74-dev, which is installed"
    if [[ ${QUOR_REPLACE_BOOST:-} == 1 || ${CI:-} == true ]]; then
        return 0
    fi
    if [[ -t 0 ]]; then
        local answer
        read -r -p 'setup: replace it? [y/N] ' answer
        [[ $answer == [yY]* ]] && return 0
    fi
    fail "left as it is; run again with QUOR_REPLACE_BOOST=1 to replace it"
}

installPackages() {
    local -a missing
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        local group
        say "no Debian system: please see to these packages or their equals yourself:"
        for group in "$@"; do packagesOf "$group"; done | sed -E 's/:[^ ]+//g'
        return 0
    fi
    mapfile -t missing < <(missingOf "$@")
    if ((${#missing[@]} == 0)); then
        return 0
    fi
    if [[ " ${missing[*]} " == *" libboost1.81-dev "* ]]; then
        agreeToReplaceBoost
    fi
    say "installing ${missing[*]}"
    aptInstall "${missing[@]}" || fail "could not install: ${missing[*]}"
}

# The foreign peers of the interoperability tests come from npm. A machine that cannot get them skips those
# tests; on CI that is a failure.
interopFailed() {
    if [[ ${CI:-} == true ]]; then
        fail "$1"
    fi
    say "$1; the tests that need it will be skipped"
}

installInteropPeers() {
    local lock folder
    local -a locks=()
    for lock in tests/interop/*/package-lock.json; do
        [[ -e $lock ]] || continue
        folder=${lock%/*}
        [[ $folder/node_modules/.package-lock.json -nt $lock ]] || locks+=("$lock")
    done
    if ((${#locks[@]} == 0)); then
        return 0
    fi
    if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
        say "installing nodejs npm"
        if ! command -v apt-get >/dev/null || ! (aptInstall nodejs npm); then
            interopFailed "could not install nodejs and npm"
            return 0
        fi
    fi
    for lock in "${locks[@]}"; do
        folder=${lock%/*}
        say "npm ci in $folder"
        if ! (cd "$folder" && npm ci --ignore-scripts --no-audit --no-fund --loglevel=error </dev/null); then
            rm -rf -- "$folder/node_modules"
            interopFailed "npm ci failed in $folder"
        fi
    done
}

for group in "$@"; do
    packagesOf "$group" >/dev/null
done
installPackages "$@"
for group in "$@"; do
    if [[ $group == interop ]]; then
        installInteropPeers
    fi
done
