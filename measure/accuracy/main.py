"""How good the library's offset and grade are, and how soon: simulated uses with known truth, put through qv6d replay.

Without options it writes the table of docs/accuracy.md, the pictures there and docs/accuracy.csv, which has the curves of
all rows. The pictures need matplotlib.
"""

import argparse
import json
import math
import os
import subprocess
import sys
from concurrent.futures import ProcessPoolExecutor, as_completed

import curves
import table
from cases import CASES, GROUPS
from figures import BOUND, run_of, summary_of
from simulated import Simulated

SEEDS = 24


def measure(tool, case, seed):
    return run_of(Simulated(case, seed).samples(tool), case.upset)


def show_progress(done, total):
    if sys.stderr.isatty():
        bar = "#" * (40 * done // total)
        end = "\r\033[K" if done == total else ""
        print(f"\r[{bar:.<40}] {done} of {total} runs{end}", end="", file=sys.stderr, flush=True)


def measure_all(tool, cases, seeds, jobs, take=lambda case, runs: None):
    """Summaries by the name of the case, in the order of cases. take(case, runs) is called when one is complete."""
    runs = {case: {} for case in cases}
    summaries = {case.name: None for case in cases}
    with ProcessPoolExecutor(jobs) as pool:
        begun = {pool.submit(measure, tool, case, seed): (case, seed)
                 for case in cases for seed in range(1, seeds + 1)}
        for number, done in enumerate(as_completed(begun), 1):
            case, seed = begun.pop(done)
            runs[case][seed] = done.result()
            if len(runs[case]) == seeds:
                complete = [run for _, run in sorted(runs.pop(case).items())]
                summaries[case.name] = summary_of(complete)
                take(case, complete)
            show_progress(number, len(cases) * seeds)
    return summaries


def version_of(tool):
    return subprocess.run([tool, "--version"], capture_output=True, text=True, check=True).stdout.strip()


def write_document(tool, seeds, jobs):
    import pictures

    lines = {}
    summaries = measure_all(tool, CASES, seeds, jobs, lambda case, runs:
                            lines.update({case: curves.lines(case.name, curves.curves_of(runs))}))
    generated = table.inputs(seeds, version_of(tool)) + "\n" + table.table(GROUPS, summaries)
    table.DOCUMENT.write_text(table.replaced(table.DOCUMENT.read_text(), table.BEGIN, generated))
    table.RECORD.write_text("".join(lines[case] for case in CASES))
    pictures.draw_shown()


def without_infinity(value):
    """JSON has no infinity: never is null."""
    if isinstance(value, dict):
        return {key: without_infinity(v) for key, v in value.items()}
    return None if isinstance(value, float) and math.isinf(value) else value


def arguments():
    parser = argparse.ArgumentParser(prog="./run accuracy", description=__doc__)
    parser.add_argument("tool", help=argparse.SUPPRESS)
    parser.add_argument("--seeds", type=int, metavar="N", help=f"print the table of so many seeds instead of {SEEDS}")
    parser.add_argument("--only", metavar="NAME,...", help="print these rows: " + ", ".join(c.name for c in CASES))
    parser.add_argument("--json", action="store_true", help="print JSON; null is never, or nothing to measure")
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)), help="processes at a time")
    given = parser.parse_args()
    if given.seeds is not None and given.seeds < 1:
        parser.error("--seeds: at least 1")
    unknown = set((given.only or "base").split(",")) - {case.name for case in CASES}
    if unknown:
        parser.error(f"--only: no such row: {', '.join(sorted(unknown))}")
    return given


def main():
    given = arguments()
    seeds = given.seeds or SEEDS
    if given.seeds is None and given.only is None and not given.json:
        write_document(given.tool, seeds, given.jobs)
        return
    cases = [case for case in CASES if given.only is None or case.name in given.only.split(",")]
    summaries = measure_all(given.tool, cases, seeds, given.jobs)
    if given.json:
        facts = {"version": version_of(given.tool), "seeds": seeds, "bound_ut": BOUND, "rows": summaries}
        print(json.dumps(without_infinity(facts), indent=2))
    else:
        print(table.text(summaries), end="")


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        sys.exit(130)
    except RuntimeError as failure:
        sys.exit(f"accuracy: {failure}")
