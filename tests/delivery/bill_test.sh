#!/bin/bash
# The bill of materials says what is installed beside it: all that its files are linked with and no more, the page that
# the program embeds, and of each part its version and licence.
#   bill_test.sh FOLDER
source "$(dirname "$0")/../shell.sh"
bills=$(find "$1" -name qv6dalgo.cdx.json)
bill=${bills%%$'\n'*}
for other in $bills; do
    cmp "$bill" "$other"
done
program=$(find "$1" -path '*/bin/qv6d')
for file in "$program" $(find "$1" -name 'libqv6d*.so.1'); do
    readelf -dW "$file" | sed -n 's/.*NEEDED.*\[\(.*\)\]/linked: \1/p' | grep -vE 'libqv6d|ld-linux' || true
done | sort -u >"$work/linked"
grep -o 'linked: [^"]*' "$bill" | sort -u | diff "$work/linked" -

parts=$(grep -c '"purl"' "$bill")
[ "$parts" -gt 8 ]
[ "$(grep -c '^ *"version": "..*"' "$bill")" -eq $((parts + 1)) ]
[ "$(grep -c '^ *"expression": "..*"' "$bill")" -eq $((parts + 1)) ]
for name in libcli11-dev libeigen3-dev nlohmann-json3-dev; do
    grep -q "\"name\": \"$name\"" "$bill"
done
if grep -qa '__QV6D_PAGE_DATA__' "$program"; then # the page's policy has the digest of each of its scripts
    digest=$(grep -A 1 '"alg": "SHA-256"' "$bill" | sed -n 's/.*"content": "\(.*\)"/\1/p')
    grep -qaF "'sha256-$(sed 's/../\\x&/g' <<<"$digest" | xargs -0 printf '%b' | head -c 32 | base64)'" "$program"
fi
