#!/bin/sh
# What SECURITY.md names as the test of a threat exists: a test of this build, a fuzz target, or a command.
#   security_test.sh PROJECT BUILD
set -eu
project=$1
tests=$(ctest --test-dir "$2" -N)
named=$(grep '^| ' "$project/SECURITY.md" | cut -d '|' -f 4 | grep -o '`[^`]*`' | tr -d '`' | sort -u)
[ "$(echo "$named" | wc -l)" -gt 10 ]
failed=0
exists()
{
    case $1 in
    fuzz_*) [ -e "$project/fuzz/${1#fuzz_}.cpp" ] ;;
    ./run*) grep -q "^  ${1#./run } " "$project/run" ;;
    *) echo "$tests" | grep -qE "[ .]$1\$" ;;
    esac
}
for name in $(echo "$named" | tr ' ' '+'); do
    name=$(echo "$name" | tr '+' ' ')
    exists "$name" || { echo "SECURITY.md names $name, which does not exist" >&2; failed=1; }
done
exit $failed
