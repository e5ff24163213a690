"""The table as Markdown, and its place in a document."""

import math

from figures import GRADES

BEGIN = "<!-- ./run accuracy writes from here ... -->"
END = "<!-- ... to here -->"
PICTURES = "accuracy"  # beside the document

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
    return line([f"[{case.label}]({PICTURES}/{case.name}.svg)"] + cells(summary))


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


def gallery(groups):
    """The pictures, two in a row."""
    text = "\n## The pictures\n"
    for group, cases in groups.items():
        text += f"\n### {group}\n\n| | |\n| --- | --- |\n"
        shown = [f"![{case.label}]({PICTURES}/{case.name}.svg)" for case in cases] + [""]
        text += "".join(line(shown[i:i + 2]) + "\n" for i in range(0, len(cases), 2))
    return text


def inputs(seeds, version):
    return f"Seeds 1 to {seeds} for each row, {version}.\n"


def written_into(document, generated):
    """The document with its generated part replaced."""
    head, rest = document.split(BEGIN)
    tail = rest.split(END)[1]
    return f"{head}{BEGIN}\n{generated}{END}{tail}"

