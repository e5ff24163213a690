#!/usr/bin/env bash
# A minute of a hand-turned phone, simulated and replayed: demo.sh QV6D FOLDER
set -euo pipefail
qv6d=$1 folder=$2
offset=120,-45,-300
mkdir -p "$folder"
"$qv6d" simulate --seed 7 --rate 50 --duration 60 --offset "$offset" --noise 0.3 --output "$folder/phone.csv"
report=()
[ ! -e build/page/template.html ] || report=(--report "$folder/report.html")
"$qv6d" replay "$folder/phone.csv" --true-offset "$offset" --output "$folder/results.csv" "${report[@]}"
echo "Every sample's results: $folder/results.csv"
[ ${#report[@]} -eq 0 ] || echo "A page to look at:      $folder/report.html"
