#!/bin/bash
# qv6d as a person uses it: results, exit codes, messages, files.
#   cli_test.sh QV6D
set -u
qv6d=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
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
        cmp c.csv u.csv && [ "$(tail -n 1 c.csv)" = 0,150,-150,3,0,0,0,0,0,0,0,0 ]
}

second_run_resumes()
{
    "$qv6d" replay a.csv --state kept --json >first.json && "$qv6d" replay a.csv --state kept --json >second.json &&
        [ "$(json first.json start)" = '"fresh"' ] && [ "$(json second.json start)" = '"resumed"' ] &&
        [ "$(json second.json 1)" = null ] && [ "$(json second.json 3)" = 0.0 ] &&
        mv kept moved && "$qv6d" replay a.csv --state moved --json | tr -d ' \n' | grep -q '"start":"resumed"' &&
        printf 'hcal.rbufsize = 20\nnonsense = 1\n' >cust.cfg &&
        "$qv6d" replay a.csv --state moved --config cust.cfg --json >third.json 2>complaints &&
        [ "$(json third.json start)" = '"config_changed"' ] && cmp cust.cfg moved/qvalgo-cust.cfg &&
        grep -q "customer file: Could not parse 'nonsense = 1'" complaints
}

malformed_line_ends_the_run()
{
    { head -n 1000 a.csv; echo '20000000000,mag,1,2,oops'; } >bad.csv
    "$qv6d" replay bad.csv --state broken --output bad_rows.csv >/dev/null 2>err
    [ $? -eq 3 ] && grep -q '^qv6d: bad.csv:1001: column z: expected a number, found "oops"$' err &&
        [ ! -e bad_rows.csv ] && [ ! -e bad_rows.csv.part ] && [ ! -e broken/qvalgo-cust.datbak ]
}

log_is_written()
{
    "$qv6d" replay a.csv --log library.log >/dev/null &&
        grep -q '^E/qvalgo: \[qvstorage_init *-[0-9]*\]  \[INFO\] LOAD_CFG_BAK \[X\]' library.log
}

help_teaches()
{
    "$qv6d" --help | grep -q replay && "$qv6d" replay --help | grep -q 'Examples:' && "$qv6d" simulate --help | grep -q 'Examples:'
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
check "--help" help_teaches
for motion in figure8 yaw still; do
    check "$motion" "$qv6d" simulate --motion $motion --duration 2 --output $motion.csv
done

fails 2 "required" replay
fails 2 "every" replay a.csv --every 0
fails 2 "mag-unit" replay a.csv --mag-unit gauss
fails 2 "offset" simulate --offset 1,2
fails 2 "motion" simulate --motion flying
fails 2 "subcommand" fly
fails 4 "missing.csv: cannot be opened: No such file" replay missing.csv
fails 4 "missing.cfg: expected a customer file" replay a.csv --config missing.cfg
fails 5 "/dev/full: cannot be written: No space left" replay a.csv --output /dev/full
fails 5 "no/rows.csv: cannot be written: No such file" replay a.csv --output no/rows.csv
fails 5 "a.csv: is not a directory" replay a.csv --state a.csv
fails 5 "/dev/full: cannot be written" simulate --output /dev/full
exit $failed
