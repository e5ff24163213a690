#!/bin/bash
# qv6d explain: a recording and the logs of its replay tell the same.  explain_test.sh QV6D
source "$(dirname "$0")/../shell.sh"
use_tool "$1"

qv6d simulate --seed 7 --noise 0.3 --offset 120,-45,-300 --output a.csv
printf 'hcal.endbg=1\nhcal.motion.endbg=1\nhcal.rlsm.endbg=1\n' >debug.cfg
qv6d replay a.csv --config debug.cfg --log host.log >/dev/null

# As the platform's log viewer writes it, and with lines of other programs and a cut one in it.
awk '/^E\/qvalgo: /{ if (/hcal_out/) t += 20; sub(/^E\/qvalgo: /, "");
     printf "11-22 10:%02d:%06.3f  1234  1240 E qvalgo  : %s\n", t / 60000, t % 60000 / 1000, $0 }' host.log >threadtime.log
{ echo '11-22 10:00:00.000  1  1 I other   : hcal_out'; grep -m 1 hcal_out threadtime.log | cut -c 1-100; cat threadtime.log; } >mixed.log

counts() { qv6d explain "$@" --json | sed -n '/"counts": {/,/"starts"/p' | sed '$d'; }
not grep '"validated": 0' <<<"$(counts a.csv)"
[ "$(counts host.log)" = "$(counts a.csv)" ]
[ "$(counts threadtime.log)" = "$(counts a.csv)" ]
qv6d explain mixed.log --counts | grep '^1 lines of other programs skipped, 1 cut lines$'

# Times: of the recording, of the log's stamps, of the rate given. Without any a sample has its number.
first() { qv6d explain "$@" | awk '/READY, discarded/ && !n++ { print $1 }'; }
[ "$(first host.log --log-rate 50)" = "$(first a.csv)" ]
awk -v a="$(first threadtime.log)" -v b="$(first a.csv)" 'BEGIN { exit !(a - b < 0.05 && b - a < 0.05) }'
qv6d explain a.csv | grep '^Calibrated since 11.6 s: '
qv6d explain host.log | grep '^Calibrated since sample 578: '

# A device that only turns about the vertical cannot be calibrated, and is told why.
qv6d simulate --motion yaw --output yaw.csv
qv6d explain yaw.csv --counts >yaw.txt
grep '^Not calibrated; the last grade is 0.$' yaw.txt
grep '^The device was seen moving in 0 of ' yaw.txt

# A jump of the offset ends the calibration, whatever grade comes after.
qv6d simulate --seed 7 --noise 0.3 --duration 40 --step 30,500,0,0 | qv6d explain - >jump.txt
grep 'grade 3 -> 0$' jump.txt
grep '^Not calibrated; the last grade is 2.$' jump.txt

: >empty
printf 't_ns,sensor,x,y,z\n0,acc,1,2,3\n' >no_mag.csv
printf 'hcal.endbg=0\n' >off.cfg
ends 3 "empty: expected a recording" qv6d explain empty
ends 3 "yaw.txt: expected a recording" qv6d explain yaw.txt
ends 3 "no_mag.csv: holds no mag event" qv6d explain no_mag.csv
ends 3 "off.cfg: switches hcal.endbg off" qv6d explain a.csv --config off.cfg
ends 4 "missing: cannot be opened" qv6d explain missing
ends 4 "expected a regular file" qv6d explain <(cat host.log) # its first part was once lost

# An interrupt while slower rates are tried leaves nothing.
qv6d simulate --motion still --duration 600 --output still.csv
qv6d explain still.csv >/dev/null 2>err &
while kill -0 $! && ! ls tmp/*/*/ >/dev/null 2>&1; do sleep 0.01; done
kill -TERM $!
ends 143 """" wait $!
[ -z "$(ls tmp)" ]
