#!/bin/bash
# A command of ./run ends where it fails: a build that failed once went on to the tests of the build before, and passed.
#   run_test.sh PROJECT
source "$(dirname "$0")/../shell.sh"
cp "$1/run" "$work"
mkdir -p "$work/bin" "$work/build/release" "$work/qv6d/page/web"
printf '#!/bin/sh\n[ "$1" != --build ]\n' >"$work/bin/cmake"
printf '#!/bin/sh\necho tested\n' >"$work/bin/ctest"
printf '#!/bin/sh\necho install ok installed\n' >"$work/bin/dpkg-query"
printf '#!/bin/sh\n' | tee "$work/bin/npm" >"$work/bin/node"
chmod +x "$work"/bin/*
PATH=$work/bin:$PATH ends 1 "building build/release" "$work/run" test
not grep tested "$work/out"
ends 2 "usage: ./run COMMAND" "$work/run" nonsense
