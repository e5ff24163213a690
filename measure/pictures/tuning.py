#!/usr/bin/env python3
"""The pictures of docs/tuning.md: tuning.py QV6D FOLDER simulates, replays and draws."""

import csv
import json
import math
import os
import subprocess
import sys
import tempfile

import chart

plt = chart.plt
OFFSET = "120,-45,-300"


class Tool:
    """qv6d, with its files in a folder that goes away."""

    def __init__(self, program, folder):
        self.program, self.folder, self.made = os.path.abspath(program), folder, {}

    def run(self, *arguments):
        return subprocess.run([self.program, *map(str, arguments)], check=True, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, encoding="utf-8", cwd=self.folder).stdout

    def path(self, name):
        return os.path.join(self.folder, name)

    def recording(self, **options):
        """A simulated recording, made once for the same options."""
        key = json.dumps(options, sort_keys=True)
        if key not in self.made:
            self.made[key] = f"{len(self.made)}.csv"
            options = {"offset": OFFSET, "noise": 0.3, **options}
            self.run("simulate", *(f"--{name}={value}" for name, value in options.items()), "-o", self.made[key])
        return self.made[key]

    def config(self, keys):
        with open(self.path("keys.cfg"), "w", encoding="utf-8") as file:
            file.writelines(f"{key} = {value}\n" for key, value in keys.items())
        return "keys.cfg"

    def replay(self, recording, keys, *options):
        """Every sample's results: columns of numbers by name, with seconds as t."""
        self.run("replay", recording, "--config", self.config(keys), "--output", "rows.csv", *options)
        with open(self.path("rows.csv"), encoding="utf-8") as file:
            rows = [list(map(float, row)) for row in list(csv.reader(file))[1:]]
        names = "t_ns cal_x cal_y cal_z off_x off_y off_z radius grade azimuth pitch roll".split()
        columns = dict(zip(names, zip(*rows)))
        columns["t"] = [(t - columns["t_ns"][0]) / 1e9 for t in columns["t_ns"]]
        return columns

    def explain(self, recording, keys, *options):
        return json.loads(self.run("explain", recording, "--config", self.config(keys), "--json", *options))

    def tune(self, recordings, *options):
        """A dictionary per combination."""
        return [json.loads(line) for line in self.run("tune", *recordings, "--json", *options).splitlines()]


def norm(x, y, z):
    return (x * x + y * y + z * z) ** 0.5


def median(values):
    """None, for never, counts as the largest."""
    ordered = sorted(values, key=lambda value: float("inf") if value is None else value)
    return ordered[len(ordered) // 2]


def turned(tool, count=9, **options):
    return [tool.recording(seed=seed, duration=60, **options) for seed in range(1, count + 1)]


def cells(axes, values, rows, columns, scale=(2, 60), unit=""):
    """Coloured cells with numbers; values by (row, column), None for never."""
    for i, row in enumerate(rows):
        for j, column in enumerate(columns):
            value = values[row, column]
            share = 0 if value is None else math.log(max(value, scale[0]) / scale[0]) / math.log(scale[1] / scale[0])
            color = "#eeeeee" if value is None else plt.cm.YlGnBu(min(share, 1) * 0.7)
            text = "never" if value is None else f"{value:.0f}{unit}" if value >= 9.95 or unit else f"{value:.1f}"
            axes.add_patch(plt.Rectangle((j, i), 1, 1, fc=color, ec="white", lw=1.5))
            axes.text(j + 0.5, i + 0.5, text, ha="center", va="center", fontsize=8)
    axes.set(xlim=(0, len(columns)), ylim=(0, len(rows)), xticks=[j + 0.5 for j in range(len(columns))],
             yticks=[i + 0.5 for i in range(len(rows))], xticklabels=columns, yticklabels=rows)
    axes.grid(False)


def first_grade_3(tool, recordings, keys):
    """When it is reached, the median, and what the offset then misses, at worst."""
    times, errors = [], []
    for recording in recordings:
        r = tool.replay(recording, keys)
        k = next((k for k, grade in enumerate(r["grade"]) if grade == 3), None)
        times.append(None if k is None else r["t"][k])
        if k is not None:
            errors.append(norm(r["off_x"][k] - 120, r["off_y"][k] + 45, r["off_z"][k] + 300))
    return median(times), max(errors, default=None)


def rate(tool):
    every = {8: 25, 5: 40, 4: 50, 2: 100, 1: 200}
    sizes = [10, 15, 20, 25, 30, 35, 40]
    figure, both = plt.subplots(1, 2, figsize=(9, 3.2), sharey=True)
    for axes, motion in zip(both, ("tumble", "figure8")):
        results = tool.tune(turned(tool, rate=200, motion=motion), "--every", "1,2,4,5,8",
                            "--key", "hcal.rbufsize=" + ",".join(map(str, sizes)))
        times = {(result["keys"]["hcal.rbufsize"], every[result["every"]]):
                 median([one["time_s"] for one in result["recordings"]]) for result in results}
        cells(axes, times, sizes, list(every.values()))
        axes.set(xlabel="samples per second", title="turned by hand" if motion == "tumble" else "waved in a figure of eight")
    both[0].set_ylabel("hcal.rbufsize")
    return figure


def with_a_step(tool, step, at, **options):
    """A recording whose offset changes on the way, as when a magnet is fixed to the device."""
    before, after = (tool.recording(**options, offset=",".join(map(str, offset)))
                     for offset in ((120, -45, -300), [a + b for a, b in zip((120, -45, -300), step)]))
    with open(tool.path(before), encoding="utf-8") as first, open(tool.path(after), encoding="utf-8") as second:
        lines = [b if a[0] != "t" and int(a.split(",")[0]) >= at * 1e9 else a for a, b in zip(first, second)]
    name = f"step-{before}"
    with open(tool.path(name), "w", encoding="utf-8") as file:
        file.writelines(lines)
    return name


def forgetting(tool):
    figure, (shown, followed, missed) = plt.subplots(1, 3, figsize=(11, 3.2), gridspec_kw={"width_ratios": [2, 1.2, 1.2]})
    step, at = (12, -9, 8), 30
    truth = [120 + step[0], -45 + step[1], -300 + step[2]]
    recordings = [with_a_step(tool, step, at, rate=25, seed=seed, duration=90, noise=0.5) for seed in range(1, 10)]
    weights = [0.95, 0.97, 0.98, 0.988, 0.993, 0.997, 1.0]
    times, errors = [], []
    for weight in weights:
        here = []
        for recording in recordings:
            r = tool.replay(recording, {"hcal.rlsm.w": weight})
            error = [norm(*(o - t for o, t in zip(offset, truth if time >= at else (120, -45, -300))))
                     for time, offset in zip(r["t"], zip(r["off_x"], r["off_y"], r["off_z"]))]
            late = [e for t, e in zip(r["t"], error) if t >= at]
            close = next((k for k in range(len(late)) if late[k] < 3), None)
            settled = [e for t, e, g in zip(r["t"], error, r["grade"]) if 15 < t < at and g == 3]
            here.append((None if close is None else close / 25, (sum(e * e for e in settled) / len(settled)) ** 0.5 if settled else None))
            if recording == recordings[0] and weight in (0.95, 0.988, 1.0):
                shown.plot(r["t"][::5], error[::5], lw=1.4, label=f"w = {weight}", drawstyle="steps-post")
        times.append(median([one[0] for one in here]))
        errors.append(median([one[1] for one in here]))
    shown.set(ylim=(0, 20), xlim=(10, 90), xlabel="seconds", ylabel="offset missed by, µT", title="the device's own field changes at 30 s")
    shown.legend()
    places = range(len(weights))
    for axes, values, title in ((followed, times, "until within 3 µT again, s"), (missed, errors, "missed by before that, µT")):
        axes.bar(places, [value or 0 for value in values], color=chart.BLUE)
        for place, value in zip(places, values):
            axes.text(place, value or 0, "never" if value is None else f"{value:.2g}", ha="center", va="bottom", fontsize=8)
        axes.set(xticks=list(places), title=title, xlabel="hcal.rlsm.w")
        axes.set_xticklabels(weights, fontsize=8, rotation=45)
        axes.grid(axis="x", visible=False)
        axes.set_axisbelow(True)
    return figure


def stability(tool):
    noises, limits = [0.1, 0.3, 0.6, 1.0, 1.5, 2.0], [0.15, 0.3, 0.6, 1.0, 1.5, 3.0]
    figure, (time, error) = plt.subplots(1, 2, figsize=(9, 3.2), sharey=True)
    times, errors = {}, {}
    for noise in noises:
        for limit in limits:
            times[limit, noise], errors[limit, noise] = first_grade_3(tool, turned(tool, rate=50, noise=noise),
                                                                      {"hcal.rlsm.stdev": limit})
    for axes, values, title in ((time, times, "seconds to grade 3"), (error, errors, "offset then missed by, µT, at worst")):
        cells(axes, values, limits, noises)
        axes.set(xlabel="noise of the magnetometer, µT per axis", title=title)
    time.set_ylabel("hcal.rlsm.stdev, µT")
    return figure


def spans(tool):
    figure, (buffers, time, error) = plt.subplots(1, 3, figsize=(11, 3.4), gridspec_kw={"width_ratios": [1.5, 1, 1]})
    kinds = {"an axis spans too little": [], "no two spans are alike": [], "READY": []}
    for recording in turned(tool, 3, rate=50):
        for line in tool.explain(recording, {})["happened"]:
            if "span_ut" not in line:
                continue
            x, y, z = line["span_ut"]
            balance = min((y / z, x / z, x / y), key=lambda ratio: abs(ratio - 1))
            kind = {"span_too_small": 0, "unbalanced": 1}.get(line["outcome"], 2)
            list(kinds.values())[kind].append((min(x, y, z), balance))
    for (kind, points), color in zip(kinds.items(), (chart.GREY, chart.ORANGE, chart.BLUE)):
        buffers.scatter(*zip(*points), s=9, color=color, label=kind)
    buffers.axvline(15, color="black", lw=0.8)
    buffers.axhspan(0.7, 1.3, color=chart.SKY, alpha=0.15, lw=0)
    buffers.set(xlabel="smallest of the three spans, µT", ylabel="ratio nearest to 1", ylim=(0, 2.2), title="every full buffer of a moving device")
    buffers.legend(fontsize=8, loc="upper right")
    minima, shares = [5, 8, 10, 15, 20, 30], [0.1, 0.3, 0.5, 0.9]
    times, errors = {}, {}
    recordings = turned(tool, rate=50)
    for least in minima:
        for share in shares:
            times[least, share], errors[least, share] = first_grade_3(
                tool, recordings, {"hcal.motion.sendiffmin": least, "hcal.motion.senrate": share})
    for axes, values, title in ((time, times, "seconds to grade 3"), (error, errors, "then missed by, µT, at worst")):
        cells(axes, values, minima, shares)
        axes.set(xlabel="hcal.motion.senrate", title=title)
    time.set_ylabel("hcal.motion.sendiffmin, µT")
    return figure


def disturbed(tool, recording, strength, start, end):
    """The recording with a field from outside that rises and falls between two times, seconds."""
    name = f"disturbed-{recording}"
    with open(tool.path(recording), encoding="utf-8") as given, open(tool.path(name), "w", encoding="utf-8") as out:
        for line in given:
            fields = line.split(",")
            if fields[1] == "mag":
                t = int(fields[0]) / 1e9
                share = math.sin(math.pi * (t - start) / (end - start)) ** 2 if start < t < end else 0
                for axis, part in enumerate((0.6, -0.3, 0.74)):
                    fields[2 + axis] = f"{float(fields[2 + axis]) + share * part * strength:.5f}"
                line = ",".join(fields).rstrip() + "\n"
            out.write(line)
    return name


def grades(tool):
    cases = [(600, 50, 6, 6), (600, 50, 6, 4), (600, 50, 6, 5), (20, 10, 6, 6), (20, 10, 6, 4)]
    recording = disturbed(tool, tool.recording(rate=50, seed=5, duration=60), 70, 25, 45)
    figure, (distance, strips) = plt.subplots(2, 1, figsize=(9, 4.4), sharex=True, height_ratios=(1, 1.2))
    for place, (a, b, c, mask) in enumerate(cases):
        r = tool.replay(recording, {"hcal.accuracy[0]": a, "hcal.accuracy[1]": b, "hcal.accuracy[2]": c, "hcal.incmask": mask})
        start = 0
        for k in range(1, len(r["t"]) + 1):
            if k == len(r["t"]) or r["grade"][k] != r["grade"][start]:
                strips.broken_barh([(r["t"][start], r["t"][k - 1] + 0.02 - r["t"][start])], (-place - 0.4, 0.8),
                                   color=chart.GRADE_COLORS[int(r["grade"][start])], lw=0)
                start = k
        if place == 0:
            norms = [norm(*one) for one in zip(r["cal_x"], r["cal_y"], r["cal_z"])]
            means = [sum(norms[max(0, k - 14):k + 1]) / min(k + 1, 15) for k in range(len(norms))]
            distance.plot(r["t"][::5], [abs(mean - radius) for mean, radius in zip(means, r["radius"])][::5], lw=1.2)
    for bound in (6, 10, 20, 50):
        distance.axhline(bound, color="black", lw=0.6, ls=":")
        distance.text(60.5, bound, bound, va="center", fontsize=8)
    distance.set(yscale="symlog", ylim=(0, 600), xlim=(0, 60), ylabel="norm beside\nradius, µT", yticks=[0, 1, 10, 100], yticklabels=[0, 1, 10, 100])
    strips.set(yticks=[-place for place in range(len(cases))], xlabel="seconds; a field from outside comes at 25 and is gone at 45",
               yticklabels=[f"{a}, {b}, {c} and {mask}" for a, b, c, mask in cases])
    strips.set_ylabel("hcal.accuracy and hcal.incmask", fontsize=9)
    strips.grid(False)
    chart.show_grades(strips, loc="upper center", bbox_to_anchor=(0.5, 1.25))
    return figure


def clear_radius(tool):
    figure, (once, often) = plt.subplots(1, 2, figsize=(10, 3.2), gridspec_kw={"width_ratios": [1.4, 1]})
    waved = tool.recording(rate=50, seed=4, duration=30, motion="figure8")
    for radius, color, width in ((10, chart.ORANGE, 5), (300, chart.BLUE, 1.4)):  # one lies upon the other
        r = tool.replay(waved, {"hcal.clearradius": radius})
        once.plot(r["t"], [norm(*one) for one in zip(r["cal_x"], r["cal_y"], r["cal_z"])], lw=width, color=color,
                  label=f"hcal.clearradius = {radius}")
        reached = next(k for k, grade in enumerate(r["grade"]) if grade == 3)
        once.plot(r["t"][reached], r["radius"][reached], "o", ms=8, color=color, mec="white", zorder=3)
    once.axhline(48, color="black", lw=0.6, ls=":")
    once.set(xlim=(0, 6), ylim=(0, 400), xlabel="seconds; a dot where grade 3 is reached", ylabel="norm of the calibrated field, µT",
             title="waved in a figure of eight from the start")
    once.legend()
    offsets, radii, resets = [30, 100, 300, 1000], [5, 10, 20, 60, 300], {}
    for size in offsets:
        recordings = turned(tool, rate=50, motion="figure8", offset=f"{size * 0.6},{-size * 0.48},{size * 0.64}")
        for result in tool.tune(recordings, "--key", "hcal.clearradius=" + ",".join(map(str, radii))):
            resets[int(result["keys"]["hcal.clearradius"]), size] = sum(one["resets"] > 0 for one in result["recordings"])
    cells(often, resets, radii, offsets, (1, 20), " of 9")
    often.set(xlabel="norm of the device's offset, µT", ylabel="hcal.clearradius, µT", title="recordings with a reset")
    return figure


def gyroscope(tool):
    figure, (seen, time) = plt.subplots(1, 2, figsize=(10, 3.4), sharey=True)
    recordings = {name: tool.recording(motion=motion, rate=50, duration=60, seed=3)
                  for name, motion in (("turned", "tumble"), ("figure 8", "figure8"), ("walking", "walk"), ("pocket", "pocket"), ("still", "still"))}
    recordings["still, field\nturns"] = still_in_a_turning_field(tool, recordings["still"], recordings["turned"])
    limits, share, times = [0, 0.05, 0.2, 0.5, 1.0, 2.0, 3.0], {}, {}
    for limit in limits:
        for name, recording in recordings.items():
            counts = tool.explain(recording, {"env.gyrthr": limit}, "--notify-gyro")["counts"]
            share[limit, name] = 100 * (1 - counts["outcomes"]["not_moved"] / counts["full_buffers"])
            r = tool.replay(recording, {"env.gyrthr": limit}, "--notify-gyro")
            times[limit, name] = next((t for t, grade in zip(r["t"], r["grade"]) if grade == 3), None)
    cells(seen, share, limits, list(recordings), (3, 300), "%")
    cells(time, times, limits, list(recordings))
    for axes, title in ((seen, "full buffers seen as moving"), (time, "seconds to grade 3")):
        axes.set_title(title)
        axes.tick_params(axis="x", labelsize=8)
    seen.set_ylabel("env.gyrthr, rad/s")
    return figure


def still_in_a_turning_field(tool, still, turned_):
    """A device at rest in a field that changes as if it were turned: between wagons, beside a machine."""
    with open(tool.path(still), encoding="utf-8") as a, open(tool.path(turned_), encoding="utf-8") as b:
        lines = [two if ",mag," in two else one for one, two in zip(a, b)]
    with open(tool.path("turning-field.csv"), "w", encoding="utf-8") as file:
        file.writelines(lines)
    return "turning-field.csv"


PICTURES = {"rate": rate, "forgetting": forgetting, "stability": stability, "spans": spans,
            "grades": grades, "clearradius": clear_radius, "gyroscope": gyroscope}


def main():
    program, target = sys.argv[1:3]
    with tempfile.TemporaryDirectory() as folder:
        tool = Tool(program, folder)
        for name in sys.argv[3:] or PICTURES:
            chart.save(PICTURES[name](tool), os.path.join(target, f"tuning-{name}.png"))


main()
