#!/bin/bash
# qv6d inspect and qv6d check as a person uses them: results, exit codes, messages.  inspect_check_test.sh QV6D
source "$(dirname "$0")/../shell.sh"
use_tool "$1"

qv6d simulate --seed 3 --duration 20 --offset 120,-45,-300 --output a.csv
qv6d replay a.csv --state state >/dev/null
cfg=state/qvalgo-cust.cfgbak dat=state/qvalgo-cust.datbak

# The file with all defaults changes nothing.
qv6d check --defaults >all.cfg
qv6d check --strict all.cfg >verdict
[ "$(grep -c '(as before)$' verdict)" -eq 47 ]
[ "$(sed 47d verdict | tail -n 1)" = 'all.cfg: 47 lines taken, 0 not taken, 0 warnings; 0 fields changed' ]
grep -B 2 -F 'hcal.accuracy[0] = 600' all.cfg | grep '^# default 20, but QVS_initLib sets:'

# Lines are explained.
printf '# comment\n\n hcal.rbufsize = 64\nhcal.rbufsiz = 30\nenv.datbak = /x\r\nhcal.enhthr =\nhcal.enhthr = 7\n' >bad.cfg
ends 3 "" qv6d check bad.cfg
diff - out <<'TEXT'
bad.cfg:3: hcal.rbufsize = 40 (was 25)
bad.cfg:3:18: warning: cut to 40, the most that the library takes
bad.cfg:4:1: not taken: unknown key "hcal.rbufsiz": did you mean hcal.rbufsize?
bad.cfg:5: env.datbak = /x\r (was /data/qvsd/qvalgo-cust.datbak)
bad.cfg:5:16: warning: a carriage return stays in the path: save the file with plain line ends
bad.cfg:6:1: not taken: no value after "=": reading ends here
bad.cfg:7: not read
bad.cfg: 2 lines taken, 2 not taken, 1 not read, 2 warnings; 2 fields changed
TEXT
ends 3 '"verdict": "not_all_taken"' qv6d check --json bad.cfg
[ "$(grep -o '"result": "[a-z_]*"' out | cut -d '"' -f 4 | tr '\n' ' ')" = "taken not_taken taken ended " ]
[ "$(json out new),$(json out not_read)" = 40,1 ]

# Record files are shown.
ends 0 "$dat: data backup, intact, 490 bytes" qv6d inspect $dat
grep -qE '^ +213  hcal.bak.rep_offset +12[0-9.]+ +-4[0-9.]+ +-(29|30)[0-9.]+ +µT$' out
grep -qE '^ +261  hcal.bak.motion_result +1[678] +(UNKNOWN|READY|NOISE2)' out
qv6d inspect - <$cfg >shown
grep -q '^\* *85  env.accthr *0.06 *m/s² *default 0.0299' shown
grep -qE '^ +305  hcal.rbufsize +25 +samples$' shown
qv6d inspect --json $cfg >inspect.json
[ "$(grep -c '"record_offset"' inspect.json)" -eq 53 ]
grep -A 6 -F '"hcal.accuracy[0]"' inspect.json | grep -F '"value": 600.0'
grep -A 3 -F '"hcal.rbufsize"' inspect.json | grep -F '"record_offset": 296'

# Whether a calibration is reused is foretold as a start has it.
for line in hcal.enhthr=7 fusion.ips=2 hcal.endbg=1 env.simtx[0][1]=0.5; do
    rm -rf changed
    cp -r state changed
    echo "$line" >c.cfg
    qv6d replay a.csv --state changed --config c.cfg --json >started
    ends 1 "" qv6d inspect --json $cfg changed/qvalgo-cust.cfgbak
    case $(json started start),$(json out calibration_reused) in
    '"resumed",true' | '"config_changed",false') ;;
    *) complain "$line: $(json started start) and $(json out calibration_reused)" ;;
    esac
done

head -c 300 $cfg >cut
{ cat $cfg; echo more; } >longer
cp $cfg locked && chmod 444 locked
{ head -c 109 $cfg && printf '\233' && tail -c +111 $cfg; } >strange # a byte that a terminal takes for a command
: >empty
truncate -s 10G huge
printf 'hcal.readycnt = 3.5\n' >trap.cfg
ends 0 "No field differs." qv6d inspect $cfg longer
ends 0 '\x9bvalgo-cust.cfg' qv6d inspect strange
ends 0 "no write permission" qv6d inspect locked
ends 0 "0 lines taken" qv6d check empty
ends 0 "warning: the fraction" qv6d check trap.cfg
ends 3 "warning: the fraction" qv6d check --strict trap.cfg
ends 2 "only files of one type" qv6d inspect $cfg $dat
ends 2 "required" qv6d inspect
ends 2 "--type" qv6d inspect --type float $cfg
ends 2 "either a customer file or --defaults" qv6d check
ends 2 "either a customer file or --defaults" qv6d check --defaults trap.cfg
ends 3 "damaged: cut at 300 of 562 bytes, at env.datbak" qv6d inspect --type config cut
ends 3 "discards the calibration stored with cut, which is damaged" qv6d inspect --type config cut $cfg
ends 3 "cannot be said: cut is damaged" qv6d inspect --type config $cfg cut
ends 3 "too few to tell of which type: say --type" qv6d inspect cut
ends 3 "is empty" qv6d inspect empty
ends 3 "if it is a customer file: qv6d check" qv6d inspect trap.cfg
ends 2 "would be read twice" qv6d inspect - -
ends 3 "huge: is larger than" qv6d inspect huge
ends 3 "huge: is larger than" qv6d check huge
for command in inspect check; do
    ends 4 "missing: cannot be opened: No such file" qv6d $command missing
done
ends 4 ".: is a directory, expected a record file" qv6d inspect .
ends 4 ".: is a directory, expected a customer file" qv6d check .
