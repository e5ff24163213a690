"""What the samples of a run come to, and what the runs of a case come to."""

import math
from array import array
from dataclasses import dataclass

GOOD = 3  # the grade that says so
GRADES = (1, 2, 3)
BOUND = 5.0  # µT: an offset that is off by more is wrong
INSTANTS = 120  # of a picture's curves


@dataclass
class Run:
    first: dict  # by grade: s until it or a better one was shown, inf when never
    errors: dict  # by grade: of the offset while it was shown, µT
    wrong: float  # s at grade 3 with a wrong offset
    right_again: float | None  # s from the upset until the offset was right for good at grade 3, inf when it never was
    seconds: float
    curve: list  # (error, grade) at equal intervals


def is_wrong(error, grade):
    return grade == GOOD and error > BOUND


def run_of(samples, upset=None):
    """Samples are (s, error in µT, grade) at equal intervals; the upset is over at `upset` s."""
    samples = list(samples)
    begin, last = samples[0][0], samples[-1][0]
    interval = (last - begin) / (len(samples) - 1)
    return Run(
        first={g: next((t - begin for t, _, grade in samples if grade >= g), math.inf) for g in GRADES},
        errors={g: array("d", (error for _, error, grade in samples if grade == g)) for g in GRADES},
        wrong=interval * sum(is_wrong(error, grade) for _, error, grade in samples),
        right_again=None if upset is None else right_again(samples, interval, upset),
        seconds=interval * len(samples),
        curve=[samples[i * len(samples) // INSTANTS][1:] for i in range(INSTANTS)],
    )


def right_again(samples, interval, upset):
    """Until after the last sample that was wrong or not at grade 3."""
    not_right = [t for t, error, grade in samples if t >= upset and (grade != GOOD or error > BOUND)]
    if not not_right:
        return 0.0
    return math.inf if not_right[-1] == samples[-1][0] else not_right[-1] + interval - upset


def quantile(values, share):
    """The smallest value that so large a share of the values does not exceed; None of none."""
    ordered = sorted(values)
    return ordered[max(0, math.ceil(share * len(ordered)) - 1)] if ordered else None


def summary_of(runs):
    """All numbers of a case; None where there is nothing to measure, inf for never."""

    def spread(values, shares):
        ordered = sorted(values)
        return {name: quantile(ordered, share) for name, share in shares.items()}

    times = {"median": 0.5, "worst": 1.0}
    errors = {"median": 0.5, "of_95_percent": 0.95, "worst": 1.0}
    recoveries = [r.right_again for r in runs if r.right_again is not None]
    return {
        "runs": len(runs),
        "first_s": {g: spread([r.first[g] for r in runs], times) for g in GRADES},
        "error_ut": {g: spread([e for r in runs for e in r.errors[g]], errors) for g in GRADES},
        "wrong_s_per_hour": 3600.0 * sum(r.wrong for r in runs) / sum(r.seconds for r in runs),
        "right_again_s": spread(recoveries, times),
    }
