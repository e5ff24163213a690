#!/bin/bash
# qv6d explain: a recording and the logs of its replay tell the same.
#   explain_test.sh QV6D
set -eu
qv6d=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

"$qv6d" simulate --seed 7 --noise 0.3 --offset 120,-45,-300 --output a.csv
printf 'hcal.endbg=1\nhcal.motion.endbg=1\nhcal.rlsm.endbg=1\n' >debug.cfg
"$qv6d" replay a.csv --config debug.cfg --log host.log >/dev/null 2>&1

# The formats of the platform's log viewer, with lines of other programs and a cut one in them.
sed 's/^E\/qvalgo: //' host.log >plain.log
sed 's/^E\/qvalgo: /E\/qvalgo  ( 1234): /' host.log >brief.log
awk '/^E\/qvalgo: /{ if (/hcal_out/) t += 20; sub(/^E\/qvalgo: /, "");
     printf "11-22 10:%02d:%06.3f  1234  1240 E qvalgo  : %s\n", t / 60000, t % 60000 / 1000, $0 }' host.log >threadtime.log
{ echo '11-22 10:00:00.000  1  1 I other   : hcal_out'; grep -m 1 hcal_out threadtime.log | cut -c 1-100; cat threadtime.log; } >mixed.log

counts() { "$qv6d" explain "$@" --json | tail -n 1 | sed 's/,"starts".*//'; }
expected=$(counts a.csv)
echo "$expected"
case $expected in *'"validated":0'*) echo "the recording was to calibrate" >&2; exit 1 ;; esac
for log in host.log plain.log brief.log threadtime.log; do
    [ "$(counts $log)" = "$expected" ] || { echo "$log tells otherwise: $(counts $log)" >&2; exit 1; }
done
"$qv6d" explain mixed.log --counts | grep -q '^1 lines of other programs skipped, 1 cut lines$'

# Times: of the recording, of the log's stamps, of the rate given.
first() { "$qv6d" explain "$@" | grep -m 1 'READY, discarded' | awk '{ print $1 }'; }
[ "$(first host.log --log-rate 50)" = "$(first a.csv)" ]
awk -v a="$(first threadtime.log)" -v b="$(first a.csv)" 'BEGIN { exit !(a - b < 0.05 && b - a < 0.05) }'

# Without any a sample has its number.
"$qv6d" explain a.csv | grep -q '^Calibrated since 11.6 s: '
"$qv6d" explain host.log | grep -q '^Calibrated since sample 578: '

# A device that only turns about the vertical cannot be calibrated, and is told why.
"$qv6d" simulate --motion yaw --output yaw.csv
"$qv6d" explain yaw.csv --counts >yaw.txt
grep -q '^Not calibrated; the last grade is 0.$' yaw.txt
grep -q '^The device was seen moving in 0 of ' yaw.txt

fails() # CODE TEXT ARGUMENTS...
{
    local code=$1 text=$2 got=0
    shift 2
    "$qv6d" explain "$@" >out 2>err || got=$?
    { [ $got -eq "$code" ] && grep -qF -- "$text" err; } || { echo "explain $*: $got, $(cat err)" >&2; exit 1; }
}
: >empty
fails 3 "empty: expected a recording" empty
fails 3 "yaw.txt: expected a recording" yaw.txt
printf 't_ns,sensor,x,y,z\n0,acc,1,2,3\n' >no_mag.csv
fails 3 "no_mag.csv: holds no mag event" no_mag.csv
printf 'hcal.endbg=0\n' >off.cfg
fails 3 "off.cfg: switches hcal.endbg off" a.csv --config off.cfg
fails 4 "missing: cannot be opened" missing
