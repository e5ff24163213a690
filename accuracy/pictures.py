"""A picture per case: error of the offset and grade over time."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "docs" / "pictures"))

import chart  # noqa: E402  the house style
from figures import BOUND, INSTANTS, quantile  # noqa: E402

plt = chart.plt
FLOOR = 0.01  # µT: what is smaller is drawn here


def draw(title, case, runs, path):
    instants = [case.duration * i / INSTANTS for i in range(INSTANTS)]
    by_instant = list(zip(*(r.curve for r in runs)))
    figure, (error, grade) = plt.subplots(2, 1, sharex=True, figsize=(6.4, 3.4), height_ratios=(4, 1))
    draw_error(error, instants, by_instant)
    draw_grades(grade, instants, by_instant)
    for at, _ in case.steps:
        error.axvline(at, color="#4a4e69", linewidth=0.8, linestyle=":")
    if case.passing:
        error.axvspan(case.passing[0], sum(case.passing[:2]), color="#4a4e69", alpha=0.15, linewidth=0)
    error.set_title(title, fontsize=9, pad=10)
    grade.set_xlabel("s")
    chart.save(figure, path)
    path.write_text(re.sub(r"(?<=\d\.\d)\d+(?= )", "", path.read_text()))  # a tenth of a point, half the size


def draw_error(axes, instants, by_instant):
    errors = [[max(FLOOR, e) for e, _ in now] for now in by_instant]
    bands = {share: [round(quantile(now, share), 4) for now in errors] for share in (0.0, 0.5, 1.0)}
    axes.fill_between(instants, bands[0.0], bands[1.0], alpha=0.25, linewidth=0)
    axes.plot(instants, bands[0.5], linewidth=1.2)
    axes.axhline(BOUND, color="#d1495b", linewidth=0.8, linestyle="--")
    axes.set_yscale("log")
    axes.set_ylim(FLOOR, 1000.0)
    axes.minorticks_off()
    axes.set_ylabel("error of the\noffset, µT")


def draw_grades(axes, instants, by_instant):
    shares = [[sum(grade == g for _, grade in now) / len(now) for now in by_instant] for g in range(4)]
    axes.stackplot(instants, shares, colors=chart.GRADE_COLORS, linewidth=0)
    axes.set_ylim(0.0, 1.0)
    axes.set_yticks([])
    axes.set_ylabel("grade")
    axes.grid(False)
