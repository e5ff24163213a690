#!/bin/bash
# qv6d tune: the same results however they are computed, and what it says of bad input.
#   tune_test.sh QV6D
set -u
qv6d=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
mkdir tmp
export TMPDIR=$work/tmp
failed=0

check()
{
    local name=$1
    shift
    "$@" || { echo "FAILED: $name" >&2; failed=1; }
}

# fails CODE TEXT ARGUMENTS...: qv6d tune must exit with the code, say the text on standard error and leave nothing.
fails()
{
    local code=$1 text=$2 got before files=(--output left.txt --best left.cfg)
    shift 2
    [[ " $* " == *" --output "* || " $* " == *" --best "* ]] && files=()
    before=$(ls -R)
    "$qv6d" tune "$@" "${files[@]}" >/dev/null 2>"$TMPDIR.err" </dev/null
    got=$?
    { [ $got -eq "$code" ] && grep -qF -- "$text" "$TMPDIR.err" && [ "$(ls -R)" = "$before" ]; } || {
        echo "FAILED: qv6d tune $* exited with $got, expected $code and \"$text\":" >&2
        cat "$TMPDIR.err" >&2
        ls -R >&2
        failed=1
    }
}

sweep=(a.csv b.csv --key hcal.rbufsize=15:25:5 --key hcal.rlsm.w=0.97,0.988 --every 1,5)

any_number_of_processes_gives_the_same_bytes()
{
    for format in --csv --json; do
        "$qv6d" tune "${sweep[@]}" $format --jobs 1 >one && "$qv6d" tune "${sweep[@]}" $format --jobs 2 >two &&
            "$qv6d" tune "${sweep[@]}" $format --jobs 30 >many && cmp one two && cmp one many || return 1
    done
    [ "$(wc -l <one)" -eq 12 ]
}

shards_are_the_whole()
{
    "$qv6d" tune "${sweep[@]}" --csv --output whole.csv || return 1
    for k in 1 2 3 4 5; do
        "$qv6d" tune "${sweep[@]}" --csv --shard $k/5 | tail -n +2
    done | sort -n | cmp - <(tail -n +2 whole.csv)
}

# Nothing that one replay learnt or stored reaches another.
figures_are_those_of_replay()
{
    printf 'hcal.rbufsize = 20\nhcal.rlsm.w = 0.988\n' >one.cfg
    "$qv6d" replay b.csv --config one.cfg --every 5 --json >replay.json
    local line
    line=$("$qv6d" tune b.csv --key hcal.rbufsize=15:25:5 --key hcal.rlsm.w=0.97,0.988 --every 1,5 --json | sed -n 10p)
    for key in resets last_grade; do
        local value
        value=$(grep -oE "\"$key\": [0-9]+" replay.json | head -n 1 | tr -d ' ')
        [[ $line == *"$value"* ]] || return 1
    done
    local time
    time=$(tr -d ' \n' <replay.json | grep -oE '"3":[0-9.]+' | cut -d: -f2)
    [ -n "$time" ] && [[ $line == *"\"time_s\":$time,"* ]]
}

# A base that sends the record files elsewhere must not make combinations share them.
base_is_laid_over()
{
    printf '# mine\nhcal.rbufsize=30\nenv.cfgbak=%s/shared.cfg\nenv.datbak=%s/shared.dat\nnonsense=1\n' "$work" "$work" >base.cfg
    "$qv6d" tune a.csv --base base.cfg --key hcal.rbufsize=20,25 --csv --best best.cfg >based.csv 2>complaints &&
        "$qv6d" tune a.csv --key hcal.rbufsize=20,25 --csv | cmp - based.csv && [ ! -e shared.dat ] && [ ! -e shared.cfg ] &&
        grep -q "^# mine$" best.cfg && grep -q '^hcal.rbufsize = 2[05]$' best.cfg && ! grep -q =30 best.cfg &&
        grep -q "^env.datbak=$work" best.cfg && grep -q "Could not parse 'nonsense = 1'" complaints
}

the_best_is_found_and_its_file_gives_its_result()
{
    "$qv6d" tune a.csv --key hcal.motion.sendiffmin=15,60 --best best.cfg >table 2>err || return 1
    grep -qx 'hcal.motion.sendiffmin = 15' best.cfg && grep -qE '^ +2 +1 +60 +never +- +- +0$' table && [ ! -s err ] &&
        "$qv6d" replay a.csv --config best.cfg --true-offset 120,-45,-300 --json | grep -q '"last_grade": 3' &&
        "$qv6d" tune a.csv --key hcal.motion.sendiffmin=15,60 | tail -n 1 | grep -qx 'hcal.motion.sendiffmin = 15'
}

# The fit is made in the space of the offset.
soft_iron_does_not_spoil_the_error()
{
    "$qv6d" tune a.csv --key 'env.simtx[0][0]=1,1.05' --csv | tail -n +2 | awk -F, '!($8 < 2) { exit 1 }'
}

hopeless_recordings_say_so()
{
    "$qv6d" tune still.csv --every 1 >out 2>err && grep -q 'still.csv: the error says little' err &&
        grep -q 'no combination ever showed a grade above 0' err
}

# A limit on the size of files kills whatever writes one.
a_dead_process_is_reported()
{
    (ulimit -f 0 && "$qv6d" tune a.csv --every 1 2>&1; echo "exit $?") | cat >"$TMPDIR.err"
    grep -q 'the process of combination 1 with a.csv died: signal' "$TMPDIR.err" && grep -qx 'exit 1' "$TMPDIR.err"
}

"$qv6d" simulate --seed 3 --offset 120,-45,-300 --output a.csv
"$qv6d" simulate --seed 5 --offset -20,80,30 --rate 100 --noise 0.5 --output b.csv
"$qv6d" simulate --motion still --duration 5 --output still.csv
check "--jobs" any_number_of_processes_gives_the_same_bytes
check "--shard" shards_are_the_whole
check "as replay" figures_are_those_of_replay
check "--base" base_is_laid_over
check "--best" the_best_is_found_and_its_file_gives_its_result
check "soft iron" soft_iron_does_not_spoil_the_error
check "hopeless" hopeless_recordings_say_so
check "a death" a_dead_process_is_reported
check "nothing is left" [ -z "$(ls "$TMPDIR")" ]

head -c 4096 /dev/urandom >garbage
: >empty
printf 't_ns,sensor,x,y,z\n0,acc,1,2,3\n' >no_mag.csv
{ head -n 2000 a.csv; echo '1,mag,1,2,3'; } >backwards.csv
printf 'hcal.readycnt =\n' >stops.cfg
fails 2 "recordings is required" --every 1
fails 2 "nothing to vary" a.csv
fails 2 "did you mean hcal.rbufsize?" a.csv --key hcal.rbufsise=20
fails 2 "did you mean hcal.rlsm.w?" a.csv --key w=0.9
fails 2 "expected KEY=VALUES" a.csv --key hcal.rbufsize
fails 2 'found ""' a.csv --key hcal.rbufsize=20,
fails 2 'found "1:2"' a.csv --key hcal.rbufsize=1:2
fails 2 'found "nan"' a.csv --key hcal.rlsm.w=nan
fails 2 "never gets" a.csv --key hcal.rlsm.w=1:0:0.1
fails 2 "is at most 40" a.csv --key hcal.rbufsize=38:42:2
fails 2 "whole numbers" a.csv --key hcal.readycnt=1.5
fails 2 "names a file" a.csv --key env.datbak=1
fails 2 "is there twice" a.csv --key hcal.readycnt=1 --key hcal.readycnt=2
fails 2 "take shards" a.csv --key hcal.readycnt=1:2000:1 --key hcal.rdummycnt=1:2000:1
fails 2 "from 1 on" a.csv --every 0
fails 2 "K from 1 to N" a.csv --every 1 --shard 3/2
fails 2 "too many digits" a.csv --key hcal.rlsm.w=0:1:1e-320
fails 3 "garbage:1: " garbage --every 1
fails 3 "empty: is empty" a.csv empty --every 1
fails 3 "no_mag.csv: holds no mag event" no_mag.csv --every 1
fails 3 "backwards.csv:2001: expected events in time order" a.csv backwards.csv --every 1
fails 3 "stops.cfg: the library stops within this customer file: Could not find out value about hcal.readycnt" \
    a.csv --every 1 --base stops.cfg
fails 4 "missing.csv: cannot be opened" a.csv missing.csv --every 1
fails 4 ".: is a directory" . --every 1
fails 4 "expected a regular file" - --every 1
fails 4 "missing.cfg: expected a customer file" a.csv --every 1 --base missing.cfg
fails 5 "no/rows.csv: cannot be written" a.csv --every 1 --output no/rows.csv
fails 5 "/dev/full: cannot be written" a.csv --every 1 --best /dev/full
exit $failed
