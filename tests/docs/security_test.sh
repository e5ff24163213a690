#!/bin/bash
# What SECURITY.md names as the test of a threat exists: a test of this build, a fuzz target, or a command.
#   security_test.sh PROJECT BUILD
source "$(dirname "$0")/../shell.sh"
cd "$1"
ctest --test-dir "$2" -N >"$work/tests"
grep '^| ' SECURITY.md | cut -d '|' -f 4 | grep -o '`[^`]*`' | tr -d '`' | sort -u >"$work/named"
[ "$(wc -l <"$work/named")" -gt 10 ]
while read -r name; do
    case $name in
    fuzz_*) [ -e "tests/fuzz/${name#fuzz_}.cpp" ] ;;
    ./run*) grep -q "^## ${name#./run } " run ;;
    *) grep -qE "[ .]$name\$" "$work/tests" ;;
    esac || complain "SECURITY.md names $name, which does not exist"
done <"$work/named"

# A report goes to the code host: addresses of people change, and reach nobody then.
grep -q 'Report a vulnerability' SECURITY.md
not grep -E '[[:alnum:]]@[[:alnum:]]|addresses' SECURITY.md
