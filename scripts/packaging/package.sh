#!/usr/bin/env bash
# Packs what was built for packages, and uses it from where it is unpacked: no root, nothing is installed.
#   package.sh BUILD_DIR
set -euo pipefail
umask 022 # folders of packages are for everybody
build=$(realpath "$1")
source=$(cd "$(dirname "$0")/../.." && pwd)
packages=$build/packages
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fails()
{
    echo "$1" >&2
    exit 1
}

pack() # KIND GENERATOR
{
    cpack --config "$build/package-$1/CPackConfig.cmake" -G "$2" -B "$packages" >"$work/said" 2>&1 ||
        { cat "$work/said" >&2 && fails "cpack failed"; }
}

# The same bytes from every folder and user: one owner, one time, one order.
repack()
{
    local package tree=$work/repacked
    for package in "$packages"/*.deb; do
        dpkg-deb -R "$package" "$tree"
        find "$tree" -exec touch -hd "@$SOURCE_DATE_EPOCH" {} +
        dpkg-deb --root-owner-group -b "$tree" "$package" >/dev/null
        rm -r "$tree"
    done
    mkdir "$tree"
    tar -xf "$packages"/*.tar.gz -C "$tree"
    tar -c -C "$tree" --sort=name --owner=0 --group=0 --numeric-owner --mtime="@$SOURCE_DATE_EPOCH" --mode=go=rX \
        "$(ls "$tree")" |
        gzip -9n >"$work/archive.tar.gz"
    mv "$work/archive.tar.gz" "$packages"/*.tar.gz
    rm -r "$tree"
}

depends() # PACKAGE DEPENDENCY
{
    dpkg-deb -f "$packages/$1"_*.deb Depends | grep -qE "(^|, )$2" || fails "$1 does not depend on $2"
}

replays() # QV6D
{
    "$1" simulate --seed 7 --offset 120,-45,-300 --output "$work/phone.csv"
    "$1" replay "$work/phone.csv" --json 2>&1 | grep -q '"last_grade": 3' ||
        fails "$1 does not replay what it simulated"
    "$source/tests/delivery/hardening_test.sh" "$1" Release || fails "$1 lacks protections of its build"
}

# A program built with what is below the folder, and run with the library there.
builds() # FOLDER
{
    local lib
    lib=$(dirname "$(dirname "$(find "$1" -name qv6dalgo.pc)")")
    mkdir "$1/run"
    PKG_CONFIG_PATH=$lib/pkgconfig && export PKG_CONFIG_PATH &&
        cc "$source/examples/heading.c" -o "$1/run/heading" $(pkg-config --cflags --libs qv6dalgo) &&
        cd "$1/run" && LD_LIBRARY_PATH=$lib ./heading 2>/dev/null | grep -q '^azimuth 291.3 ' &&
        cc "$source/examples/sensor_service.c" -o sensor_service $(pkg-config --cflags --libs qv6dservice) &&
        LD_LIBRARY_PATH=$lib ./sensor_service <"$work/phone.csv" | tail -n 1 | grep -q '^status 3 ' ||
        fails "nothing can be built with $1"
}

rm -rf "$packages"
pack deb DEB
pack archive TGZ
rm -r "$packages/_CPack_Packages"
repack

mkdir "$work/root" "$work/archive"
for package in libqv6dalgo1 libqv6dservice1 libqv6dalgo-dev qv6d; do
    dpkg-deb -x "$packages/$package"_*.deb "$work/root"
done
depends libqv6dalgo1 libc6
depends libqv6dalgo-dev 'libqv6dalgo1 \(= '
depends libqv6dalgo-dev 'libqv6dservice1 \(= '
depends libqv6dservice1 'libqv6dalgo1 \(>= '
depends qv6d libfmt
dpkg-deb -I "$packages"/libqv6dalgo1_*.deb shlibs | grep -q '^libqv6dalgo 1 libqv6dalgo1 (>= ' ||
    fails "programs built with libqv6dalgo-dev would not depend on libqv6dalgo1"
replays "$work/root/usr/bin/qv6d"
builds "$work/root"
"$source/tests/delivery/bill_test.sh" "$work/root"

tar -xf "$packages"/*.tar.gz -C "$work/archive" --strip-components 1
replays "$work/archive/bin/qv6d"
builds "$work/archive"
"$source/tests/delivery/bill_test.sh" "$work/archive"
others=$(readelf -d "$work/archive/bin/qv6d" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | grep -vE '^(libc|libm|ld-linux.*)\.so' || true)
[ -z "$others" ] || fails "qv6d of the archive needs $others"

if command -v lintian >/dev/null; then
    lintian --allow-root --fail-on error "$packages"/*.deb
fi
ls -l "$packages"
