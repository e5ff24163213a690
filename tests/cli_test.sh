#!/bin/bash
# qv6d as a person uses it: results, exit codes, messages, files.
#   cli_test.sh QV6D
set -u
qv6d=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
mkdir temporary && export TMPDIR=$work/temporary
failed=0

# check NAME COMMAND...: the command must succeed.
check()
{
    local name=$1
    shift
    "$@" || { echo "FAILED: $name" >&2; failed=1; }
}

# fails CODE TEXT ARGUMENTS...: qv6d must exit with the code and say the text on standard error.
fails()
{
    local code=$1 text=$2 got
    shift 2
    "$qv6d" "$@" >out 2>err </dev/null
    got=$?
    { [ $got -eq "$code" ] && grep -qF -- "$text" err; } || {
        echo "FAILED: qv6d $* exited with $got, expected $code and \"$text\":" >&2
        cat err >&2
        failed=1
    }
}

json() # FILE KEY: the value behind a key, on one line
{
    tr -d ' \n' <"$1" | grep -oE "\"$2\":(\[[^]]*\]|[^,}]*)" | head -n 1 | cut -d: -f2-
}

same_seed_same_recording()
{
    "$qv6d" simulate --seed 3 --offset 120,-45,-300 --output a.csv --truth truth.csv &&
        "$qv6d" simulate --seed 3 --offset 120,-45,-300 >b.csv && cmp a.csv b.csv &&
        [ "$(head -n 1 truth.csv)" = t_ns,qw,qx,qy,qz ] && [ "$(wc -l <truth.csv)" -eq 3001 ] &&
        "$qv6d" simulate --seed 4 --offset 120,-45,-300 --output c.csv && ! cmp -s a.csv c.csv
}

recovers_the_offset()
{
    "$qv6d" replay a.csv --true-offset 120,-45,-300 --output rows.csv --json >summary.json || return 1
    [ "$(head -n 1 rows.csv)" = t_ns,cal_x,cal_y,cal_z,off_x,off_y,off_z,radius,grade,azimuth,pitch,roll ] &&
        [ "$(wc -l <rows.csv)" -eq 3001 ] && [ "$(json summary.json last_grade)" = 3 ] &&
        awk -v e="$(json summary.json offset_error_ut)" 'BEGIN { exit !(e > 0 && e < 0.5) }'
}

rows_go_down_the_pipe()
{
    "$qv6d" replay a.csv >piped.csv 2>screen && cmp rows.csv piped.csv && grep -q '^  offset ' screen &&
        "$qv6d" replay - <a.csv 2>/dev/null | cmp - rows.csv
}

every_fifth_is_the_thinned_recording()
{
    awk -F, '$2 != "mag" || ++n % 5 == 0' a.csv >thin.csv
    "$qv6d" replay a.csv --every 5 --output every.csv >/dev/null && "$qv6d" replay thin.csv --output thin_rows.csv >/dev/null &&
        cmp every.csv thin_rows.csv && [ "$(wc -l <every.csv)" -eq 601 ]
}

wide_form_is_the_same_recording()
{
    awk -F, 'NR == 1 { print "t_ns,ax,ay,az,gx,gy,gz,mx,my,mz" } $2 == "acc" { a = $3 "," $4 "," $5 }
             $2 == "gyr" { g = $3 "," $4 "," $5 } $2 == "mag" { print $1 "," a "," g "," $3 "," $4 "," $5 }' a.csv >wide.csv
    "$qv6d" replay wide.csv --output wide_rows.csv >/dev/null && cmp rows.csv wide_rows.csv
}

counts_are_taken_as_they_are()
{
    printf 't_ns,sensor,x,y,z\n0,mag,1000,-1000,20\n' >counts.csv
    printf 't_ns,sensor,x,y,z\n0,mag,150,-150,3\n' >ut.csv
    "$qv6d" replay counts.csv --mag-unit counts --output c.csv >/dev/null && "$qv6d" replay ut.csv --output u.csv >/dev/null &&
        cmp c.csv u.csv &&
        [ "$("$qv6d" replay counts.csv --mag-unit counts --json | grep -A 1 raw_norm)" = "$("$qv6d" replay ut.csv --json | grep -A 1 raw_norm)" ] && [ "$(tail -n 1 c.csv)" = 0,150,-150,3,0,0,0,0,0,0,0,0 ]
}

second_run_resumes()
{
    "$qv6d" replay a.csv --state kept --json >first.json && "$qv6d" replay a.csv --state kept --json >second.json &&
        [ "$(json first.json start)" = '"fresh"' ] && [ "$(json second.json start)" = '"resumed"' ] &&
        [ "$(head -c 1 first.json)" = '{' ] && [ -e kept/qvalgo-cust.datbak ] &&
        awk -v r="$(json first.json radius_ut)" -v g="$(json first.json graded_norm_ut | cut -d: -f2)" \
            -v c="$(json first.json calibrated_norm_ut | cut -d: -f2)" 'BEGIN { exit !((r - 48)^2 < 1 && (g - 48)^2 < 9 && c > 50 && c < 300) }' &&
        [ "$(json second.json 1)" = null ] && [ "$(json second.json 3)" = 0.0 ] &&
        mv kept moved && "$qv6d" replay a.csv --state moved --json | tr -d ' \n' | grep -q '"start":"resumed"' &&
        printf 'hcal.rbufsize = 20\nnonsense = 1\n' >cust.cfg &&
        "$qv6d" replay a.csv --state moved --config cust.cfg --json >third.json 2>complaints &&
        [ "$(json third.json start)" = '"config_changed"' ] && cmp cust.cfg moved/qvalgo-cust.cfg &&
        echo '#' >cust2.cfg && rm moved/qvalgo-cust.datbak && echo 'hcal.rbufsize = 20' >>cust2.cfg &&
        "$qv6d" replay a.csv --state moved --config cust2.cfg --json >fourth.json && cmp cust2.cfg moved/qvalgo-cust.cfg &&
        [ "$(json fourth.json start)" = '"data_unreadable"' ] &&
        "$qv6d" replay a.csv --state moved --config moved/qvalgo-cust.cfg --json >fifth.json && cmp cust2.cfg moved/qvalgo-cust.cfg &&
        grep -q "cust.cfg: Could not parse 'nonsense = 1'" complaints
}

malformed_line_ends_the_run()
{
    { head -n 1000 a.csv; echo '20000000000,mag,1,2,oops'; } >bad.csv
    "$qv6d" replay bad.csv --state broken --output bad_rows.csv >/dev/null 2>err
    [ $? -eq 3 ] && grep -q '^qv6d: bad.csv:1001: column z: expected a number, found "oops"$' err &&
        [ ! -e bad_rows.csv ] && [ ! -e bad_rows.csv.part ] && [ ! -e broken/qvalgo-cust.datbak ]
}

summary_tells_what_was_seen()
{
    { printf 't_ns,sensor,x,y,z\n1000000000,acc,3,-4,8\n1000000000,gyr,0,0,0\n1200000000,gyr,0,0,0\n' &&
        printf '%s,mag,15,30,-45\n' 1300000000 1400000000 1500000000 1500000000; } >few.csv
    "$qv6d" replay few.csv --every 2 --true-offset 3,0,4 --output few_rows.csv --json >few.json &&
        tr -d ' \n' <few.json | grep -qF '"events":{"acc":1,"gyr":2,"mag":4,"mag_used":2},"duration_s":0.5,' &&
        [ "$(json few.json offset_error_ut)" = 5.0 ] && [ "$(json few.json graded_norm_ut)" = null ] &&
        awk -v n="$(json few.json raw_norm_ut | cut -d: -f2)" 'BEGIN { exit !((n - 56.1249)^2 < 1e-6) }' &&
        tail -n 1 few_rows.csv | awk -F, '{ exit !(($10 - 291.263)^2 + ($11 - 25.087)^2 + ($12 - 18.542)^2 < 1e-4) }' &&
        "$qv6d" replay few.csv --every 2 --true-offset 3,0,4 --output few_rows.csv >few.txt &&
        grep -q 'events      7 in 0.5 s: 1 acc, 2 gyr, 4 mag, 2 of them used$' few.txt && grep -q 'missed by 5.00 µT$' few.txt &&
        ! grep -q 'while grade above 0' few.txt
}

simulation_is_the_truth()
{
    "$qv6d" simulate --noise 0 --field 50 --dip 30 --rate 20 --duration 20 --output t.csv --truth t_q.csv || return 1
    # Turned by the true attitude, every field points to (0, 43.301, -25) and every acceleration, but for noise, up.
    join -t, <(sort t_q.csv) <(sort t.csv) | awk -F, '
        $6 == "mag" || $6 == "acc" {
            tx = 2 * ($4 * $9 - $5 * $8); ty = 2 * ($5 * $7 - $3 * $9); tz = 2 * ($3 * $8 - $4 * $7)
            x = $7 + $2 * tx + $4 * tz - $5 * ty; y = $8 + $2 * ty + $5 * tx - $3 * tz; z = $9 + $2 * tz + $3 * ty - $4 * tx
            mag = $6 == "mag"; bad += (x^2 + (y - mag * 43.3013)^2 + (z - (mag ? -25 : 9.81))^2 > (mag ? 1e-6 : 0.04)); ++n }
        END { exit !(n == 800 && !bad) }' &&
        "$qv6d" simulate --motion yaw --noise 1 --output y.csv &&
        awk -F, '$2 == "gyr" && $1 > 0 { x += $3 / 2999; z += $5 / 2999 } $2 == "mag" { m += $5 / 3000; s += ($5 + 41.569)^2 / 3000 }
            END { exit !(x^2 < 1e-6 && (z - 1.5)^2 < 1e-6 && (m + 41.569)^2 < 0.01 && (s - 1)^2 < 0.01) }' y.csv &&
        "$qv6d" simulate --motion still --duration 1 --noise 0 --output s1.csv &&
        "$qv6d" simulate --motion still --duration 1 --noise 0 --soft-iron 1,0.5,0,0,1,0,0,0,1 --output s2.csv &&
        paste -d, s1.csv s2.csv | awk -F, '$2 == "mag" { bad += ($3 + $4 / 2 - $8)^2 > 1e-8 || $4 != $9; ++n } END { exit !(n == 50 && !bad) }'
}

# A device that never turns from level: its axes are east, north and up.
what_happens_is_as_told()
{
    local level=(simulate --motion yaw --rest-after 0 --noise 0 --rate 10 --duration 20)
    "$qv6d" "${level[@]}" --step 5,10,0,-2 --step 12,1,2,3 --disturb 8,2,30,-60,90 --output happened.csv &&
        awk -F, 'function is(x, y, z) { bad += ($3 - x) ^ 2 + ($4 - 24 - y) ^ 2 + ($5 + 41.56922 - z) ^ 2 > 1e-8; ++n }
            $2 != "mag" { next } { t = $1 / 1e9 }
            t == 4.9 { is(0, 0, 0) } t == 5 || t == 8 || t == 10 || t == 11.9 { is(10, 0, -2) } t == 12 { is(11, 2, 1) }
            t == 9 { is(40, -60, 88) } t == 8.5 { is(25, -30, 43) } END { exit !(n == 8 && !bad) }' happened.csv &&
        "$qv6d" "${level[@]}" --heading 90 --offset 0,0,0.07 --mag-unit counts --output counts.csv &&
        awk -F, '$2 == "mag" { bad += $3 != -160 || $4 != 0 || $5 != -277; ++n } END { exit !(n == 200 && !bad) }' counts.csv &&
        "$qv6d" simulate --rest-after 3 --duration 6 --rate 10 --truth turned.csv --output /dev/null &&
        [ "$(cut -d, -f2- turned.csv | tail -n +2 | uniq | wc -l)" -eq 31 ] &&
        [ "$(tail -n +32 turned.csv | cut -d, -f2- | uniq | wc -l)" -eq 1 ]
}

gestures_come_once_a_minute()
{
    "$qv6d" simulate --motion gesture --noise 0 --rate 10 --duration 120 | awk -F, '$2 == "mag" { second = int($1 / 1e9) % 60
        moved = $3 != 0 || $4 != 24; bad += second >= 21 && second < 27 ? 0 : second < 20 || second >= 29 ? moved : 0
        if (moved) first[second]++ } END { exit !(!bad && first[21] > 10 && first[26] > 10) }' &&
        "$qv6d" simulate --motion gesture --amplitude 0 --noise 0 --duration 60 | awk -F, '$2 == "mag" { print $3, $4, $5 }' |
        uniq | wc -l | grep -qx 1
}

resets_are_counted()
{
    awk -F, -v OFS=, '$2 == "mag" && $1 > 3e10 { $3 += 500 } { print }' a.csv >jump.csv
    "$qv6d" replay jump.csv --json --log jump.log >jump.json && [ "$(json jump.json resets)" -gt 0 ] &&
        [ "$(json jump.json resets)" -eq "$(grep -c 'HCAL CLEARD' jump.log)" ]
}

gyroscope_is_notified()
{
    echo 'env.gyrthr = 0.3' >gyr.cfg
    "$qv6d" replay a.csv --config gyr.cfg --json >deaf.json && "$qv6d" replay a.csv --config gyr.cfg --notify-gyro --json >gyr.json &&
        [ "$(json deaf.json last_grade)" = 0 ] && [ "$(json gyr.json last_grade)" = 3 ]
}

log_is_written()
{
    "$qv6d" replay a.csv --log library.log >/dev/null &&
        grep -q '^E/qvalgo: \[qvstorage_init *-[0-9]*\]  \[INFO\] LOAD_CFG_BAK \[X\]' library.log
}

# The gyroscope once read steps of the integration: its rate has to follow the true attitude smoothly.
gyroscope_is_smooth()
{
    local rate
    for rate in 50 103 300; do
        "$qv6d" simulate --rate $rate --duration 10 --output smooth.csv &&
            awk -F, -v limit=$((60 / rate + 1)) '$2 == "gyr" { if (n++ > 1 && ($3 - x) ^ 2 > (0.3 * limit) ^ 2) exit 1; x = $3 }' \
                smooth.csv || return 1
    done
}

# A line that looks like a complaint once ended the run.
complaints_are_the_librarys()
{
    printf 'hcal.readycnt = [ERR]\nhcal.rbufsize =\nhcal.readycnt = 3\n' >odd.cfg
    "$qv6d" replay a.csv --config odd.cfg --json >odd.json 2>err && [ "$(wc -l <err)" -eq 3 ] &&
        grep -q 'odd.cfg: Could not find out value about hcal.rbufsize' err && grep -q 'the lines after that were not read' err
}

nothing_is_left_of_an_interrupted_run()
{
    mkdir tmp && mkfifo events
    TMPDIR=$PWD/tmp "$qv6d" replay - --output int.csv <events >/dev/null 2>int.err &
    { cat a.csv; sleep 0.5; kill -TERM $!; sleep 0.2; tail -n 1 a.csv; } >events
    wait $!
    [ $? -eq 130 ] && grep -q 'interrupted' int.err && [ -z "$(ls tmp)" ] && [ ! -e int.csv ] && [ ! -e int.csv.part ]
}

a_reader_that_leaves_is_no_error_to_speak_of()
{
    "$qv6d" simulate --duration 600 2>err | head -n 1 >/dev/null && [ ! -s err ]
}

help_teaches()
{
    "$qv6d" --help >/dev/null && "$qv6d" --help | grep -q replay && "$qv6d" replay --help | grep -q 'Examples:' && "$qv6d" simulate --help | grep -q 'Examples:'
}

check "simulate is deterministic" same_seed_same_recording
check "replay recovers the offset" recovers_the_offset
check "rows go down the pipe" rows_go_down_the_pipe
check "--every" every_fifth_is_the_thinned_recording
check "wide form" wide_form_is_the_same_recording
check "--mag-unit counts" counts_are_taken_as_they_are
check "--state resumes" second_run_resumes
check "malformed line" malformed_line_ends_the_run
check "--log" log_is_written
check "summary and rows" summary_tells_what_was_seen
check "simulate is true" simulation_is_the_truth
check "steps and disturbances" what_happens_is_as_told
check "gestures" gestures_come_once_a_minute
check "--version" sh -c '"$0" --version | grep -qx "qv6d 3.6213"' "$qv6d"
check "resets" resets_are_counted
check "--notify-gyro" gyroscope_is_notified
check "--help" help_teaches
check "smooth gyroscope" gyroscope_is_smooth
check "complaints" complaints_are_the_librarys
check "interrupt" nothing_is_left_of_an_interrupted_run
check "broken pipe" a_reader_that_leaves_is_no_error_to_speak_of
check "numbers in front" sh -c '"$0" replay --true-offset -1,2,3.5 a.csv --output x.csv >/dev/null' "$qv6d"
for motion in figure8 gesture yaw still walk pocket; do
    check "$motion" "$qv6d" simulate --motion $motion --duration 2 --output $motion.csv
done

fails 2 "required" replay
fails 2 "every" replay a.csv --every 0
fails 2 "mag-unit" replay a.csv --mag-unit gauss
fails 2 "offset" simulate --offset 1,2
fails 2 "noise" simulate --noise -1
fails 2 "motion" simulate --motion flying
fails 2 "--step: expected 4 numbers" simulate --step 1,2,3
fails 2 "LENGTH above 0" simulate --disturb 1,0,3,4,5
fails 2 "subcommand" fly
fails 2 "expected 3 numbers" simulate --offset 1,2,nan
fails 2 "expected a number from 0.1" simulate --rate nan
fails 2 "a.csv: is read, and would be overwritten" replay a.csv --output ./a.csv
fails 2 "x.csv: would be written twice" replay a.csv --output x.csv --log x.csv
fails 2 "--json and --output -" replay a.csv --json --output -
fails 4 "missing.csv: cannot be opened: No such file" replay missing.csv
fails 4 "missing.cfg: the customer file cannot be read: No such file" replay a.csv --config missing.cfg
fails 5 "/dev/full: cannot be written: No space left" replay a.csv --output /dev/full
fails 5 "no/rows.csv: cannot be written: No such file" replay a.csv --output no/rows.csv
fails 5 "a.csv: is not a directory" replay a.csv --state a.csv
mkdir -p full/qvalgo-cust.datbak
fails 5 "full/qvalgo-cust.datbak: cannot be written, what was learnt is lost" replay a.csv --state full
"$qv6d" replay a.csv --json >/dev/full 2>err && { echo "FAILED: a summary was lost without a word" >&2; failed=1; }
fails 5 "/dev/full: cannot be written" simulate --output /dev/full
check "temporary directories go" [ -z "$(ls temporary)" ]
exit $failed
