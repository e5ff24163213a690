"""The table as Markdown, and its place in a document."""

import math
from pathlib import Path

import trust
from figures import GRADES

DOCUMENT = Path(__file__).resolve().parents[2] / "docs" / "accuracy.md"
RECORD = DOCUMENT.with_suffix(".csv")  # the curves of all rows
BEGIN = "<!-- ./run accuracy writes from here ... -->"
TRUST = "<!-- ./run accuracy writes of the verdict from here ... -->"
SERVICE = "<!-- ./run accuracy writes of the service from here ... -->"
HEADINGS = "<!-- ./run accuracy writes of headings from here ... -->"
END = "<!-- ... to here -->"

HEADER = ["", "grade 1, s", "grade 2, s", "grade 3, s", "error at 1, µT", "error at 2, µT", "error at 3, µT",
          "wrong at 3, s/h", "right again, s"]
TRUST_HEADER = ["", "held", "contradicted", "not judged", "wrong > 5 s", "found", "accused wrongly", "wrong, s",
                "said to be wrong, s"]
SERVICE_HEADER = ["", "status 1, s", "status 2, s", "status 3, s", "error at 3, µT", "wrong at 3, s/h",
                  "bound holds, %", "bound / real 95 %, µT", "right again, s"]
HEADING_HEADER = ["", "error, degrees", "bound holds, %", "error without gyroscope, degrees", "bound holds, %"]


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


def trust_cells(judged):
    counts = [str(judged[k]) for k in ("held", "contradicted", "unjudged", "long", "found", "accused")]
    return counts + [f"{judged[k]:.0f}" for k in ("wrong_s", "said_s")]


def service_cells(summary):
    shown = summary["holds_percent"] is not None
    return ([time_cell(summary["first_s"][g]) for g in GRADES] + [error_cell(summary["error_ut"][GRADES[-1]])] +
            ([f"{summary['wrong_s_per_hour']:.1f}", f"{summary['holds_percent']:.1f}",
              f"{summary['bound_ut']:.2f} / {summary['real_95_ut']:.2f}"] if shown else [""] * 3) +
            [time_cell(summary["right_again_s"])])


def heading_cells(summary):
    if summary["median"] is None:
        return ["", ""]
    return [" / ".join(f"{summary[k]:.2f}" for k in ("median", "of_95_percent", "worst")),
            f"{summary['holds_percent']:.1f}"]


def line(values):
    return "| " + " | ".join(values) + " |"


def head(header):
    return [line(header), line(["---"] + ["---:"] * (len(header) - 1))]


def row(case, summary):
    return line([case.label] + cells(summary))


def trust_row(case, summary):
    return line([case.label] + trust_cells(summary["trust"]))


def service_row(case, summary):
    return line([case.label] + service_cells(summary))


def grouped(header, groups, summaries, row_of):
    lines = head(header)
    for group, cases in groups.items():
        measured = [case for case in cases if case.name in summaries]
        if measured:
            lines.append(line([f"**{group}**"] + [""] * (len(header) - 1)))
        lines += [row_of(case, summaries[case.name]) for case in measured]
    return "\n".join(lines) + "\n"


def table(groups, summaries):
    return grouped(HEADER, groups, summaries, row)


def trust_table(groups, summaries):
    whole = trust.total([summary["trust"] for summary in summaries.values()])
    return grouped(TRUST_HEADER, groups, summaries, trust_row) + line(["**All**"] + trust_cells(whole)) + "\n"


def service_table(groups, summaries):
    return grouped(SERVICE_HEADER, groups, summaries, service_row)


def heading_table(summaries):
    lines = head(HEADING_HEADER)
    for motion, rate, gyroscope in summaries:
        if gyroscope:
            lines.append(line([f"{motion}, {rate} Hz"] + heading_cells(summaries[motion, rate, True]) +
                              heading_cells(summaries[motion, rate, False])))
    return "\n".join(lines) + "\n"


def in_columns(header, summaries, cells_of):
    """For a terminal, of whatever was measured."""
    rows = [header] + [[name] + cells_of(summary) for name, summary in summaries.items()]
    widths = [max(len(values[column]) for values in rows) for column in range(len(header))]
    return "".join(f"{values[0]:{widths[0]}}" + "".join(f"  {v:>{w}}" for v, w in zip(values[1:], widths[1:])) + "\n"
                   for values in rows)


def text(summaries):
    return in_columns(HEADER, summaries, cells)


def trust_text(summaries):
    return in_columns(TRUST_HEADER, {name: summary["trust"] for name, summary in summaries.items()}, trust_cells)


def service_text(summaries):
    return in_columns(SERVICE_HEADER, summaries, service_cells)


def inputs(seeds, version):
    return f"Seeds 1 to {seeds} for each row, {version}.\n"


def replaced(document, begin, text):
    """The document with other text between a marker and the END that follows it."""
    head, rest = document.split(begin)
    return f"{head}{begin}\n{text}{END}{rest.split(END, 1)[1]}"
