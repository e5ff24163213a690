#!/usr/bin/env python3
"""How often the limits that docs/algorithm.md names bite: limits.py QV6D LIBRARY [SEEDS].

Every figure is counted over simulated recordings, whose truth is known: one for each seed and row of a table.
"""

import csv
import ctypes
import json
import math
import os
import pathlib
import random
import statistics
import struct
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

WRONG = 5.0  # microtesla: 12 degrees of heading in a horizontal field of 24
FIELD, DIP = 48.0, 60.0  # of qv6d simulate: microtesla, degrees

QV6D, LIBRARY = sys.argv[1:3]
SEEDS = range(1, int(sys.argv[3]) + 1 if len(sys.argv) > 3 else 101)
WORK = pathlib.Path(tempfile.gettempdir())


def tool(*arguments):
    done = subprocess.run([QV6D, *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        sys.exit(f"qv6d {' '.join(map(str, arguments))}: {done.stderr}")
    return done.stdout


def any_vector(seed, length):
    pick = random.Random(seed)
    v = [pick.gauss(0.0, 1.0) for _ in range(3)]
    return [length * c / math.hypot(*v) for c in v]


def written(v):
    return ",".join(f"{c:.4f}" for c in v)


def added(v, w):
    return [a + b for a, b in zip(v, w)]


def simulated(folder, seed, offset=(0.0, 0.0, 0.0), name="recording.csv", **options):
    path = folder / name
    settings = {"rate": 50, "duration": 60, "noise": 0.3, "motion": "tumble", **options}
    given = [word for key, value in settings.items() for word in ("--" + key.replace("_", "-"), value)]
    tool("simulate", "--seed", seed, "--offset", written(offset), *given, "--output", path)
    return path


def field_samples(path):
    """(seconds, field) of every magnetometer event; the calibration needs no others."""
    with open(path) as file:
        lines = [line.split(",") for line in file if ",mag," in line]
    return [(int(t) / 1e9, [float(x), float(y), float(z)]) for t, _, x, y, z in lines]


def write_recording(path, samples, acceleration=None):
    with open(path, "w") as file:
        file.write("t_ns,sensor,x,y,z\n")
        for t, field in samples:
            if acceleration:
                file.write(f"{round(t * 1e9)},acc,{acceleration[0]},{acceleration[1]},{acceleration[2]}\n")
            file.write(f"{round(t * 1e9)},mag,{field[0]:.9g},{field[1]:.9g},{field[2]:.9g}\n")


def summary(path, *options):
    replayed = json.loads(tool("replay", path, "--json", *options))
    return {**replayed, **replayed["calibration"]}


def rows(path, *options):
    """Rows of a replay as numbers: t_ns, calibrated field, offset, radius, grade, orientation."""
    table = path.with_suffix(".rows")
    tool("replay", path, "--output", table, "--json", *options)
    with open(table, newline="") as file:
        return [[float(value) for value in row] for row in list(csv.reader(file))[1:]]


def happenings(path):
    """Entries of what happened, and the counts last."""
    explained = json.loads(tool("explain", path, "--json"))
    return [*explained["happened"], explained["counts"]]


def offset_error(row, truth):
    return math.dist(row[4:7], truth)


def each(measure, *arguments):
    """measure(folder, seed, ...) for every seed, on all cores."""

    def run(seed):
        with tempfile.TemporaryDirectory(dir=WORK) as folder:
            return measure(pathlib.Path(folder), seed, *arguments)

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return list(pool.map(run, SEEDS))


def middle_and_most(values):
    known = [v for v in values if v is not None]
    return f"{statistics.median(known):.1f}, {max(known):.1f}" if known else "-"


def share(answers):
    answers = list(answers)
    return f"{sum(answers)} of {len(answers)}"


def table(title, head, lines):
    text = [head] + [[str(cell) for cell in line] for line in lines]
    widths = [max(len(line[i]) for line in text) for i in range(len(head))]
    print(f"\n{title}\n")
    for line in text:
        cells = [line[0].ljust(widths[0])] + [cell.rjust(width) for cell, width in zip(line[1:], widths[1:])]
        print("  " + "  ".join(cells).rstrip())
    sys.stdout.flush()


def calibration(folder, seed, options, gyroscope=False):
    truth = any_vector(seed, 20.0)
    path = simulated(folder, seed, truth, **options)
    (folder / "gyroscope.cfg").write_text("env.gyrthr = 0.5\n")
    heard = ["--notify-gyro", "--config", folder / "gyroscope.cfg"] if gyroscope else []
    found = summary(path, "--true-offset", written(truth), *heard)
    return found["first_grade_s"]["3"], found["offset_error_ut"], found["last_grade"]


def calibration_line(label, found):
    reached = [f for f in found if f[0] is not None]
    return [label, f"{len(reached)} of {len(found)}", middle_and_most(f[0] for f in reached),
            middle_and_most(f[1] for f in reached)]


CALIBRATION_HEAD = ["at grade 3 within 60 s", "after s (median, most)", "error µT (median, most)"]


def motions():
    table("Motion, 60 s at 50 Hz, offset of 20 µT", ["motion", *CALIBRATION_HEAD],
          [calibration_line(motion + (", gyroscope" if gyroscope else ""),
                            each(calibration, {"motion": motion}, gyroscope))
           for gyroscope in (False, True) for motion in ("tumble", "figure8", "walk", "pocket", "yaw", "still")])


def rates():
    table("Rate, tumbling for 60 s, offset of 20 µT", ["Hz", *CALIBRATION_HEAD],
          [calibration_line(rate, each(calibration, {"rate": rate})) for rate in (12.5, 25, 50, 100, 200)])


def first_offset(folder, seed, offset, motion):
    """Whether the first validated offset was thrown away, how wrong it was, and when grade 3 was first shown."""
    truth = any_vector(seed, offset)
    rate = random.Random(seed).uniform(25.0, 75.0)  # as if it were waved slower or faster
    told = happenings(simulated(folder, seed, truth, duration=30, motion=motion, rate=rate))[:-1]
    thrown = [h for h in told if h["reset"] == "clear_radius"]
    error = math.dist(thrown[0]["estimate"]["offset_ut"], truth) if thrown else None
    return bool(thrown), error, min((h["t_s"] for h in told if h["grade"] == 3), default=None)


def clear_radius():
    lines = []
    for motion in ("tumble", "figure8"):
        for offset in (0, 10, 20, 50, 100, 200, 400, 800):
            found = each(first_offset, float(offset), motion)
            lines.append([f"{motion}, {offset} µT", share(f[0] for f in found),
                          middle_and_most(f[1] for f in found), share(f[2] is not None for f in found),
                          middle_and_most(f[2] for f in found)])
    table("Clear-radius check, the first 30 s, a rate from 25 to 75 Hz",
          ["offset", "first offset thrown away", "its error µT (median, most)", "at grade 3", "after s (median, most)"],
          lines)


def a_minute_and(after, folder, seed, truth, disturbance):
    """A minute of turning by hand, then a minute of something else, with disturbance(seconds) added."""
    first = field_samples(simulated(folder, seed, truth))
    second = field_samples(simulated(folder, seed + 1000, truth, "second.csv", motion=after))
    path = folder / "both.csv"
    write_recording(path, [(t, added(field, disturbance(t)))
                           for t, field in first + [(t + 60.0, field) for t, field in second]])
    return path


def wrong_while_best(path, truth, start, *options):
    """Seconds at grade 3 with a wrong offset after `start`, the lowest grade, and the last row."""
    later = [r for r in rows(path, *options) if r[0] / 1e9 >= start]
    wrong = sum(1 for r in later if r[8] == 3 and offset_error(r, truth) > WRONG)
    return wrong / 50.0, min(r[8] for r in later), later[-1]


def step_of_offset(folder, seed, size, after, by_distance):
    truth, step = any_vector(seed, 20.0), any_vector(f"{seed} again", size)
    path = a_minute_and(after, folder, seed, truth, lambda t: step if t >= 60.0 else (0.0, 0.0, 0.0))
    truth = added(truth, step)
    (folder / "by_distance.cfg").write_text("hcal.accuracy[0] = 20\nhcal.accuracy[1] = 10\nhcal.incmask = 4\n")
    graded = ["--config", folder / "by_distance.cfg"] if by_distance else []
    wrong, lowest, last = wrong_while_best(path, truth, 60.0, *graded)
    return wrong, lowest < 3, last[8] == 3 and offset_error(last, truth) <= WRONG


def steps():
    lines = []
    for by_distance in (False, True):
        for after in ("tumble", "still"):
            for size in (0, 10, 30, 100, 300):
                found = each(step_of_offset, float(size), after, by_distance)
                lines.append([f"{after}, {size} µT" + (", by distance" if by_distance else ""),
                              middle_and_most(f[0] for f in found), share(f[1] for f in found),
                              share(f[2] for f in found)])
    table("Step of the offset after a minute of tumbling, and a minute more",
          ["then", "grade 3 with the old one, s (median, most)", "grade fell", "right, grade 3 at the end"], lines)


def magnet_passes(folder, seed, peak, after):
    truth, near = any_vector(seed, 20.0), any_vector(f"{seed} again", peak)
    path = a_minute_and(after, folder, seed, truth, lambda t: [c * math.exp(-0.5 * (t - 70.0) ** 2) for c in near])
    wrong, lowest, last = wrong_while_best(path, truth, 60.0)
    return wrong, lowest < 3, last[8] == 3 and offset_error(last, truth) <= WRONG


def magnets():
    lines = []
    for after in ("tumble", "still"):
        for peak in (10, 30, 100, 400):
            found = each(magnet_passes, float(peak), after)
            lines.append([f"{after}, {peak} µT", share(f[0] > 0.0 for f in found),
                          middle_and_most(f[0] for f in found if f[0] > 0.0), share(f[1] for f in found),
                          share(f[2] for f in found)])
    table("A magnet passes (1 s to each side of its peak), 50 s before the end",
          ["while", "grade 3 with a wrong offset", "for s (median, most)", "grade fell", "right, grade 3 at the end"],
          lines)


def soft_iron(folder, seed, stretch, corrected):
    truth = any_vector(seed, 20.0)
    path = simulated(folder, seed, truth, soft_iron=f"{1 + stretch},0,0,0,1,0,0,0,{1 - stretch}")
    options = []
    if corrected:
        customer = folder / "simtx.cfg"
        customer.write_text(f"env.simtx[0][0] = {1 / (1 + stretch)}\nenv.simtx[2][2] = {1 / (1 - stretch)}\n")
        options = ["--config", customer]
        truth = [truth[0] / (1 + stretch), truth[1], truth[2] / (1 - stretch)]
    later = [r for r in rows(path, *options) if r[0] / 1e9 >= 30.0]
    best = [r for r in later if r[8] == 3]
    if not best:
        return 0.0, None, None
    norms = [math.hypot(*r[1:4]) for r in best]
    return len(best) / len(later), max(offset_error(r, truth) for r in best), statistics.pstdev(norms)


def soft_irons():
    lines = []
    for stretch, corrected in ((0.0, False), (0.02, False), (0.05, False), (0.1, False), (0.2, False), (0.3, False),
                               (0.3, True)):
        found = each(soft_iron, stretch, corrected)
        label = f"{1 + stretch:g}, 1, {1 - stretch:g}" + (", env.simtx set" if corrected else "")
        lines.append([label, f"{100 * statistics.mean(f[0] for f in found):.0f} %",
                      middle_and_most(f[1] for f in found), middle_and_most(f[2] for f in found)])
    table("Soft iron: field along the axes times these, tumbling for 60 s, the last 30 s",
          ["factors", "time at grade 3", "worst error µT (median, most)", "scatter of the norm µT (median, most)"],
          lines)


def resumed(folder, seed, near):
    truth = any_vector(seed, 20.0)
    state = folder / "state"
    if summary(simulated(folder, seed, truth), "--state", state)["last_grade"] != 3:
        return None
    path = simulated(folder, seed, added(truth, any_vector(f"{seed} again", near)), "second.csv", motion="still", duration=2)
    return summary(path, "--state", state)["last_grade"] != 3


def restarts():
    lines = []
    for near in (0, 5, 10, 20, 50, 100):
        found = [f for f in each(resumed, float(near)) if f is not None]
        lines.append([f"{near} µT", share(found)])
    table("A stored calibration resumed at rest beside a magnet", ["magnet", "thrown away"], lines)


def lag(folder, seed, motion, rate):
    truth = any_vector(seed, 20.0)
    path = simulated(folder, seed, truth, motion=motion, rate=rate, noise=0.1)
    squares = [math.dist(r[1:4], [a - b for a, b in zip(field, truth)]) ** 2
               for r, (t, field) in zip(rows(path), field_samples(path)) if r[8] == 3 and t >= 30.0]
    return math.sqrt(statistics.mean(squares)) if squares else None


def lags():
    lines = [[f"{motion}, {rate} Hz", middle_and_most(each(lag, motion, rate))]
             for motion in ("tumble", "figure8") for rate in (50, 100)]
    table("Calibrated field against raw field less true offset, while turned at grade 3",
          ["motion", "distance µT (root mean square; median, most)"], lines)


def azimuth(folder, seed, offset):
    truth = folder / "truth.csv"
    path = simulated(folder, seed, any_vector(seed, offset), motion="yaw", duration=10, truth=truth)
    with open(truth, newline="") as file:
        headings = [math.degrees(-2.0 * math.atan2(float(r[4]), float(r[1]))) for r in list(csv.reader(file))[1:]]
    return max(abs((row[9] - heading + 180.0) % 360.0 - 180.0) for row, heading in zip(rows(path), headings))


def azimuths():
    table(f"Azimuth of a level device, horizontal field of {FIELD * math.cos(math.radians(DIP)):.0f} µT",
          ["offset", "largest error, degrees (median, most)"],
          [[f"{offset} µT", middle_and_most(each(azimuth, float(offset)))] for offset in (0, 2, 5, 10, 20, 50)])


def tilted(folder, seed, tilt, both):
    """Error of the azimuth of a device at rest, tilted about any axis or about x or y alone; no offset, no noise."""
    pick = random.Random(seed)
    heading, towards, angle = pick.uniform(0.0, 2.0 * math.pi), pick.uniform(0.0, 2.0 * math.pi), math.radians(tilt)
    if not both:
        towards = round(2.0 * towards / math.pi) * math.pi / 2.0
    axis = (math.cos(towards), math.sin(towards), 0.0)

    def to_device(v):  # Rodrigues
        dot = sum(a * c for a, c in zip(axis, v))
        cross = (axis[1] * v[2] - axis[2] * v[1], axis[2] * v[0] - axis[0] * v[2], axis[0] * v[1] - axis[1] * v[0])
        return [c * math.cos(angle) + x * math.sin(angle) + a * dot * (1.0 - math.cos(angle))
                for a, c, x in zip(axis, v, cross)]

    east = to_device((math.cos(heading), math.sin(heading), 0.0))
    north = to_device((-math.sin(heading), math.cos(heading), 0.0))
    up = to_device((0.0, 0.0, 1.0))
    dip = math.radians(DIP)
    field = [FIELD * (math.cos(dip) * n - math.sin(dip) * u) for n, u in zip(north, up)]
    path = folder / "tilted.csv"
    write_recording(path, [(0.02 * k, field) for k in range(30)], [9.81 * u for u in up])
    truth = math.degrees(math.atan2(east[1], north[1]))  # where the y axis points
    return abs((rows(path)[-1][9] - truth + 180.0) % 360.0 - 180.0)


def tilts():
    table("Azimuth of a device at rest, no offset, no noise", ["tilt", "x or y axis: error, degrees", "any axis"],
          [[f"{tilt} degrees", *(middle_and_most(each(tilted, tilt, both)) for both in (False, True))]
           for tilt in (0, 2, 5, 8, 10, 15, 30, 45, 60, 80, 100, 150)])


def inclination_lost(folder, path):
    tool("replay", path, "--json", "--state", folder / "state")
    fields = json.loads(tool("inspect", folder / "state" / "qvalgo-cust.datbak", "--json"))["records"][0]["fields"]
    return [f["value"] for f in fields if f["name"] == "fusion.bak.inclination"] == ["nan"]


def exactly_level(folder, seed, tilt):
    turn, dip = 2.0 * math.pi * random.Random(seed).random(), math.radians(tilt)
    field = [FIELD * math.cos(dip) * math.sin(turn), FIELD * math.cos(dip) * math.cos(turn), -FIELD * math.sin(dip)]
    path = folder / "level.csv"
    write_recording(path, [(0.02 * k, field) for k in range(50)], (0.0, 0.0, 9.81))
    return inclination_lost(folder, path)


def noisy_level(folder, seed):
    return inclination_lost(folder, simulated(folder, seed, motion="yaw", dip=0))


def inclinations():
    table("Stored inclination not a number, device level", ["dip of the field", "recordings"],
          [[f"{tilt:g} degrees, acceleration exactly along z", share(each(exactly_level, tilt))]
           for tilt in (0.0, 1e-6, 1e-5, 1.0)] + [["0 degrees, noisy sensors, 60 s of turning", share(each(noisy_level))]])


class fit:
    """The sphere fits of the library, which are exported by name: state of configuration, backup and window."""

    library = ctypes.CDLL(os.path.abspath(LIBRARY))
    CFG, X = 56, 56 + 32  # bytes: of the configuration; of it and the state vector

    def __init__(self, seed=None):
        self.state, cfg, bak = (ctypes.create_string_buffer(size) for size in (4096, 56, 200))
        self.library.qvrlsm_get_default_cfg(cfg)
        self.library.qvrlsm_get_bak(bak, cfg)
        self.library.qvrlsm_init(self.state, cfg, bak)
        if seed:
            self.state[self.CFG:self.X] = struct.pack("<4d", *seed, FIELD**2 - sum(c * c for c in seed))

    def centre(self):
        return struct.unpack("<4d", self.state[self.CFG:self.X])[:3]

    def batch(self, samples):
        packed = (ctypes.c_double * (3 * len(samples)))(*(c for sample in samples for c in sample))
        assert self.library.qvrlsm_lsm(self.state, packed, len(samples)) == 0
        return self.centre()

    def recursive(self, samples):
        for sample in samples:
            self.library.qvrlsm_update(self.state, *(ctypes.c_double(c) for c in sample))
        return self.centre()


def patch(seed, centre, half_angle, count):
    """Exact points of a sphere, all over it or around one point so that every axis spans at least 15 microtesla."""
    for attempt in range(10**6):
        pick = random.Random(f"{seed} {attempt}")
        points = [[0.0, 0.0, 1.0]] if half_angle < math.pi else []
        while len(points) < count:
            v = [pick.gauss(0.0, 1.0) for _ in range(3)]
            v = [c / math.hypot(*v) for c in v]
            if not points or math.acos(v[2]) <= half_angle:
                points.append(v)
        turn = [any_vector(f"{seed} {attempt} {axis}", 1.0) for axis in range(3)]
        x = turn[0]
        along = sum(a * b for a, b in zip(turn[1], x))
        y = [b - along * a for a, b in zip(x, turn[1])]
        y = [c / math.hypot(*y) for c in y]
        z = [x[1] * y[2] - x[2] * y[1], x[2] * y[0] - x[0] * y[2], x[0] * y[1] - x[1] * y[0]]
        placed = [[c + FIELD * (p[0] * a + p[1] * b + p[2] * d) for c, a, b, d in zip(centre, x, y, z)] for p in points]
        if all(max(axis) - min(axis) >= 15.0 for axis in zip(*placed)):
            return placed


def batch_error(_, seed, size, half_angle):
    centre = any_vector(seed, size)
    return math.dist(fit().batch(patch(seed, centre, half_angle, 25)), centre)


def seed_error(_, seed, count):
    centre = any_vector(seed, 20.0)
    wrong = added(centre, any_vector(f"{seed} again", 10.0))
    return math.dist(fit(wrong).recursive(patch(seed, centre, math.pi, count)), centre)


def covariance(_, seed, size):
    """How far a long-fed covariance is from symmetric, relative to its diagonal, and whether it is positive definite."""
    centre = any_vector(seed, size)
    long_fed = fit(centre)
    for k in range(40):
        long_fed.recursive(patch(f"{seed} {k}", centre, math.radians(35.0), 25))
    p = [list(row) for row in struct.iter_unpack("<4d", long_fed.state[fit.X:fit.X + 128])]
    scale = [math.sqrt(abs(p[i][i])) for i in range(4)]
    p = [[p[i][j] / (scale[i] * scale[j]) for j in range(4)] for i in range(4)]
    skew = max(abs(p[i][j] - p[j][i]) for i in range(4) for j in range(4))
    for k in range(4):  # elimination: every pivot must stay above 0
        for i in range(k + 1, 4):
            p[i] = [a - p[i][k] / p[k][k] * b for a, b in zip(p[i], p[k])]
    return skew, all(p[k][k] > 0.0 for k in range(4))


def fits():
    def shown(errors):
        return f"{statistics.median(errors):.1e}, {max(errors):.1e}"

    table("Batch fit of 25 exact samples: error µT (median, most)", ["offset", "all over the sphere", "within 20 degrees"],
          [[f"{size} µT", *(shown(each(batch_error, float(size), angle)) for angle in (math.pi, math.radians(20.0)))]
           for size in (0, 100, 300, 600, 1000)])
    lines = []
    for size in (100, 600):
        found = each(covariance, float(size))
        lines.append([f"{size} µT", f"{max(f[0] for f in found):.1e}", share(f[1] for f in found)])
    table("Covariance after 1000 samples within 35 degrees of a point, another one for each 25",
          ["offset", "farthest from symmetric", "positive definite"], lines)
    table("Recursive fit from a seed that is wrong by 10 µT, exact samples all over the sphere",
          ["samples", "error µT (median, most)"], [[n, middle_and_most(each(seed_error, n))] for n in (5, 13, 25, 50)])


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as work:
        WORK = pathlib.Path(work)
        print(f"{len(SEEDS)} seeds")
        for part in (fits, motions, rates, clear_radius, steps, magnets, soft_irons, restarts, lags, azimuths, tilts,
                     inclinations):
            part()
