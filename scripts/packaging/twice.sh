#!/usr/bin/env bash
# Builds the packages again, from the same files in another folder, and compares the bytes.
#   twice.sh PACKAGES
set -euo pipefail
packages=$(realpath "$1")
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
other=$work/a-folder-of-another-name
mkdir "$other"
git ls-files -z | xargs -0 cp -P --parents -t "$other"
(cd "$other" && umask 027 && TZ=Asia/Kathmandu LC_ALL=C ./run package >/dev/null)
different=0
for package in "$packages"/*.*; do
    if cmp "$package" "$other/build/packages/${package##*/}" >&2; then
        sha256sum "$package" | sed 's| .*/|  |'
    else
        different=1
    fi
done
exit $different
