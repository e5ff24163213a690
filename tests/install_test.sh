#!/bin/bash
# What is installed can be moved, and everything needed to use it is in it: programs are built and run against a copy in
# each way that docs/integration.md names. CC and CXX are the compilers.
#   install_test.sh BUILD_DIR SOURCE_DIR
set -eu
build=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fails() { echo "$1" >&2; exit 1; }

quietly() # COMMAND...: shown when it fails
{
    "$@" >"$work/said" 2>&1 || { cat "$work/said" >&2; fails "failed: $*"; }
}

quietly cmake --install "$build" --prefix "$work/staged"
mkdir "$work/elsewhere"
mv "$work/staged" "$work/elsewhere/tree"
tree=$work/elsewhere/tree
lib=$(dirname "$(dirname "$(find "$tree" -name qv6dalgo.pc)")")

for file in "$lib"/{libqv6dalgo.so.1,libqv6dalgo.so,libqv6dalgo.a,cmake/qv6dalgo/qv6dalgo-config{,-version}.cmake} \
    "$tree"/{bin/qv6d,include/qv6dalgo.h,share/bash-completion/completions/qv6d}; do
    [ -s "$file" ] || fails "not installed: ${file#"$tree"/}"
done
! grep -rIl -e "$work/staged" -e "$source" -e "$build" "$tree" || fails "the files above name folders of this machine"

# Runs in a folder of its own, where it keeps its files. The second run goes on where the first one ended.
runs() # PROGRAM
{
    mkdir "$work/run"
    (cd "$work/run" && "$1" >first 2>/dev/null && "$1" >second 2>log) || fails "$1 fails"
    for run in first second; do
        [ "$(cat "$work/run/$run")" = 'azimuth 291.3  pitch 25.1  roll 18.5' ] ||
            fails "$1 prints $(cat "$work/run/$run")"
    done
    grep -q 'LOAD_DAT_BAK \[O\] heading.datbak' "$work/run/log" || fails "$1 did not go on: $(cat "$work/run/log")"
    rm -r "$work/run"
}

needs_the_library() # PROGRAM
{
    readelf -d "$1" | grep -q 'NEEDED.*\[libqv6dalgo.so.1\]'
}

shared() # PROGRAM
{
    needs_the_library "$1" || fails "$1 is not linked with the shared library"
    LD_LIBRARY_PATH=$lib runs "$1"
}

static() # PROGRAM
{
    ! needs_the_library "$1" || fails "$1 is linked with the shared library"
    runs "$1"
}

export PKG_CONFIG_PATH=$lib/pkgconfig
strict="-std=c11 -Wall -Wextra -Wpedantic -Werror"
quietly $CC $strict "$source/examples/heading.c" -o "$work/c" $(pkg-config --cflags --libs qv6dalgo)
shared "$work/c"
quietly $CC $strict "$source/examples/heading.c" -o "$work/c-static" -static $(pkg-config --cflags --libs --static qv6dalgo)
static "$work/c-static"

# The operations of the modules, by the headers below the public one.
quietly $CC -std=c11 -fsyntax-only -I "$(pkg-config --variable=includedir qv6dalgo)/qv6dalgo" "$source/tests/headers.c"

configured() # FOLDER OPTION...
{
    local example=$1
    shift
    quietly cmake -S "$source/examples/$example" -B "$work/$example" -DCMAKE_C_COMPILER="$CC" \
        -DCMAKE_CXX_COMPILER="$CXX" "$@"
    quietly cmake --build "$work/$example" -j 2
}
configured find_package -DCMAKE_PREFIX_PATH="$tree"
shared "$work/find_package/heading"
static "$work/find_package/heading_static"
configured subdirectory -DCMAKE_BUILD_TYPE=Debug # the quickest to build
static "$work/subdirectory/heading"

quietly $CC $strict "$source/examples/sensor_service.c" -o "$work/service" -I "$tree/include" -lm -ldl
LD_LIBRARY_PATH=$lib "$work/service" libqv6dalgo.so.1 2>/dev/null | tail -n 1 | grep -q 'grade [0-3]' ||
    fails "the library does not load by its name"

# What another major version promised, this one need not.
sed '/^add_executable/,$d; s/qv6dalgo 3.6 /qv6dalgo 2 /' "$source/examples/find_package/CMakeLists.txt" >"$work/CMakeLists.txt"
! cmake -S "$work" -B "$work/other" -DCMAKE_PREFIX_PATH="$tree" >"$work/said" 2>&1 || fails "takes 3.6213 for a version 2"
grep -q 'version: 3.6213' "$work/said" || { cat "$work/said" >&2; fails "does not say which version is there"; }
