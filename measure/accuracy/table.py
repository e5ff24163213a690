"""The table as Markdown, and its place in a document."""

import math
from pathlib import Path

from figures import GRADES

DOCUMENT = Path(__file__).resolve().parents[2] / "docs" / "accuracy.md"
RECORD = DOCUMENT.with_suffix(".csv")  # the curves of all rows
BEGIN = "<!-- ./run accuracy writes from here ... -->"
END = "<!-- ... to here -->"

HEADER = ["", "grade 1, s", "grade 2, s", "grade 3, s", "error at 1, µT", "error at 2, µT", "error at 3, µT",
          "wrong at 3, s/h", "right again, s"]


def seconds(value):
    return "never" if math.isinf(value) else f"{value:.1f}"


def time_cell(spread):
    """Median (worst)."""
    if spread["median"] is None:
        return ""
    median, worst = seconds(spread["median"]), seconds(spread["worst"])
    return median if median == worst == "never" else f"{median} ({worst})"


def error_cell(spread):
    return "" if spread["median"] is None else " / ".join(f"{value:.2f}" for value in spread.values())


def cells(summary):
    shown = any(summary["error_ut"][g]["median"] is not None for g in GRADES)
    return ([time_cell(summary["first_s"][g]) for g in GRADES] + [error_cell(summary["error_ut"][g]) for g in GRADES] +
            [f"{summary['wrong_s_per_hour']:.0f}" if shown else "", time_cell(summary["right_again_s"])])


def line(values):
    return "| " + " | ".join(values) + " |"


def row(case, summary):
    return line([case.label] + cells(summary))


def table(groups, summaries):
    lines = [line(HEADER), line(["---"] + ["---:"] * (len(HEADER) - 1))]
    for group, cases in groups.items():
        lines.append(line([f"**{group}**"] + [""] * (len(HEADER) - 1)))
        lines += [row(case, summaries[case.name]) for case in cases]
    return "\n".join(lines) + "\n"


def text(summaries):
    """For a terminal, of whatever was measured."""
    rows = [HEADER] + [[name] + cells(summary) for name, summary in summaries.items()]
    widths = [max(len(values[column]) for values in rows) for column in range(len(HEADER))]
    return "".join(f"{values[0]:{widths[0]}}" + "".join(f"  {v:>{w}}" for v, w in zip(values[1:], widths[1:])) + "\n"
                   for values in rows)


def inputs(seeds, version):
    return f"Seeds 1 to {seeds} for each row, {version}.\n"


def replaced(document, begin, text):
    """The document with other text between a marker and the END that follows it."""
    head, rest = document.split(begin)
    return f"{head}{begin}\n{text}{END}{rest.split(END, 1)[1]}"
