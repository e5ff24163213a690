#!/bin/bash
# What hostile files, names and folders can make of qv6d: nothing that its user did not ask for.  hostile_test.sh QV6D
source "$(dirname "$0")/../shell.sh"
use_tool "$1"

qv6d simulate --seed 3 --duration 20 --offset 120,-45,-300 -o a.csv
qv6d simulate --motion still --duration 4 -o still.csv
keep() { echo precious >keep; }
kept() # WHAT: it did nothing to the file
{
    [[ $(cat keep) == precious && ! -L keep ]] || complain "$* wrote to a file of the user"
    keep
}
keep

# A customer file once named any file to overwrite.
qv6d replay a.csv --state honest -o rows.csv >/dev/null
for key in env.cfgbak env.datbak env.custcfg ' env.datbak ' $'e n v.cfgbak\t'; do
    printf '%s = %s\n' "$key" "$work/keep" >c.cfg
    printf '%s=%s\0=\nhcal.rbufsize=%s\n%s=%s\r\n' "$key" "$work/keep" 25 "$key" "$work/keep" >nul.cfg
    for config in c.cfg nul.cfg; do
        rm -rf st
        qv6d replay a.csv --config $config --state st -q -o other.csv >/dev/null
        kept "replay --config $config with $key"
        cmp other.csv rows.csv
        cmp st/qvalgo-cust.datbak honest/qvalgo-cust.datbak
        [ "$(ls st)" = "$(printf 'qvalgo-cust.%s\n' cfg cfgbak datbak)" ]
        qv6d explain still.csv --config $config >/dev/null
        qv6d replay a.csv still.csv --config $config -q >/dev/null
        qv6d tune still.csv --base $config --key hcal.readycnt=2 -q >/dev/null
        kept "explain or tune with $key"
    done
done

# A link in a state directory was once followed, and a hard link written through.
for file in cfg cfgbak datbak; do
    rm -rf st && mkdir st && ln -s ../keep st/qvalgo-cust.$file
    ends 4 "st/qvalgo-cust.$file: is a link or no regular file" qv6d replay a.csv --state st
    kept "a link at $file"
    rm st/* && mkfifo st/qvalgo-cust.$file
    ends 4 "is a link or no regular file" qv6d replay a.csv --state st
    rm st/* && ln keep st/qvalgo-cust.$file
    qv6d replay a.csv --state st -q >/dev/null
    kept "a hard link at $file"
done
ends 4 "" qv6d replay missing.csv --state new && [ ! -e new ]
ends 3 "" qv6d replay a.csv --state new/er --config a.csv && [ ! -e new ]
ends 5 "TMPDIR: is no directory" env TMPDIR=none qv6d replay a.csv --state new/er && [ ! -e new ]

# The name of an unfinished file was once known: what had it was lost, and a link there was followed.
cp a.csv day.csv.part
ln -s keep log.part
qv6d replay day.csv.part -o day.csv --log log >/dev/null
cmp a.csv day.csv.part
kept "a link at the unfinished file"

# What is replaced leaves its mode; two runs to one file do not mix; links lead to what they did.
echo old >private && chmod 640 private && ln -s private link
qv6d replay a.csv -o link >/dev/null
[ "$(stat -c %a private),$(readlink link)" = 640,private ]
cmp private rows.csv
(umask 077 && qv6d replay a.csv -o mine.csv >/dev/null)
[ "$(stat -c %a mine.csv)" = 600 ]
for k in 1 2 3 4; do qv6d replay a.csv -o both.csv >/dev/null & done
wait
cmp both.csv rows.csv
qv6d simulate --seed 3 --duration 20 --offset 120,-45,-300 -o /dev/stdout >into && cmp into a.csv
qv6d replay a.csv -o >(cmp - rows.csv && touch through) >/dev/null && sleep 0.2 && [ -e through ]
ln -s nowhere dangling
ends 5 "dangling: cannot be written: is a link that leads nowhere" qv6d replay a.csv -o dangling
ln -s keep theirs && ln -s theirs mine # a link to a link of somebody else
[ "$(id -u)" != 0 ] || { chown -h 1 theirs && ends 5 "mine: cannot be written: is a link of another user" qv6d replay a.csv -o mine; }
kept "a link of another user"
ends 2 "would be written twice" qv6d replay a.csv -o x --log ./x
ends 5 "standard output: cannot be written" bash -c 'qv6d replay a.csv --log shut.log <&- >&-'
[ ! -e shut.log ] || complain "the log got the number of standard output, and its bytes"
ends 5 "standard output: cannot be written" bash -c 'qv6d --help >/dev/full'
mkdir folder && cp a.csv folder && ln a.csv twin.csv
ends 2 "twin.csv: is read, and would be overwritten" qv6d replay a.csv -o twin.csv
ends 2 "folder/a.csv: is read" qv6d import folder -o folder/a.csv
ln -s loop loop
ends 5 "loop/rows.csv: cannot be written" qv6d replay a.csv --state loop -o loop/rows.csv # once "written twice"
ends 2 "would be written twice" qv6d replay a.csv --state st -o st/qvalgo-cust.cfg
echo 'folder/a.csv' >list
ends 2 "list: is read" qv6d tune @list --every 1 -o list

# No foreign byte that a terminal could take for a command is shown, wherever it stands.
nasty=$'\033]0;x\a\233\302\233\177\342\200\256\342\201\246\377\r'
shows_nothing() # COMMAND...: no such byte in what it says
{
    { "$@" 2>&1 </dev/null || true; } >said
    [ -s said ] || complain "$* says nothing"
    not grep -qaP '[\x00-\x08\x0b-\x1f\x7f\xff]|\xc2[\x80-\x9f]|\xe2\x80[\x8e\x8f\xa8-\xae]|\xe2\x81[\xa6-\xa9]|(?<![\xc2\xc3\xce])[\x80-\x9f](?<!\xe2\x80)' said ||
        complain "$* shows $(cat -v said | head -n 3)"
}
cp a.csv "$nasty.csv"
cp honest/qvalgo-cust.cfgbak "$nasty.bak"
mkdir "$nasty.d" && cp a.csv "$nasty.d/$nasty.csv"
printf 'hcal.readycnt = 2%s\n%s = 3\n%s\nenv.datbak = %s\n' "$nasty" "$nasty" "$nasty" "$nasty" >"$nasty.cfg"
for file in "$nasty.csv" "$nasty.d" "$nasty.none" - "$nasty.cfg"; do
    for command in replay explain import inspect check 'tune --every 1' 'replay --json' 'import --json' 'check --json' \
        'replay --strict' 'replay a.csv' 'replay -o rows.txt --log - --state nasty.st' 'explain --json'; do
        shows_nothing qv6d $command "$file"
    done
done
for row in '%s,mag,1,1,1' '1,%s,1,1,1' '1,mag,%s,1,1' '1,mag,1,1,1,%s' '%s'; do
    for head in 't_ns,sensor,x,y,z' "time,mx,my,mz,$nasty" "$nasty"; do
        printf "%s\n$row\n" "$head" "$nasty" >row.csv
        shows_nothing qv6d replay row.csv
        shows_nothing qv6d import row.csv --columns "t,mx,my,mz"
    done
done
shows_nothing qv6d replay a.csv --config "$nasty.cfg"
shows_nothing qv6d replay a.csv --config "$nasty.cfg" --config none.cfg
shows_nothing qv6d tune a.csv --base "$nasty.cfg" --key hcal.readycnt=2,3
shows_nothing qv6d inspect "$nasty.bak"
shows_nothing qv6d inspect --json "$nasty.bak" honest/qvalgo-cust.cfgbak
for option in --output --log --report --state --unit --columns --delimiter --true-offset "--$nasty"; do
    shows_nothing qv6d replay a.csv "$option" "$nasty/none"
done
for key in "$nasty=1" "hcal.readycnt=$nasty" "$nasty"; do shows_nothing qv6d tune a.csv --key "$key"; done
printf '#%s\nhcal.motion.sendiffmin = 90\n' "$nasty" >base.cfg # the terminal's own \r is not what is looked for
shows_nothing bash -c 'TERM=dumb script -qec "qv6d tune a.csv --base base.cfg -q --key hcal.motion.sendiffmin=5 --best /dev/tty" /dev/null | tr -d "\r"'
grep -aq '^#.*x1b' said
printf '%s %s\noffset=%s\n' "$nasty" "$nasty" "$nasty" >list
shows_nothing qv6d tune @list --every 1
shows_nothing qv6d "$nasty"
printf 'must Käse\n' >list
ends 4 "Käse: cannot be opened" qv6d tune @list --every 1 # letters are letters

# What grows with a file is bounded.
awk 'BEGIN { for (k = 0; k < 250000; k++) print "a=b" }' >flood.cfg
limited() { (ulimit -v "${limit:-400000}" && "$@" >/dev/null); }
ends 3 "" limited qv6d check flood.cfg # once 600 MB
awk 'BEGIN { for (k = 0; k < 60000; k++) printf "E/qvalgo: [qvhcal_update       -0127]  hcal_out 1 2 3, 0 0 0 48, 1 2 3 48, %d, 2, 1 18\n", k % 2 }' >flip.log
ends 0 "" limited qv6d explain flip.log
limit=100000 ends 0 "" limited qv6d explain --json flip.log # once 124 MB
ends 0 "processes at a time: the system allows no more" \
    bash -c 'ulimit -n 70; qv6d tune still.csv --key hcal.readycnt=2:12:1 --jobs 1024 --csv'
[ -z "$(ls tmp; find . -name '*.part' ! -name day.csv.part ! -name log.part)" ]
