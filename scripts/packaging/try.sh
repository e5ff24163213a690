#!/usr/bin/env bash
# Installs the packages in a root that has nothing but what they depend on, uses them there and removes them again. Needs
# root, and apt for the other packages; this machine's own are left alone.
#   try.sh PACKAGES
set -euo pipefail
[ "$(id -u)" -eq 0 ] || { echo "a root of its own needs root: sudo $0 $1" >&2 && exit 1; }
packages=$(realpath "$1")
source=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
root=$work/root
trap 'rm -rf "$work"' EXIT
fails()
{
    echo "$1" >&2
    exit 1
}

quietly()
{
    "$@" >"$work/said" 2>&1 || { cat "$work/said" >&2 && fails "failed: $*"; }
}

# From an empty system: what apt fetches is all that the packages say they need. Shell and ldconfig are every system's.
fetch_dependencies()
{
    mkdir -p "$work/archives/partial"
    : >"$work/nothing"
    quietly apt-get -o Dir::State::status="$work/nothing" -o Dir::Cache::archives="$work/archives" -o Debug::NoLocking=1 \
        -o APT::Sandbox::User=root --download-only --no-install-recommends -y install \
        "$packages"/{libqv6dalgo1,libqv6dservice1,qv6d}_*.deb dash libc-bin
}

unpack_dependencies()
{
    mkdir -p "$root"/{tmp,var/lib/dpkg/{info,updates}}
    touch "$root/var/lib/dpkg/status"
    mkdir -p "$root"/usr/{bin,sbin,lib,lib64}
    ln -s usr/bin usr/sbin usr/lib usr/lib64 "$root"
    local package
    for package in "$work"/archives/*.deb; do
        case ${package##*/} in
        libqv6d* | qv6d*) ;;
        *) dpkg-deb --fsys-tarfile "$package" | tar -x -C "$root" --keep-directory-symlink ;;
        esac
    done
}

files()
{
    (cd "$root" && find usr ! -type d | sort)
}

inside()
{
    env -i PATH=/usr/bin:/usr/sbin chroot "$root" "$@"
}

fetch_dependencies
unpack_dependencies
echo "a root with $(find "$work/archives" -name '*.deb' | wc -l) packages" >&2
files >"$work/before"

# dpkg knows of no other package there.
quietly dpkg --root="$root" --force-depends --install "$packages"/*.deb

inside /usr/bin/qv6d simulate --seed 7 --offset 120,-45,-300 --output /tmp/phone.csv
inside /usr/bin/qv6d replay /tmp/phone.csv --output /tmp/rows.csv --json | grep -q '"last_grade": 3' ||
    fails "qv6d does not replay what it simulated"

# By the headers there, and then with the library as the system finds it.
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$root" -name qv6dalgo.pc)")
quietly cc "$source/examples/heading.c" -o "$root/tmp/heading" $(pkg-config --cflags --libs qv6dalgo)
quietly cc "$source/examples/raw_service.c" -o "$root/tmp/service" $(pkg-config --cflags qv6dalgo) -lm -ldl
quietly cc "$source/examples/sensor_service.c" -o "$root/tmp/sensor_service" $(pkg-config --cflags --libs qv6dservice)
inside /tmp/heading 2>/dev/null | grep -q '^azimuth 291.3 ' || fails "a linked program does not find the library"
inside /tmp/service libqv6dalgo.so.1 2>/dev/null | grep -q 'grade 3' || fails "the library does not load by its name"

inside /tmp/sensor_service <"$root/tmp/phone.csv" | tail -n 1 | grep -q '^status 3 ' || fails "the layer does not calibrate"

quietly dpkg --root="$root" --purge qv6d libqv6dalgo-dev libqv6dservice1 libqv6dalgo1
files | diff "$work/before" - || fails "installing and removing leaves these files"
echo "installed, used and removed" >&2
