#!/usr/bin/env bash
# fresh_root.sh [--work-tree] [--keep] [DIRECTORY [COMMAND...]] - shows that the repository needs nothing but Debian.
#
# Makes a minimal Debian 12 with debootstrap in DIRECTORY (default build/fresh-root), puts a clone of the last
# commit (--work-tree: of the files as they are) at /src in it, and runs there, as root with an empty
# environment: ./dev demo, then ./dev test; or COMMAND instead. --keep uses a root that is there already and
# keeps it, so that a second run is short.
#
# Needs root, debootstrap and a Debian mirror (QUOR_MIRROR). Mounts live in a name space of their own and end with
# this script.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."

mirror=${QUOR_MIRROR:-http://deb.debian.org}
workTree=0
keep=0
while [[ ${1:-} == --* ]]; do
    case $1 in
        --work-tree) workTree=1 ;;
        --keep) keep=1 ;;
        *)
            echo "fresh_root: unknown option '$1'" >&2
            exit 2
            ;;
    esac
    shift
done
root=$(realpath --canonicalize-missing -- "${1:-build/fresh-root}")
if [[ $# -gt 0 ]]; then
    shift
fi

[[ $(id -u) == 0 ]] || {
    echo "fresh_root: run this as root" >&2
    exit 1
}
command -v debootstrap >/dev/null || {
    echo "fresh_root: debootstrap is not installed" >&2
    exit 1
}

makeRoot() {
    rm -rf --one-file-system -- "$root"
    mkdir -p -- "$root"
    echo "fresh_root: debootstrap into $root"
    debootstrap --variant=minbase bookworm "$root" "$mirror/debian" >"$root.log" 2>&1 || {
        tail -n 20 -- "$root.log" >&2
        exit 1
    }
    cat >"$root/etc/apt/sources.list" <<SOURCES
deb $mirror/debian bookworm main
deb $mirror/debian bookworm-updates main
deb $mirror/debian-security bookworm-security main
SOURCES
    # How this machine reaches the mirror: proxies, clock tolerance, name service, certificate authorities.
    apt-config dump | grep -E '^Acquire::(http|https|Check-|Retries)' >"$root/etc/apt/apt.conf.d/99host" || true
    cp -- /etc/resolv.conf /etc/hosts "$root/etc/"
    if [[ -r ${NODE_EXTRA_CA_CERTS:-} ]]; then
        cp -- "$NODE_EXTRA_CA_CERTS" "$root/etc/host-certificates.pem"
    fi
}

copyRepository() {
    mkdir -p -- "$root/src"
    if ((workTree)); then
        git ls-files --cached --others --exclude-standard --deduplicate -z \
            | while IFS= read -r -d '' file; do [[ -e $file ]] && printf '%s\0' "$file"; done \
            | tar --create --null --files-from=- | tar --extract --directory "$root/src"
    else
        rm -rf -- "$root/src"
        git clone --quiet --no-hardlinks . "$root/src"
    fi
}

# Runs one command in the root, in mount and process name spaces of its own.
inRoot() {
    local -a environment=(PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root TERM="${TERM:-dumb}" LANG=C.UTF-8)
    local name
    for name in http_proxy https_proxy no_proxy CI JOBS; do
        if [[ -n ${!name:-} ]]; then
            environment+=("$name=${!name}")
        fi
    done
    if [[ -e $root/etc/host-certificates.pem ]]; then
        environment+=(NODE_EXTRA_CA_CERTS=/etc/host-certificates.pem)
    fi
    # shellcheck disable=SC2016  # expanded by the inner shell
    unshare --mount --pid --fork --kill-child -- bash -c '
        set -e
        root=$1
        shift
        mount -t proc proc "$root/proc"
        mkdir -p "$root/dev/shm" "$root/dev/pts"
        mount -t tmpfs tmpfs "$root/dev/shm"
        mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
        mount -t tmpfs tmpfs "$root/tmp"
        for device in null zero full random urandom tty; do
            touch "$root/dev/$device"
            mount --bind "/dev/$device" "$root/dev/$device"
        done
        exec env -i "$@"' inRoot "$root" "${environment[@]}" chroot "$root" \
        bash -c 'cd /src && exec "$@"' inRoot "$@" </dev/null
}

if ! ((keep)) || [[ ! -x $root/bin/bash ]]; then
    makeRoot
fi
copyRepository
if [[ $# -gt 0 ]]; then
    inRoot "$@"
else
    inRoot ./dev demo
    inRoot ./dev test
fi
echo "fresh_root: passed in $SECONDS s"
