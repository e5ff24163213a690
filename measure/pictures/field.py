#!/usr/bin/env python3
"""The picture of README.md: field.py QV6D RECORDING FILE replays the recording of a phone and draws its field."""

import csv
import math
import statistics
import subprocess
import sys
from collections import namedtuple

import chart

plt = chart.plt
EVERY = 4  # so that of 103 samples a second the library is given 26
TURNED, TILTED = math.radians(60), math.radians(-22)  # how the sphere is seen
GOOD = 3  # the grade that says so

Row = namedtuple("Row", "t raw calibrated offset radius grade")


def replayed(tool, recording):
    """A row for every sample that the library was given."""
    with open(recording, encoding="utf-8") as file:
        raw = [tuple(map(float, event[2:])) for event in csv.reader(file) if event[1] == "mag"][EVERY - 1::EVERY]
    printed = subprocess.run([tool, "replay", recording, "--every", str(EVERY)], check=True, stdout=subprocess.PIPE,
                             encoding="utf-8").stdout
    rows = [list(map(float, row.split(","))) for row in printed.splitlines()[1:]]
    return [Row(row[0] / 1e9, field, row[1:4], row[4:7], row[7], int(row[8]))
            for field, row in zip(raw, rows, strict=True)]


def seen(x, y, z):
    """To the right, up, and towards who looks."""
    right, away = x * math.cos(TURNED) - y * math.sin(TURNED), x * math.sin(TURNED) + y * math.cos(TURNED)
    return right, z * math.cos(TILTED) + away * math.sin(TILTED), z * math.sin(TILTED) - away * math.cos(TILTED)


def circles(radius):
    """Of latitude and longitude, as points of the sphere."""
    around = [math.radians(degrees) for degrees in range(0, 361, 3)]
    for latitude in map(math.radians, range(-60, 61, 30)):
        yield [(radius * math.cos(latitude) * math.cos(a), radius * math.cos(latitude) * math.sin(a),
                radius * math.sin(latitude)) for a in around]
    for longitude in map(math.radians, range(0, 180, 30)):
        yield [(radius * math.sin(a) * math.cos(longitude), radius * math.sin(a) * math.sin(longitude),
                radius * math.cos(a)) for a in around]


def dots(axes, points, **style):
    axes.scatter(*zip(*points), linewidth=0, **style)


def draw_both(axes, rows, good):
    """z to the right and x up: so the offset of this phone lies across."""
    x, _, z = rows[-1].offset
    dots(axes, [(r.raw[2], r.raw[0]) for r in rows], s=7, color=chart.VERMILION)
    dots(axes, [(r.calibrated[2], r.calibrated[0]) for r in good], s=7, color=chart.BLUE)
    axes.annotate("", (z, x), (0, 0), arrowprops={"arrowstyle": "-|>", "color": "black", "shrinkA": 0, "shrinkB": 0})
    axes.text(z / 2, x / 2 + 12, "offset learnt", rotation=math.degrees(math.atan(x / z)), rotation_mode="anchor",
              ha="center")
    axes.text(z, x - 68, "as measured", ha="center", va="top", color=chart.VERMILION, weight="bold")
    axes.text(0, 60, "calibrated", ha="center", color=chart.BLUE, weight="bold",
              bbox={"facecolor": "white", "edgecolor": "none", "pad": 1})
    for line in axes.axhline, axes.axvline:
        line(0, color=chart.DARK, linewidth=0.7, zorder=0)
    axes.set(aspect="equal", xlim=(-660, 90), ylim=(-95, 290), xlabel="z, µT", ylabel="x, µT",
             title="the field of a phone, on one scale")


def draw_sphere(axes, good):
    radius = good[-1].radius
    for circle in circles(radius):
        points = [seen(*point) for point in circle]
        for front, color in (False, "#e9e9e9"), (True, "#c4c4c4"):
            axes.plot([right if (near >= 0) == front else math.nan for right, _, near in points],
                      [up for _, up, _ in points], color=color, linewidth=0.7, zorder=front)
    axes.add_patch(plt.Circle((0, 0), radius, fc="#f5f8fb", ec="#c4c4c4", linewidth=0.9, zorder=-1))
    points = [seen(*r.calibrated) for r in good]
    for front, color in (False, "#a9cde6"), (True, chart.BLUE):
        dots(axes, [(right, up) for right, up, near in points if (near >= 0) == front], s=9, color=color,
             zorder=front + 0.5)
    axes.set(aspect="equal")
    axes.set_title(f"calibrated: around a sphere of {radius:.0f} µT")
    axes.axis("off")


def draw_norms(axes, rows, good):
    raw, calibrated = [math.hypot(*r.raw) for r in rows], [math.hypot(*r.calibrated) for r in rows]
    known = [math.hypot(*r.calibrated) for r in good]
    axes.plot([r.t for r in rows], raw, color=chart.VERMILION, linewidth=1.8)
    axes.plot([r.t for r in rows], calibrated, color=chart.BLUE, linewidth=1.8)
    axes.axvline(good[0].t, color="black", linewidth=0.9, linestyle=":")
    axes.text(good[0].t + 0.2, 330, f"grade 3 after {good[0].t:.1f} s")
    for text, height, color in (
            (f"as measured: {min(raw):.0f} to {max(raw):.0f} µT", 455, chart.VERMILION),
            (f"calibrated: {statistics.mean(known):.1f} ± {statistics.pstdev(known):.1f} µT", 80, chart.BLUE)):
        axes.text(rows[-1].t, height, text, ha="right", color=color, weight="bold")
    axes.set(xlim=(0, rows[-1].t), ylim=(0, 690), xlabel="seconds, turned by hand", ylabel="norm of the field, µT")


def main():
    tool, recording, path = sys.argv[1:]
    rows = replayed(tool, recording)
    good = [r for r in rows if r.grade == GOOD]
    figure = plt.figure(figsize=(8, 5.4))
    above, below = figure.add_gridspec(2, 1, height_ratios=(1.4, 1))
    both, sphere = above.subgridspec(1, 2, width_ratios=(1.75, 1)).subplots()
    draw_both(both, rows, good)
    draw_sphere(sphere, good)
    draw_norms(figure.add_subplot(below), rows, good)
    chart.save(figure, path)


main()
