#!/bin/bash
# qv6d simulate and replay as a person uses them: results, exit codes, messages, files.  cli_test.sh QV6D
source "$(dirname "$0")/../shell.sh"
use_tool "$1"

# A seed is a recording.
qv6d simulate --seed 3 --offset 120,-45,-300 --output a.csv
qv6d simulate --seed 3 --offset 120,-45,-300 | cmp - a.csv
qv6d simulate --seed 4 --offset 120,-45,-300 --output c.csv
not cmp -s a.csv c.csv

# The offset is recovered. Rows go down the pipe, and the summary to the screen.
qv6d replay a.csv --true-offset 120,-45,-300 --output rows.csv --json >summary.json
[ "$(json summary.json last_grade)" = 3 ]
awk -v e="$(json summary.json offset_error_ut)" 'BEGIN { exit !(e > 0 && e < 0.5) }'
qv6d replay - <a.csv 2>screen | cmp - rows.csv
grep -q '^  offset ' screen

# Every fifth event is the thinned recording.
awk -F, '$2 != "mag" || ++n % 5 == 0' a.csv >thin.csv
qv6d replay a.csv --every 5 --output every.csv
qv6d replay thin.csv | cmp - every.csv

# Counts are taken as they are.
printf 't_ns,sensor,x,y,z\n0,mag,1000,-1000,20\n' >counts.csv
printf 't_ns,sensor,x,y,z\n0,mag,150,-150,3\n' >ut.csv
for unit in counts ut; do
    qv6d replay $unit.csv --mag-unit $unit --output $unit.rows --json >$unit.json
    [ "$(tail -n 1 $unit.rows)" = 0,150,-150,3,0,0,0,0,0,0,0,0 ]
done
[ "$(json counts.json raw_norm_ut)" = "$(json ut.json raw_norm_ut)" ]

# A second run resumes, wherever the folder is by then; a customer file takes the place of the one there.
start() # OPTION...: how the replay began
{
    qv6d replay a.csv --json "$@" >run.json
    json run.json start
}
echo '#' >none.cfg
printf 'hcal.rbufsize = 20\nnonsense = 1\n' >cust.cfg
[ "$(start --state kept --config none.cfg)" = '"fresh"' ]
awk -v r="$(json run.json radius_ut)" -v g="$(json run.json graded_norm_ut | cut -d: -f2)" \
    -v c="$(json run.json calibrated_norm_ut | cut -d: -f2)" 'BEGIN { exit !((r - 48)^2 < 1 && (g - 48)^2 < 9 && (c - 48)^2 < 9) }'
[ "$(start --state kept)" = '"resumed"' ]
[ "$(json run.json 1),$(json run.json 3)" = null,0.0 ]
mv kept moved
[ "$(start --state moved)" = '"resumed"' ]
[ "$(start --state moved --config cust.cfg 2>complaints)" = '"config_changed"' ]
grep -q "cust.cfg: the library says \"Could not parse 'nonsense = 1'\": there is no such key" complaints
rm moved/qvalgo-cust.datbak
[ "$(start --state moved --config moved/qvalgo-cust.cfg)" = '"data_unreadable"' ]
cmp cust.cfg moved/qvalgo-cust.cfg

# Several recordings: a line each, and the first failure's exit code.
ends 4 "missing.csv: cannot be opened" qv6d replay a.csv missing.csv c.csv
grep -q '^a.csv: Calibrated since .*, grade 3 after .* µT, 0.* µT from the best' out
[ "$(wc -l <out)" -eq 3 ]
ends 2 "standard input can be read once only" qv6d replay a.csv -
ends 2 "are for one recording" qv6d replay a.csv c.csv --output rows.csv
ends 2 "--state is for one recording" qv6d replay a.csv c.csv --state lists

# A malformed line ends the run, which leaves nothing.
{ head -n 1000 a.csv; echo '20000000000,mag,1,2,oops'; } >bad.csv
ends 3 "" qv6d replay bad.csv --state broken --output bad_rows.csv
[ "$(cat err)" = 'qv6d: bad.csv:1001: column z: expected a number, found "oops"' ]
[ -z "$(find . -name 'bad_rows*' -o -path './broken/*.datbak')" ]

# Summary and rows of a few events. A negative number is no option.
{ printf 't_ns,sensor,x,y,z\n1000000000,acc,3,-4,8\n1000000000,gyr,0,0,0\n1200000000,gyr,0,0,0\n'
  printf '%s,mag,15,30,-45\n' 1300000000 1400000000 1500000000 1500000000; } >few.csv
qv6d replay --true-offset -3,0,4 few.csv --every 2 --output few_rows.csv --json >few.json
[[ $(tr -d ' \n' <few.json) == *'"events":{"acc":1,"gyr":2,"mag":4,"mag_used":2},"duration_s":0.5,'* ]]
[ "$(json few.json offset_error_ut),$(json few.json graded_norm_ut)" = null,null ]
awk -v n="$(json few.json raw_norm_ut | cut -d: -f2)" 'BEGIN { exit !((n - 56.1249)^2 < 1e-6) }'
tail -n 1 few_rows.csv | awk -F, '{ exit !(($10 - 291.263)^2 + ($11 - 25.087)^2 + ($12 - 18.542)^2 < 1e-4) }'
qv6d replay few.csv --every 2 --true-offset 3,0,4 --output few_rows.csv >few.txt
grep -q 'events      7 in 0.5 s: 1 acc, 2 gyr, 4 mag, 2 of them used$' few.txt
grep -q 'offset      none was published$' few.txt
not grep -E 'calibrated|while grade above 0' few.txt

# Turned by the true attitude, every field points to (0, 43.301, -25) and every acceleration, but for noise, up.
qv6d simulate --noise 0 --field 50 --dip 30 --rate 20 --duration 20 --output t.csv --truth t_q.csv
join -t, <(sort t_q.csv) <(sort t.csv) | awk -F, '
    $6 == "mag" || $6 == "acc" {
        tx = 2 * ($4 * $9 - $5 * $8); ty = 2 * ($5 * $7 - $3 * $9); tz = 2 * ($3 * $8 - $4 * $7)
        x = $7 + $2 * tx + $4 * tz - $5 * ty; y = $8 + $2 * ty + $5 * tx - $3 * tz; z = $9 + $2 * tz + $3 * ty - $4 * tx
        mag = $6 == "mag"; bad += (x^2 + (y - mag * 43.3013)^2 + (z - (mag ? -25 : 9.81))^2 > (mag ? 1e-6 : 0.04)); ++n }
    END { exit !(n == 800 && !bad) }'
qv6d simulate --motion yaw --noise 1 | awk -F, '
    $2 == "gyr" && $1 > 0 { x += $3 / 2999; z += $5 / 2999 } $2 == "mag" { m += $5 / 3000; s += ($5 + 41.569)^2 / 3000 }
    END { exit !(x^2 < 1e-6 && (z - 1.5)^2 < 1e-6 && (m + 41.569)^2 < 0.01 && (s - 1)^2 < 0.01) }'
still=(simulate --motion still --duration 1 --noise 0)
paste -d, <(qv6d "${still[@]}") <(qv6d "${still[@]}" --soft-iron 1,0.5,0,0,1,0,0,0,1) | awk -F, '
    $2 == "mag" { bad += ($3 + $4 / 2 - $8)^2 > 1e-8 || $4 != $9; ++n } END { exit !(n == 50 && !bad) }'

# Steps and disturbances of a device that never turns from level: its axes are east, north and up.
level=(simulate --motion yaw --rest-after 0 --noise 0 --rate 10 --duration 20)
qv6d "${level[@]}" --step 5,10,0,-2 --step 12,1,2,3 --disturb 8,2,30,-60,90 | awk -F, '
    function is(x, y, z) { bad += ($3 - x) ^ 2 + ($4 - 24 - y) ^ 2 + ($5 + 41.56922 - z) ^ 2 > 1e-8; ++n }
    $2 != "mag" { next } { t = $1 / 1e9 }
    t == 4.9 { is(0, 0, 0) } t == 5 || t == 8 || t == 10 || t == 11.9 { is(10, 0, -2) } t == 12 { is(11, 2, 1) }
    t == 9 { is(40, -60, 88) } t == 8.5 { is(25, -30, 43) } END { exit !(n == 8 && !bad) }'
qv6d "${level[@]}" --heading 90 --offset 0,0,0.07 --mag-unit counts | awk -F, '
    $2 == "mag" { bad += $3 != -160 || $4 != 0 || $5 != -277; ++n } END { exit !(n == 200 && !bad) }'
qv6d simulate --rest-after 3 --duration 6 --rate 10 --truth turned.csv --output /dev/null
[ "$(cut -d, -f2- turned.csv | sed 1d | uniq -c | awk '{ print $1 }' | uniq -c | tr -s ' \n' ' ')" = " 30 1 1 30 " ]

# Gestures come once a minute, and not at amplitude 0.
qv6d simulate --motion gesture --noise 0 --rate 10 --duration 120 | awk -F, '$2 == "mag" { second = int($1 / 1e9) % 60
    moved = $3 != 0 || $4 != 24; bad += second >= 21 && second < 27 ? 0 : second < 20 || second >= 29 ? moved : 0
    if (moved) first[second]++ } END { exit !(!bad && first[21] > 10 && first[26] > 10) }'
qv6d simulate --motion gesture --amplitude 0 --noise 0 --duration 60 | awk -F, '
    $2 == "mag" { seen[$3, $4, $5] } END { exit length(seen) != 1 }'

# The gyroscope once read steps of the integration: its rate has to follow the true attitude smoothly.
for rate in 50 103 300; do
    qv6d simulate --rate $rate --duration 10 | awk -F, -v limit=$((60 / rate + 1)) '
        $2 == "gyr" { bad += n++ > 1 && ($3 - x) ^ 2 > (0.3 * limit) ^ 2; x = $3 } END { exit bad > 0 }'
done
for motion in figure8 walk pocket; do qv6d simulate --motion $motion --duration 2 --output $motion.csv; done

# Resets are counted as the log has them.
awk -F, -v OFS=, '$2 == "mag" && $1 > 3e10 { $3 += 500 } { print }' a.csv >jump.csv
qv6d replay jump.csv --json --log jump.log >jump.json 2>err
[ ! -s err ]
[ "$(json jump.json resets)" -gt 0 ]
[ "$(json jump.json resets)" -eq "$(grep -c 'HCAL CLEARD' jump.log)" ]
grep -q '^E/qvalgo: \[qvstorage_init *-[0-9]*\]  \[INFO\] LOAD_CFG_BAK \[X\]' jump.log

echo 'env.gyrthr = 0.3' >gyr.cfg
qv6d replay a.csv --config gyr.cfg --json >deaf.json
qv6d replay a.csv --config gyr.cfg --notify-gyro --json >gyr.json
[ "$(json deaf.json last_grade),$(json gyr.json last_grade)" = 0,3 ]

# A line that looks like a complaint once ended the run.
printf 'hcal.readycnt = [ERR]\nhcal.rbufsize =\nhcal.readycnt = 3\n' >odd.cfg
qv6d replay a.csv --config odd.cfg --json 2>err
[ "$(wc -l <err)" -eq 3 ]
grep -q 'odd.cfg: the library says "Could not find out value about hcal.rbufsize.": nothing stands' err
grep -q 'the lines after that were not read' err

qv6d replay a.csv --config odd.cfg --output rows.csv --quiet >summary.txt 2>err
[ ! -s err ]
printf 'one two\nthree = %s\n' 1 2 3 4 5 6 7 8 >many.cfg
qv6d replay a.csv --config many.cfg --json 2>&1 >/dev/null | grep 'many.cfg: and 11 more lines like these'
ends 3 "a.csv: is a recording: expected a customer file" qv6d replay a.csv --config a.csv
ends 3 "a.csv: is a recording: expected a customer file" qv6d check a.csv
ends 3 "a.csv: is a recording: expected a customer file" qv6d tune a.csv --every 1 --base a.csv

# Colour is for terminals, and for those who want it.
on_a_terminal() { TERM=xterm script -qec "$1" /dev/null; }
[[ $(on_a_terminal "qv6d check odd.cfg || true") == *$'\033[31mnot taken\033[0m'* ]]
not grep $'\033' <<<"$(NO_COLOR=1 on_a_terminal "qv6d check odd.cfg; qv6d tune || true")"
not grep $'\033' <<<"$(TERM=xterm qv6d check odd.cfg || true)"

# What another program wrote is replayed, explained and tuned as it is; a copy in our format says the same.
mkdir logger
for sensor in acc,TotalAcceleration mag,MagnetometerUncalibrated gyr,Gyroscope; do
    awk -F, -v OFS=, -v s="${sensor%,*}" 'NR == 1 { print "time,seconds_elapsed,z,y,x" }
        $2 == s { print $1, 0, $5, $4, $3 }' a.csv >"logger/${sensor#*,}.csv"
done
qv6d import logger --output imported.csv >found
grep -q 'Sensor Logger: acc 50 Hz, gyr 50 Hz, mag 50 Hz; nothing is strange' found
qv6d replay imported.csv | cmp - <(qv6d replay logger 2>err)
qv6d explain logger --counts | cmp - <(qv6d explain imported.csv --counts)
qv6d tune logger --every 1 --csv >tuned
{ printf 'UncalMag,0,%d,120,0,0,1,2,3\n' 5 10000005; echo 'UncalAccel,0,7,0,0,1,0,0,0'; } | qv6d replay - --json >bias.json
[ "$(json bias.json platform_offset_ut)" = '[1.0,2.0,3.0]' ]
[ "$(json bias.json code)" = '"acc_in_g"' ]
gzip -k a.csv
qv6d import - --output - <a.csv.gz 2>err | cmp - <(qv6d import a.csv -o - 2>err)
sed 's/,mag,/000,mag,/; s/,acc,/000,acc,/; s/,gyr,/000,gyr,/' a.csv >slow.csv
for command in replay explain import 'tune --every 1'; do
    ends 3 "refused by --strict: acc has 0.05 events a second" qv6d $command slow.csv --strict
done
ends 2 "a.csv: is read, and would be overwritten" qv6d import a.csv --output a.csv
ends 3 "standard input: a zip file is read from a file only" bash -c "printf 'PK\3\4' | qv6d import -"

# An interrupted run leaves nothing.
mkfifo events
qv6d replay - --output int.csv <events 2>int.err &
{ cat a.csv; sleep 0.5; kill -TERM $!; sleep 0.2; tail -n 1 a.csv || true; } >events
ends 143 "" wait $!
grep -q 'interrupted' int.err
[ -z "$(ls tmp; find . -name 'int.csv*')" ]
for signal in INT TERM HUP QUIT; do
    qv6d simulate --duration 1e6 --output long.csv --truth long_truth.csv 2>/dev/null &
    while kill -0 $! && [ -z "$(find . -name '*.part' -size +0)" ]; do sleep 0.01; done
    kill -$signal $!
    ends $((128 + $(kill -l $signal))) "" wait $!
    [ -z "$(find . -name 'long*' -o -name '*.part')" ]
done

# A reader that leaves is no error to speak of.
{ qv6d simulate --duration 600 2>err || true; } | head -n 1
[ ! -s err ]

[ "$(qv6d --version),$(qv6d -V)" = "qv6d 3.6213,qv6d 3.6213" ]
for command in replay simulate; do
    [[ $(qv6d --help) == *$command* && $(qv6d $command --help) == *Examples:* ]]
    diff <(qv6d help $command) <(qv6d $command --help)
done

mkdir -p full/qvalgo-cust.datbak
truncate -s 10G huge
ends 3 "huge: is larger than" qv6d replay a.csv --config huge # once read whole into memory
ends 2 "standard input: would be read twice" qv6d replay - --config -
ends 2 "required" qv6d replay
ends 2 "every" qv6d replay a.csv --every 0
ends 2 "mag-unit" qv6d replay a.csv --mag-unit gauss
ends 2 "noise" qv6d simulate --noise -1
ends 2 "motion" qv6d simulate --motion flying
ends 2 "--step: expected 4 numbers" qv6d simulate --step 1,2,3
ends 2 "LENGTH above 0" qv6d simulate --disturb 1,0,3,4,5
ends 2 'there is no command "repaly": did you mean replay?' qv6d repaly a.csv
ends 2 'there is no command "fly"' qv6d help fly
ends 2 "replay: there is no option --evry: did you mean --every?" qv6d replay a.csv --evry=5
ends 2 '"b.csv" is one argument too many' qv6d explain a.csv b.csv
ends 2 "--every needs a value" qv6d replay a.csv --every
ends 2 "expected 3 numbers" qv6d simulate --offset 1,2,nan
ends 2 "expected a number from 0.1" qv6d simulate --rate nan
ends 2 "a.csv: is read, and would be overwritten" qv6d replay a.csv --output ./a.csv
ends 2 "x.csv: would be written twice" qv6d replay a.csv --output x.csv --log x.csv
ends 2 "--json and --output -" qv6d replay a.csv --json --output -
ends 4 "missing.csv: cannot be opened: No such file" qv6d replay missing.csv
ends 4 "missing.cfg: cannot be opened: No such file" qv6d replay a.csv --config missing.cfg
ends 5 "/dev/full: cannot be written: No space left" qv6d replay a.csv --output /dev/full
ends 5 "/dev/full: cannot be written" qv6d simulate --output /dev/full
ends 5 "no/rows.csv: cannot be written: No such file" qv6d replay a.csv --output no/rows.csv
ends 5 "a.csv: is not a directory" qv6d replay a.csv --state a.csv
ends 4 "full/qvalgo-cust.datbak: is a link or no regular file" qv6d replay a.csv --state full
not bash -c 'qv6d replay a.csv --json >/dev/full' # a summary that is lost
[ -z "$(ls tmp)" ]
