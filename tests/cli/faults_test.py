"""Every input and output call of qv6d fails once, one after the other, and a signal comes at each: an error names the
file and has the right code, nothing is half written, nothing is left.  faults_test.py QV6D FAULTS_LIBRARY"""

import os, re, shutil, signal, subprocess, sys, tempfile
from concurrent.futures import ThreadPoolExecutor

TOOL, LIBRARY = map(os.path.abspath, sys.argv[1:3])
COMMANDS = [
    "replay a.csv -o rows.csv --log lib.log",
    "replay a.csv --config c.cfg --state kept --json",
    "replay a.csv b.csv --every 5", # too few samples for remedies to be tried: those are below
    "simulate --duration 1 -o made.csv --truth true.csv",
    "import logger -o rows.csv",
    "tune a.csv --base c.cfg --key hcal.readycnt=2,3 --jobs 1 --csv -o rows.csv",
    "tune a.csv --base narrow.cfg --key hcal.motion.sendiffmin=5 --best best.cfg",
    "explain still.csv --config c.cfg",
    "inspect kept/qvalgo-cust.datbak",
    "check c.cfg",
]
# What a failed call may end with, when it cannot be done without.
CODES = {"read": {1, 4}, "fsync": {5}, "rename": {5}, "renameat": {5}, "mkdtemp": {5}, "write": {1, 5}, "mkdir": {5},
         "fchmod": {5}, "fgetc": {4}, "close": {5}, "fclose": {4, 5}, "fread": {4, 5}, "pipe2": {1}, "pwrite": {5}}
OTHERS = {4, 5}
EVERY_CALL = 70 # up to here every one, then every 61st: what the processes of a command do is the same
SIGNALS = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]


def content(folder):
    found = {}
    for at, folders, files in os.walk(folder):
        for name in files + folders:
            path = os.path.join(at, name)
            found[os.path.relpath(path, folder)] = open(path, "rb").read() if name in files else None
    return found


def timeless(text):
    return re.sub(rb'.*(speed  |"events_per_s").*', b"", text)


def run(command, inputs, fault={}):
    with tempfile.TemporaryDirectory() as work:
        folder, temporary = os.path.join(work, "in"), os.path.join(work, "tmp")
        shutil.copytree(inputs, folder)
        os.mkdir(temporary)
        log = os.path.join(work, "log")
        done = subprocess.run([TOOL, *command.split()], cwd=folder, capture_output=True, start_new_session=True, timeout=60,
                              env={**os.environ, "TMPDIR": temporary, **(fault and {
                                  "LD_PRELOAD": LIBRARY, "QV6D_FAULT_LOG": log, **fault})})
        call = open(log).read().split()[0] if os.path.exists(log) else None
        return done.returncode, timeless(done.stdout), done.stderr, content(folder), os.listdir(temporary), call


def complaint(command, inputs, whole, number, signalled):
    """What is wrong when call `number` fails; None at the end of the calls."""
    fault = {"QV6D_FAULT_AT": str(number)}
    sent = SIGNALS[number % len(SIGNALS)]
    if signalled:
        fault["QV6D_FAULT_SIGNAL"] = str(int(sent))
    code, out, err, files, left, call = run(command, inputs, fault)
    if call is None:
        return None
    wrong = [f"left {left}"] if left else []
    before = content(inputs)
    if code == whole[0]:
        wrong += [] if (out, files) == (whole[1], whole[3]) else ["success with other results"]
        wrong += ["it goes unnoticed"] if call == "fsync" and not signalled else []
    else:
        allowed = {128 + sent} if signalled else CODES.get(call, OTHERS)
        wrong += [] if code in allowed else [f"exit code {code}"]
        named = signalled or call == "pipe2" or any(word in err + out for word in (b".c", b".log", b"kept", b"qv6d-", b"standard ", b"logger", b"a file in"))
        wrong += [] if named else ["the error names no file"]
        for name in files.keys() | before.keys():
            if name in files and files[name] not in (before.get(name, b"?"), whole[3].get(name, b"?")):
                marked = signalled and files[name].splitlines()[-1].startswith(b"# interrupted after")
                wrong += [] if marked else [f"{name} is half written, or left"]
            if name not in files:
                wrong.append(f"{name} is gone")
    return wrong and f"{command}, {'signal at ' if signalled else ''}call {number}, {call}: {'; '.join(wrong)}: {err[-300:]!r}"


def check(command, inputs, signalled):
    whole = run(command, inputs)
    faults, numbers = [], iter([*range(1, EVERY_CALL), *range(EVERY_CALL, 10000, 61)])
    tried = 0
    with ThreadPoolExecutor(4) as several:
        while True:
            some = [next(numbers) for _ in range(8)]
            found = list(several.map(lambda n: complaint(command, inputs, whole, n, signalled), some))
            faults += [f for f in found if f]
            tried += sum(f is not None for f in found)
            if None in found:
                return tried, faults


def make_inputs(inputs):
    def tool(*arguments):
        subprocess.run([TOOL, *arguments], cwd=inputs, check=True, capture_output=True)
    tool("simulate", "--duration", "3", "--offset", "20,30,-40", "-o", "a.csv")
    tool("simulate", "--duration", "2", "-o", "b.csv")
    tool("simulate", "--duration", "2", "--motion", "still", "-o", "still.csv")
    for name, text in ("c.cfg", "hcal.readycnt = 2\n"), ("narrow.cfg", "hcal.motion.sendiffmin = 90\n"), ("rows.csv", "old\n"):
        with open(os.path.join(inputs, name), "w") as file:
            file.write(text)
    tool("replay", "a.csv", "--state", "kept", "--config", "c.cfg")
    os.mkdir(os.path.join(inputs, "logger"))
    for sensor, name in ("acc", "TotalAcceleration"), ("mag", "MagnetometerUncalibrated"):
        with open(os.path.join(inputs, "logger", name + ".csv"), "w") as file:
            file.write("time,seconds_elapsed,z,y,x\n")
            for line in open(os.path.join(inputs, "b.csv")):
                fields = line.strip().split(",")
                if fields[1] == sensor:
                    file.write(f"{fields[0]},0,{fields[4]},{fields[3]},{fields[2]}\n")


with tempfile.TemporaryDirectory() as inputs:
    make_inputs(inputs)
    all_faults = []
    for command in COMMANDS:
        for signalled in (False, True):
            calls, faults = check(command, inputs, signalled)
            print(f"{command}: {calls} calls {'with a signal' if signalled else 'failed'}, {len(faults)} faults", flush=True)
            if calls < 3:
                faults.append(f"{command}: only {calls} calls were counted")
            all_faults += faults
    print("\n".join(all_faults))
    sys.exit(bool(all_faults))
