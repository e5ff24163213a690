"""Every command's JSON is what docs/qv6d.schema.json says: json_test.py QV6D PROJECT."""

import copy
import json
import os
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    print("python3-jsonschema is not installed")
    sys.exit(77)

qv6d, project = map(os.path.abspath, sys.argv[1:])
with open(f"{project}/docs/qv6d.schema.json", encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)


def documents(*arguments, code=0):
    done = subprocess.run([qv6d, *arguments], encoding="utf-8", stdout=subprocess.PIPE)
    assert done.returncode == code, f"{arguments}: exit code {done.returncode}"
    all_of_it = done.stdout.splitlines() if done.stdout.startswith('{"schema"') else [done.stdout]
    found = [json.loads(text) for text in all_of_it]
    for document in found:
        for fault in validator.iter_errors(document):
            sys.exit(f"{arguments}: {list(fault.absolute_path)}: {fault.message}")
        assert document["command"] == arguments[0]
    return found


def refused(document, change):
    changed = copy.deepcopy(document)
    change(changed)
    assert not validator.is_valid(changed), "the schema takes anything"


def write(name, text):
    with open(name, "w", encoding="utf-8") as out:
        out.write(text)


folder = tempfile.TemporaryDirectory()
os.chdir(folder.name)
subprocess.run([qv6d, "simulate", "--seed", "7", "--noise", "0.3", "--offset", "120,-45,-300", "-o", "a.csv"], check=True)
subprocess.run([qv6d, "simulate", "--motion", "still", "--duration", "5", "-o", "still.csv"], check=True)
subprocess.run([qv6d, "simulate", "--rate", "200", "--seed", "7", "-o", "fast.csv"], check=True)
write("debug.cfg", "hcal.endbg=1\nhcal.motion.endbg=1\nhcal.rlsm.endbg=1\n")
write("odd.cfg", "# comment\nhcal.rbufsize = 64\nhcal.rbufsiz = 30\nhcal.enhthr =\n")
subprocess.run([qv6d, "replay", "a.csv", "--config", "debug.cfg", "--log", "host.log", "-o", "rows"], check=True)
write("none.csv", "t_ns,sensor,x,y,z\n0,acc,0,0,9.81\n")

# A recording says the same to both commands, and so does its log, as far as it has times.
replayed, = documents("replay", "a.csv", "--json", "--state", "kept", "--true-offset", "120,-45,-300")
for arguments in ("a.csv",), ("a.csv", "--counts"):
    explained, = documents("explain", *arguments, "--json")
    for verdict in "calibration", "trust", "plausibility":
        assert explained[verdict] == replayed[verdict]
assert replayed["trust"]["verdict"] == "held"
fast, = documents("explain", "fast.csv", "--json", "--counts")
said = fast["advice"][0]["tried"]
tried, = documents("replay", "fast.csv", "--json", "--every", str(said["every"]))
assert said["keys"] == {} and tried["calibration"]["first_grade_s"]["3"] == said["calibrates_s"]
logged, = documents("explain", "host.log", "--json", "--log-rate", "50")
assert logged["calibration"]["verdict"] == "calibrated" and logged["calibration"]["since_s"] == 11.56
untimed, = documents("explain", "host.log", "--json")
assert untimed["calibration"]["since_s"] is None and untimed["happened"][0]["t_s"] is None

# Nothing learnt, nothing used, lost: figures that are not there are null.
for recording in "still.csv", "none.csv":
    empty, = documents("replay", recording, "--json", "--true-offset", "1,2,3")
    assert empty["calibration"]["offset_ut"] is None and empty["offset_error_ut"] is None
subprocess.run([qv6d, "simulate", "--seed", "7", "--noise", "0.3", "--duration", "40", "--step", "30,500,0,0", "-o",
                "jump.csv"], check=True)
lost, = documents("replay", "jump.csv", "--json")
assert lost["calibration"]["verdict"] == "lost" and lost["calibration"]["since_s"] is None

# Of several, each line says what the replay of that one says; a recording that is not there has a line too.
several = documents("replay", "a.csv", "nowhere.csv", "jump.csv", "--json", "--true-offset", "120,-45,-300", code=4)
for of_several, alone in (several[0], replayed), (several[2], lost):
    assert of_several["calibration"] == alone["calibration"] and of_several["raw_norm_ut"] == alone["raw_norm_ut"]
assert several[0]["offset_error_ut"] == replayed["offset_error_ut"] and several[1]["error"]["exit_code"] == 4

# A requirement that is not met is said, and ends with a code of its own.
for within, code in ("12", 0), ("11", 6):
    required, = documents("replay", "a.csv", "--json", "--require-grade", "3", "--within", within, code=code)
    assert required["required"]["met"] == (code == 0)
documents("replay", "jump.csv", "--json", "--require-grade", "3", code=6)

imported, = documents("import", "a.csv", "--json")
assert imported["plausibility"] == replayed["plausibility"] and imported["plausibility"]["findings"] == []

files = [f"kept/qvalgo-cust.{kind}" for kind in ("cfgbak", "datbak")]
for file in files:
    documents("inspect", file, "--json")
    documents("inspect", file, file, "--json")
with open(files[0], "rb") as whole, open("cut", "wb") as cut:
    cut.write(whole.read(300))
documents("inspect", "cut", "--type", "config", "--json", code=3)
documents("inspect", "cut", files[0], "--type", "config", "--json", code=3)
documents("check", "odd.cfg", "--json", code=3)
documents("check", "debug.cfg", "--json")
documents("tune", "a.csv", "still.csv", "--key", "hcal.rbufsize=20,25", "--json")
write("list", "must offset=120,-45,-300 a.csv\nmust-not still.csv\n")
documents("tune", "@list", "--every", "1,5", "--json")

refused(replayed, lambda d: d["calibration"].pop("since_s"))
refused(replayed, lambda d: d["calibration"].update(verdict="Calibrated since 11.6 s"))
refused(explained, lambda d: d.update(trust={"verdict": "held"}))
