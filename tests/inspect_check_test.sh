#!/bin/bash
# qv6d inspect and qv6d check as a person uses them: results, exit codes, messages.
#   inspect_check_test.sh QV6D
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

# ends CODE TEXT ARGUMENTS...: qv6d must exit with the code and say the text.
ends()
{
    local code=$1 text=$2 got
    shift 2
    "$qv6d" "$@" >out 2>&1 </dev/null
    got=$?
    { [ $got -eq "$code" ] && grep -qF -- "$text" out; } || {
        echo "FAILED: qv6d $* exited with $got, expected $code and \"$text\":" >&2
        head -n 20 out >&2
        failed=1
    }
}

defaults_change_nothing()
{
    "$qv6d" check --defaults >all.cfg && "$qv6d" check --strict all.cfg >verdict &&
        [ "$(grep -c '(as before)$' verdict)" -eq 47 ] && [ "$(wc -l <verdict)" -eq 48 ] &&
        grep -q '^all.cfg: 47 lines taken, 0 not taken, 0 warnings; 0 fields changed$' verdict &&
        grep -B 2 -F 'hcal.accuracy[0] = 600' all.cfg | grep -q '^# default 20, but QVS_initLib sets:'
}

lines_are_explained()
{
    printf '# comment\n\n hcal.rbufsize = 64\nhcal.rbufsiz = 30\nenv.datbak = /x\r\nhcal.enhthr =\nhcal.enhthr = 7\n' >bad.cfg
    cat >expected <<'TEXT'
bad.cfg:3: hcal.rbufsize = 40 (was 25)
bad.cfg:3:18: warning: cut to 40, the most that the library takes
bad.cfg:4:1: not taken: unknown key "hcal.rbufsiz": did you mean hcal.rbufsize?
bad.cfg:5: env.datbak = /x\r (was /data/qvsd/qvalgo-cust.datbak)
bad.cfg:5:16: warning: a carriage return stays in the path: save the file with plain line ends
bad.cfg:6:1: not taken: no value behind "=": reading ends here
bad.cfg:7: not read
bad.cfg: 2 lines taken, 2 not taken, 1 not read, 2 warnings; 2 fields changed
TEXT
    "$qv6d" check bad.cfg >verdict
    [ $? -eq 3 ] && diff expected verdict
}

both_print_json()
{
    "$qv6d" check --json bad.cfg >check.json
    [ $? -eq 3 ] && [ "$(grep -o '"result": "[a-z_]*"' check.json | cut -d'"' -f4 | tr '\n' ' ')" = "taken not_taken taken ended " ] &&
        grep -q '"new": 40' check.json && grep -q '"not_read": 1' check.json && grep -q '"all_taken": false' check.json &&
        "$qv6d" inspect --json state/qvalgo-cust.cfgbak >inspect.json && [ "$(grep -c '"record_offset"' inspect.json)" -eq 53 ] &&
        grep -A 6 -F '"hcal.accuracy[0]"' inspect.json | grep -qF '"value": 600.0' &&
        grep -A 3 -F '"hcal.rbufsize"' inspect.json | grep -qF '"record_offset": 296'
}

record_files_are_shown()
{
    "$qv6d" inspect state/qvalgo-cust.datbak >shown && grep -q '^state/qvalgo-cust.datbak: data backup, intact, 490 bytes$' shown &&
        grep -qE '^ +213  hcal.bak.rep_offset +12[0-9.]+ +-4[0-9.]+ +-(29|30)[0-9.]+ +uT$' shown &&
        grep -qE '^ +261  hcal.bak.motion_result +1[678] +(UNKNOWN|READY|NOISE2)' shown &&
        "$qv6d" inspect - <state/qvalgo-cust.cfgbak >shown && grep -q '^\* *85  env.accthr *0.06 *m/s2 *default 0.0299' shown &&
        grep -qE '^ +305  hcal.rbufsize +25 +samples$' shown
}

# The verdict on reuse against what a start does.
reuse_is_foretold()
{
    local line verdict started
    for line in hcal.enhthr=7 fusion.ips=2 hcal.endbg=1 env.simtx[0][1]=0.5; do
        rm -rf changed && cp -r state changed && echo "$line" >c.cfg
        started=$("$qv6d" replay a.csv --state changed --config c.cfg --json | grep -o 'config_changed\|resumed')
        "$qv6d" inspect --json state/qvalgo-cust.cfgbak changed/qvalgo-cust.cfgbak >verdict
        [ $? -eq 1 ] && case $started in
            resumed) grep -q '"calibration_reused": true' verdict ;;
            config_changed) grep -q '"calibration_reused": false' verdict ;;
            *) false ;;
        esac || return 1
    done
}

"$qv6d" simulate --seed 3 --duration 20 --offset 120,-45,-300 --output a.csv
"$qv6d" replay a.csv --state state >/dev/null
check "check --defaults" defaults_change_nothing
check "check" lines_are_explained
check "inspect" record_files_are_shown
check "--json" both_print_json
check "reuse" reuse_is_foretold

cfg=state/qvalgo-cust.cfgbak dat=state/qvalgo-cust.datbak
head -c 300 $cfg >cut
{ cat $cfg; echo more; } >longer
cp $cfg locked && chmod 444 locked
{ head -c 109 $cfg && printf '\233' && tail -c +111 $cfg; } >strange # a byte that a terminal takes for a command
: >empty
truncate -s 10G huge
printf 'hcal.readycnt = 3.5\n' >trap.cfg
ends 0 "No field differs." inspect $cfg longer
ends 0 "5 bytes behind the tail mark" inspect longer
ends 0 '\x9bvalgo-cust.cfg' inspect strange
ends 0 "no write permission" inspect locked
ends 0 "0 lines taken" check empty
ends 0 "warning: the fraction" check trap.cfg
ends 3 "warning: the fraction" check --strict trap.cfg
ends 2 "only files of one type" inspect $cfg $dat
ends 2 "required" inspect
ends 2 "--type" inspect --type float $cfg
ends 2 "either a customer file or --defaults" check
ends 2 "either a customer file or --defaults" check --defaults trap.cfg
ends 3 "damaged: cut at 300 of 562 bytes, at env.datbak" inspect --type config cut
ends 3 "discards the calibration stored with cut, which is damaged" inspect --type config cut $cfg
ends 3 "cannot be said: cut is damaged" inspect --type config $cfg cut
ends 3 "too few to tell of which type: say --type" inspect cut
ends 3 "is empty" inspect empty
ends 3 "if it is a customer file: qv6d check" inspect trap.cfg
ends 3 "huge: is not a record file" inspect huge
ends 3 "huge: is larger than" check huge
ends 4 "missing: cannot be opened: No such file" inspect missing
ends 4 "missing: cannot be opened: No such file" check missing
ends 4 "cannot be read: Is a directory" inspect .
ends 4 "cannot be read: Is a directory" check .
exit $failed
