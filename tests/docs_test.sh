#!/bin/bash
# Code that the documents show is quoted: every block of C, C++ or CMake stands line by line in an example that the tests
# build, whatever its indentation.
#   docs_test.sh SOURCE_DIR
set -eu
cd "$1"
failed=0
examples=$(sed 's/^ *//' examples/*.c examples/*/*.cpp examples/*/CMakeLists.txt)
quoted=0
for document in README.md docs/*.md; do
    while IFS= read -r -d $'\f' block; do
        quoted=$((quoted + 1))
        [[ $'\n'$examples$'\n' == *$'\n'"$block"* ]] || { echo "$document: not in any example:" && echo "$block"; failed=1; } >&2
    done < <(awk '/^```(c|cpp|cmake)$/ { quoting = 1; next }
                  /^```$/ { if (quoting) printf "\f"; quoting = 0; next }
                  quoting { sub(/^ */, ""); print }' "$document")
done
[ $quoted -ge 5 ] || { echo "only $quoted quotations found" >&2; exit 1; }
exit $failed
