#!/bin/bash
# What is installed can be moved, and everything needed to use it is in it: programs are built and run against a copy in
# each way that docs/integration.md and docs/table.md name. CC and CXX are the compilers.
#   install_test.sh BUILD_DIR SOURCE_DIR
source "$(dirname "$0")/../shell.sh"
build=$1 source=$2 tree=$work/elsewhere/tree
mkdir "$work/elsewhere"
ends 0 "" cmake --install "$build" --prefix "$work/staged"
mv "$work/staged" "$tree"
lib=$(dirname "$(dirname "$(find "$tree" -name qv6dalgo.pc)")")

ls "$lib"/libqv6d{algo,service}.so "$tree"/{bin/qv6d,share/bash-completion/completions/qv6d} \
    "$tree"/share/{zsh/site-functions/_qv6d,fish/vendor_completions.d/qv6d.fish}
not grep -rIl -e "$work/staged" -e "$source" -e "$build" "$tree" # a folder of this machine

# Runs in a folder of its own, where it keeps its files. The second run goes on where the first one ended.
runs() # NEEDED PROGRAM: how many shared libraries of ours it is linked with
{
    [ "$(readelf -d "$2" | grep -c 'NEEDED.*\[libqv6dalgo.so.1\]')" -eq "$1" ] || complain "$2: linked the other way"
    rm -rf "$work/run"
    mkdir "$work/run"
    cd "$work/run"
    for run in first second; do
        LD_LIBRARY_PATH=$([ "$1" -eq 0 ] || echo "$lib") ends 0 'azimuth 291.3  pitch 25.1  roll 18.5' "$2"
    done
    grep -q 'LOAD_DAT_BAK \[O\] heading.datbak' "$work/err"
}

export PKG_CONFIG_PATH=$lib/pkgconfig
compile=("$CC" -std=c11 -Wall -Wextra -Wpedantic -Werror)
"${compile[@]}" "$source/examples/heading.c" -o "$work/c" $(pkg-config --cflags --libs qv6dalgo)
runs 1 "$work/c"
"${compile[@]}" "$source/examples/heading.c" -o "$work/c-static" -static $(pkg-config --cflags --libs --static qv6dalgo)
runs 0 "$work/c-static"

# The layer above, in the same ways. The second run keeps what the first one kept.
serves() # NEEDED PROGRAM
{
    [ "$(readelf -d "$2" | grep -c 'NEEDED.*\[libqv6dservice.so.1\]')" -eq "$1" ] || complain "$2: linked the other way"
    rm -rf "$work/kept"
    mkdir "$work/kept"
    for run in first second; do
        "$tree/bin/qv6d" simulate --seed 7 --offset 120,-45,-300 |
            LD_LIBRARY_PATH=$([ "$1" -eq 0 ] || echo "$lib") "$2" "$work/kept" | tail -n 1 | grep '^status 3'
    done
    ls "$work/kept"/qv6dservice.state{,.previous}
}
service=("${compile[@]}" "$source/examples/sensor_service.c")
"${service[@]}" -o "$work/c-service" $(pkg-config --cflags --libs qv6dservice)
serves 1 "$work/c-service"
"${service[@]}" -o "$work/c-service-static" -static $(pkg-config --cflags --libs --static qv6dservice)
serves 0 "$work/c-service-static"

# The operations of the modules, by the headers below the public one.
include=$(pkg-config --variable=includedir qv6dalgo)
"$CC" -std=c11 -fsyntax-only -I "$include" -I "$include/qv6dalgo" "$source/tests/library/headers.c"

configured() # FOLDER OPTION...
{
    ends 0 "" cmake -S "$source/examples/$1" -B "$work/$1" -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" "${@:2}"
    ends 0 "" cmake --build "$work/$1" -j 2
}
configured find_package -DCMAKE_PREFIX_PATH="$tree"
runs 1 "$work/find_package/heading"
runs 0 "$work/find_package/heading_static"
serves 1 "$work/find_package/sensor_service"
serves 0 "$work/find_package/sensor_service_static"
configured subdirectory -DCMAKE_BUILD_TYPE=Debug # the quickest to build
runs 0 "$work/subdirectory/heading"

"${compile[@]}" "$source/examples/raw_service.c" -o "$work/service" -I "$tree/include" -lm -ldl
LD_LIBRARY_PATH=$lib "$work/service" libqv6dalgo.so.1 2>/dev/null | tail -n 1 | grep 'grade [0-3]' # loaded by its name

# What another major version promised, this one need not.
sed '/^add_executable/,$d; s/qv6dalgo 3.6 /qv6dalgo 2 /' "$source/examples/find_package/CMakeLists.txt" >"$work/CMakeLists.txt"
ends 1 'version: 3.6213' cmake -S "$work" -B "$work/other" -DCMAKE_PREFIX_PATH="$tree"

"$source/tests/delivery/bill_test.sh" "$tree"
