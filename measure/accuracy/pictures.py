"""A picture per row of the table: error of the offset and grade over time.

As a program it draws those of docs/accuracy.md from docs/accuracy.csv.
"""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "pictures"))

import chart  # noqa: E402  the house style
import curves  # noqa: E402
import table  # noqa: E402
from cases import GROUPS  # noqa: E402
from figures import BOUND, INSTANTS  # noqa: E402

plt = chart.plt
SHOWN = ("base", "step-100-gesture", "worst-50")  # in the document; the site has all
FLOOR = 0.01  # µT: what is smaller is drawn here


@plt.rc_context({"font.size": 8.5, "axes.titlesize": 8.5})
def draw(group, case, recorded, path):
    """Recorded are the curves of the case."""
    instants = [case.duration * i / INSTANTS for i in range(INSTANTS)]
    figure, (error, grade) = plt.subplots(2, 1, sharex=True, figsize=(4.8, 3.0), height_ratios=(4, 1))
    draw_error(error, instants, recorded)
    draw_grades(grade, instants, recorded)
    for at, _ in case.steps:
        error.axvline(at, color=chart.DARK, linewidth=0.9, linestyle=":")
    if case.passing:
        error.axvspan(case.passing[0], sum(case.passing[:2]), color=chart.DARK, alpha=0.15, linewidth=0)
    runs = sum(recorded[name][0] for name in curves.COUNTS)
    error.set_title(f"{group}\n{case.label}", loc="left")
    error.set_title(f"{runs:.0f} runs\n", loc="right")
    error.set_xlim(0.0, case.duration)
    grade.set_xlabel("seconds", loc="left")
    chart.show_grades(grade, loc="upper right", bbox_to_anchor=(1.03, -0.42))
    chart.save(figure, path)


def draw_error(axes, instants, recorded):
    least, median, largest = ([max(FLOOR, e) for e in recorded[name]] for name in curves.ERRORS)
    axes.fill_between(instants, least, largest, alpha=0.25, linewidth=0)
    axes.plot(instants, median, linewidth=1.4)
    axes.axhline(BOUND, color=chart.VERMILION, linewidth=0.9, linestyle="--")
    axes.set_yscale("log")
    axes.set_ylim(FLOOR, 1000.0)
    axes.set_yticks([0.01, 0.1, 1, 10, 100, 1000], ["0.01", "0.1", "1", "10", "100", "1000"])
    axes.minorticks_off()
    axes.set_ylabel("error of the\noffset, µT")


def draw_grades(axes, instants, recorded):
    axes.stackplot(instants, [recorded[name] for name in curves.COUNTS], colors=chart.GRADE_COLORS, linewidth=0)
    axes.margins(0)
    axes.set_yticks([])
    axes.set_ylabel("grade")
    axes.grid(False)


def draw_rows(names, place):
    """place(name) is the file of a row's picture."""
    rows = curves.read(table.RECORD)
    for group, cases in GROUPS.items():
        for case in cases:
            if case.name in names:
                draw(group, case, rows[case.name], place(case.name))


def draw_shown():
    draw_rows(SHOWN, lambda name: table.DOCUMENT.parent / "pictures" / f"accuracy-{name}.png")


if __name__ == "__main__":
    draw_shown()
