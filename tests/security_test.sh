#!/bin/sh
# The tests that SECURITY.md names exist.
#   security_test.sh PROJECT
set -eu
cd "$1"
failed=0
for name in $(grep '^| ' SECURITY.md | grep -o '`[^`]*` *|\?$\|`[A-Za-z_]*`' | grep -o '[A-Za-z_]\{4,\}' | sort -u); do
    grep -qrE "TEST(_F)?\([A-Za-z]+, $name\)|NAME $name\b|fuzz_\\$\{target\}|\b$name\(\)" tests fuzz soak run 2>/dev/null ||
        { echo "SECURITY.md names the test $name, which does not exist" >&2; failed=1; }
done
exit $failed
