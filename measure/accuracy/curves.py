"""What the pictures show of a case, and docs/accuracy.csv, which keeps it: a line per row and curve."""

import csv

from figures import quantile

ERRORS = {"least": 0.0, "median": 0.5, "largest": 1.0}  # of the runs' errors at an instant
COUNTS = ("grade 0", "grade 1", "grade 2", "grade 3")  # how many runs were at it


def curves_of(runs):
    """Values at the instants of figures.INSTANTS, by the name of the curve."""
    errors, grades = zip(*(zip(*now) for now in zip(*(run.curve for run in runs))))
    curves = {name: [rounded(quantile(now, share)) for now in errors] for name, share in ERRORS.items()}
    return curves | {name: [now.count(grade) for now in grades] for grade, name in enumerate(COUNTS)}


def rounded(value):
    """To three digits, which no picture shows more of."""
    return float(f"{value:.3g}")


def lines(name, curves):
    return "".join(f"{name},{curve}," + ",".join(f"{v:g}" for v in values) + "\n" for curve, values in curves.items())


def read(path):
    """Curves by the name of the row."""
    rows = {}
    with open(path, newline="", encoding="utf-8") as file:
        for name, curve, *values in csv.reader(file):
            rows.setdefault(name, {})[curve] = [float(value) for value in values]
    return rows
