"""How good the service layer's bias, bound, status and heading are: the same simulated uses, put through service_rows."""

import bisect
import math
import subprocess
import tempfile
from array import array
from collections import namedtuple
from pathlib import Path

from cases import CASES
from figures import quantile, run_of, summary_of
from simulated import Simulated

# Status and bound have nothing to do with the library's grades, and spans are the layer's own.
ROWS = [case for case in CASES if not case.name.startswith(("strict", "wide")) and case.name != "worst-50-strict"]

MOTIONS = ("tumble", "walk", "pocket", "gesture", "figure8")
RATES = (50, 100)  # Hz
USABLE = 2  # status from which on a heading is judged
SAME_TIME = 8_000_000  # ns between a row and its reference
LEVEL = 0.1  # horizontal share of the y axis below which it has no heading

Row = namedtuple("Row", "t status bias error_bound q azimuth heading_bound")


def rows_of(text):
    for line in text.splitlines()[1:]:
        v = line.split(",")
        yield Row(int(v[0]), int(v[1]), tuple(map(float, v[3:6])), float(v[7]), tuple(map(float, v[8:12])),
                  float(v[12]), float(v[13]))


def served(program, arguments, stdin=None):
    done = subprocess.run([program, *arguments], stdin=stdin, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(done.stderr)
    return rows_of(done.stdout)


def uses(tool, program, simulated):
    with tempfile.NamedTemporaryFile("w", suffix=".cfg") as config, \
            subprocess.Popen([tool, "simulate", *simulated.options()], stdout=subprocess.PIPE) as recording:
        config.write(simulated.customer_file())
        config.flush()
        return list(served(program, ["-", "--counts", "--config", config.name], recording.stdout))


def measure(tool, program, case, seed):
    """The run, and of all samples at status 1 and above the error and its bound."""
    simulated = Simulated(case, seed)
    rows = uses(tool, program, simulated)
    errors = [math.dist(row.bias, simulated.offset_at(row.t / 1e9)) for row in rows]
    run = run_of([(row.t / 1e9, error, row.status) for row, error in zip(rows, errors)], case.upset)
    shown = [(error, row.error_bound) for row, error in zip(rows, errors) if row.status >= 1]
    return run, array("d", (e for e, _ in shown)), array("d", (b for _, b in shown))


def summary(measured):
    """As of the library, and how often the bound holds and how much wider than the real 95 % it is."""
    errors = [e for _, of_run, _ in measured for e in of_run]
    bounds = [b for _, _, of_run in measured for b in of_run]
    real = quantile(errors, 0.95)
    return summary_of([run for run, _, _ in measured]) | {
        "holds_percent": 100.0 * sum(e <= b for e, b in zip(errors, bounds)) / len(errors) if errors else None,
        "bound_ut": quantile(bounds, 0.5), "real_95_ut": real,
    }


def turned(q, v):
    w, x, y, z = q
    tx, ty, tz = (2 * (y * v[2] - z * v[1]), 2 * (z * v[0] - x * v[2]), 2 * (x * v[1] - y * v[0]))
    return (v[0] + w * tx + y * tz - z * ty, v[1] + w * ty + z * tx - x * tz, v[2] + w * tz + x * ty - y * tx)


def heading_of(q):
    """Degrees clockwise from north, and the horizontal share of the y axis."""
    east, north, _ = turned(q, (0, 1, 0))
    return math.degrees(math.atan2(east, north)), math.hypot(east, north)


def truth_of(path):
    lines = Path(path).read_text().splitlines()[1:]
    return {int(t): tuple(map(float, q)) for t, *q in (line.split(",") for line in lines)}


def heading_errors(rows, truth):
    """(error, bound), degrees, of the usable rows whose true attitude is known and has a heading."""
    found = []
    for row in rows:
        if row.status < USABLE or row.t not in truth:
            continue
        heading, share = heading_of(truth[row.t])
        if share >= LEVEL:
            found.append((abs(math.remainder(row.azimuth - heading, 360.0)), row.heading_bound))
    return found


def heading(tool, program, motion, rate, gyroscope, seed):
    """Of two minutes of a motion, calibrated by a minute of tumbling in front."""
    with tempfile.TemporaryDirectory() as folder:
        recording, truth = f"{folder}/recording.csv", f"{folder}/truth.csv"
        options = ["--state", folder] + ([] if gyroscope else ["--without-gyroscope"])
        common = ["--rate", str(rate), "--offset", "120,-45,-300", "--noise", "0.3", "-o", recording]
        subprocess.run([tool, "simulate", "--seed", str(seed), *common], check=True)
        list(served(program, [recording, *options]))
        subprocess.run([tool, "simulate", "--seed", str(seed + 100), "--duration", "120", "--motion", motion,
                        "--heading", str(37 * seed), "--truth", truth, *common], check=True)
        return heading_errors(served(program, [recording, *options]), truth_of(truth))


def nearest(times, t):
    place = bisect.bisect_left(times, t)
    return min(times[max(0, place - 1):place + 1], key=lambda other: abs(other - t))


def against_reference(program, recording, reference, gyroscope):
    """As heading_errors, of a recording whose attitude something else has measured too, with a north of its own."""
    truth = truth_of(reference)
    times = sorted(truth)
    found = []
    for row in served(program, [recording] + ([] if gyroscope else ["--without-gyroscope"])):
        t = nearest(times, row.t)
        heading, share = heading_of(truth[t])
        if row.status >= USABLE and abs(t - row.t) <= SAME_TIME and share >= LEVEL:
            found.append((row.azimuth - heading, row.heading_bound))
    north = math.degrees(math.atan2(sum(math.sin(math.radians(e)) for e, _ in found),
                                    sum(math.cos(math.radians(e)) for e, _ in found)))
    return north, [(abs(math.remainder(e - north, 360.0)), bound) for e, bound in found]


def heading_summary(found):
    errors = [e for e, _ in found]
    return {
        "median": quantile(errors, 0.5), "of_95_percent": quantile(errors, 0.95), "worst": max(errors, default=None),
        "holds_percent": 100.0 * sum(e <= b for e, b in found) / len(found) if found else None,
    }
