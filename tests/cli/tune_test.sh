#!/bin/bash
# qv6d tune: the same results however they are computed, and what it says of bad input.  tune_test.sh QV6D
source "$(dirname "$0")/../shell.sh"
use_tool "$1"

qv6d simulate --seed 3 --offset 120,-45,-300 --output a.csv
qv6d simulate --seed 5 --offset -20,80,30 --rate 100 --noise 0.5 --output b.csv
qv6d simulate --motion still --duration 5 --output still.csv
space=(--key hcal.rbufsize=15:25:5 --key hcal.rlsm.w=0.97,0.988 --every 1,5)

# Any number of processes gives the same bytes, and shards are lines of the whole.
for format in csv json; do
    qv6d tune a.csv b.csv "${space[@]}" --$format --jobs 1 >whole.$format
    qv6d tune a.csv b.csv "${space[@]}" --$format --jobs 30 | cmp - whole.$format
done
[ "$(wc -l <whole.json)" -eq 12 ]
qv6d tune a.csv b.csv "${space[@]}" --json --shard 5/5 | cmp - <(sed -n '5~5p' whole.json)

# Figures are those of a replay: nothing that one learnt or stored reaches another.
printf 'hcal.rbufsize = 20\nhcal.rlsm.w = 0.988\n' >one.cfg
qv6d replay b.csv --config one.cfg --every 5 --json >replay.json
qv6d tune b.csv "${space[@]}" --json | sed -n 10p >tenth.json
for key in resets last_grade; do
    [ "$(json tenth.json $key)" = "$(json replay.json $key)" ]
done
[ "$(json tenth.json time_s)" = "$(json replay.json 3)" ]

# A base that sends the record files elsewhere must not make combinations share them.
printf '# mine\nhcal.rbufsize=30\nenv.cfgbak=%s/shared.cfg\nenv.datbak=%s/shared.dat\nnonsense=1\n' "$work" "$work" >base.cfg
qv6d tune a.csv --base base.cfg --key hcal.rbufsize=20,25 --csv --best best.cfg >based.csv 2>complaints
diff <(qv6d tune a.csv --key hcal.rbufsize=20,25 --csv | cut -d, -f 1-8) <(cut -d, -f 1-8 based.csv)
[ -z "$(find . -name 'shared.*')" ]
grep -q "^env.datbak=$work" best.cfg
grep "base.cfg: the library says \"Could not parse 'nonsense = 1'\"" complaints

# The best is found, and its file gives its result.
echo 'hcal.motion.sendiffmin = 50' >narrow.cfg
qv6d tune a.csv --base narrow.cfg --key hcal.motion.sendiffmin=15,60 --best best.cfg >table 2>err
grep -x 'hcal.motion.sendiffmin = 15' best.cfg
grep -E '^ +2 +1 +60 +0 of 1 +0 +never +- +- +0$' table
[ ! -s err ]
qv6d replay a.csv --config best.cfg --json >replay.json
[ "$(json replay.json last_grade)" = 3 ]
qv6d tune a.csv --base narrow.cfg --key hcal.motion.sendiffmin=15,60 | tail -n 1 | grep -x 'hcal.motion.sendiffmin = 15'

# What is no better than the base gives no file.
ends 6 "none.cfg: not written: no combination is better than the base" \
    qv6d tune a.csv --key hcal.motion.sendiffmin=15,60 --best none.cfg
grep -E '^ +1 +base +1 of 1 ' out
[ ! -e none.cfg ]

# A list says what a grade is worth, and what cannot be read is left out.
mkdir folder && cp a.csv b.csv folder
printf '# what is known\nmust-not a.csv\nmust offset=-20,80,30 b.csv\nleave-out missing.csv\n' >folder/list
qv6d tune @folder/list --every 1 --csv | tail -n 1 | grep '^1,1,2,2,2,1,'
sed 's/^must offset=-20/must offset=-40/' folder/list >wrong.list && cp wrong.list folder/
qv6d tune @folder/wrong.list --every 1 --csv | tail -n 1 | grep '^1,1,2,2,2,2,'
: >folder/empty.csv
ends 3 "folder/empty.csv: is empty" qv6d tune folder --every 1
ends 0 "left out: folder/empty.csv: is empty" qv6d tune folder --every 1 --csv --keep-going
diff <(cut -d, -f 1-7 out) <(printf 'combination,every,recordings,graded,grade3,falsely_graded,time_s\n1,1,2,2,2,0,%s\n' \
    "$(cut -d, -f 7 out | tail -n 1)")
ends 3 "no recording is left" qv6d tune folder/empty.csv --every 1 --keep-going
ends 3 "folder/list:1: expected offset=X,Y,Z" bash -c 'echo offset=1,2 a.csv >folder/list; qv6d tune @folder/list --every 1'

# Soft iron does not spoil the error: the fit is made in the space of the offset.
qv6d tune a.csv --key 'env.simtx[0][0]=1,1.05' --csv | awk -F, 'NR > 1 && !($9 < 2) { exit 1 }'

# A hopeless recording says so, and so does a process that dies: a limit on files kills whatever writes one.
qv6d tune still.csv --every 1 2>err
grep 'still.csv: nothing says how wrong an offset is. ' err
grep 'no combination ever showed a grade above 0' err
ends 1 "with a.csv died: signal" \
    bash -c 'set -o pipefail; (ulimit -f 0; qv6d tune a.csv --every 1 2>&1) | cat'

head -c 4096 /dev/urandom >garbage
: >empty
printf 't_ns,sensor,x,y,z\n0,acc,1,2,3\n' >no_mag.csv
{ head -n 2000 a.csv; echo '1,mag,1,2,3'; } >backwards.csv
printf 'hcal.readycnt =\n' >stops.cfg
refuses() # CODE TEXT ARGUMENTS...: and leaves no file
{
    ends "$1" "$2" qv6d tune "${@:3}" --output left.txt
}
refuses 2 "recordings is required" --every 1
refuses 2 "nothing to vary" a.csv
refuses 2 "did you mean hcal.rbufsize?" a.csv --key hcal.rbufsise=20
refuses 2 "did you mean hcal.rlsm.w?" a.csv --key w=0.9
refuses 2 "expected KEY=VALUES" a.csv --key hcal.rbufsize
refuses 2 'found ""' a.csv --key hcal.rbufsize=20,
refuses 2 'found "1:2"' a.csv --key hcal.rbufsize=1:2
refuses 2 'found "nan"' a.csv --key hcal.rlsm.w=nan
refuses 2 "never gets" a.csv --key hcal.rlsm.w=1:0:0.1
refuses 2 "is at most 40" a.csv --key hcal.rbufsize=38:42:2
refuses 2 "whole numbers" a.csv --key hcal.readycnt=1.5
refuses 2 "names a file" a.csv --key env.datbak=1
refuses 2 "is there twice" a.csv --key hcal.readycnt=1 --key hcal.readycnt=2
refuses 2 "take shards" a.csv --key hcal.readycnt=1:2000:1 --key hcal.rdummycnt=1:2000:1
refuses 2 "from 1 on" a.csv --every 0
refuses 2 "K from 1 to N" a.csv --every 1 --shard 3/2
refuses 2 "too many digits" a.csv --key hcal.rlsm.w=0:1:1e-320
refuses 3 "garbage:1: " garbage --every 1
refuses 3 "empty: is empty" a.csv empty --every 1
refuses 3 "no_mag.csv: holds no mag event" no_mag.csv --every 1
refuses 3 "backwards.csv:2001: expected events in time order" a.csv backwards.csv --every 1
refuses 3 "stops.cfg: the library says \"Could not find out value about hcal.readycnt" \
    a.csv --every 1 --base stops.cfg
refuses 4 "missing.csv: cannot be opened" a.csv missing.csv --every 1
refuses 4 "tmp: is a directory without any .csv file" tmp --every 1
refuses 2 "--best needs --key" a.csv --every 1 --best left.cfg
refuses 4 "expected a regular file" - --every 1
refuses 2 "did you mean hcal.rbufsize?" a.csv --key HCAL.RBUFSIZE=20
refuses 4 "expected a regular file" a.csv --every 1 --base <(echo)
refuses 4 "missing.cfg: cannot be opened" a.csv --every 1 --base missing.cfg
ends 5 "no/rows.csv: cannot be written" qv6d tune a.csv --every 1 --output no/rows.csv
ends 5 "/dev/full: cannot be written" qv6d tune a.csv --base narrow.cfg --key hcal.motion.sendiffmin=15 --best /dev/full

# An interrupt prints what is done, marked, and leaves nothing else; it once ended with 1.
for signal in INT TERM HUP QUIT; do
    qv6d tune a.csv --key hcal.readycnt=2:2000:1 --csv --output left.csv --best left.cfg >/dev/null 2>&1 &
    while kill -0 $! && ! ls tmp/*/ 2>/dev/null | grep -q '[0-9][0-9]'; do sleep 0.01; done
    kill -$signal $!
    ends $((128 + $(kill -l $signal))) "" wait $!
    [[ $(tail -n 1 left.csv) =~ ^"# interrupted after "([0-9]+)" combinations"$ && ${BASH_REMATCH[1]} -gt 3 &&
        $(wc -l <left.csv) -eq $((BASH_REMATCH[1] + 2)) ]]
    rm left.csv
done
[ -z "$(ls tmp; find . -name 'left*')" ]
