"""How good offset and grade are, and how soon: simulated uses with known truth, put through the library by qv6d replay
and through the service layer.

Without options it writes the tables of docs/accuracy.md, the pictures there and docs/accuracy.csv, which has the curves
of all rows. The pictures need matplotlib.
"""

import argparse
import json
import math
import os
import subprocess
import sys
from concurrent.futures import ProcessPoolExecutor, as_completed

import curves
import service
import table
import trust
from cases import CASES, GROUPS
from figures import BOUND, run_of, summary_of
from simulated import Simulated

SEEDS = 24
HEADING_SEEDS = 8


def measure(tool, case, seed):
    samples, replayed = Simulated(case, seed).replayed(tool)
    return run_of(samples, case.upset), trust.judged(samples, replayed["trust"])


def show_progress(done, total):
    if sys.stderr.isatty():
        bar = "#" * (40 * done // total)
        end = "\r\033[K" if done == total else ""
        print(f"\r[{bar:.<40}] {done} of {total} runs{end}", end="", file=sys.stderr, flush=True)


def in_parallel(work, keys, seeds, jobs, take):
    """take(key, results by seed) for each key as soon as its work(*key, seed) is done for every seed."""
    results = {key: {} for key in keys}
    with ProcessPoolExecutor(jobs) as pool:
        begun = {pool.submit(*work(key), seed): (key, seed) for key in keys for seed in range(1, seeds + 1)}
        for number, done in enumerate(as_completed(begun), 1):
            key, seed = begun.pop(done)
            results[key][seed] = done.result()
            if len(results[key]) == seeds:
                take(key, [result for _, result in sorted(results.pop(key).items())])
            show_progress(number, len(keys) * seeds)


def measure_all(tool, cases, seeds, jobs, take=lambda case, runs: None):
    """Summaries by the name of the case, in the order of cases. take(case, runs) is called when one is complete."""
    summaries = {case.name: None for case in cases}

    def keep(case, measured):
        runs, all_judged = zip(*measured)
        summaries[case.name] = summary_of(runs) | {"trust": trust.summary(all_judged)}
        take(case, runs)

    in_parallel(lambda case: (measure, tool, case), cases, seeds, jobs, keep)
    return summaries


def measure_service(tool, program, cases, seeds, jobs):
    """Summaries by the name of the case, as far as it is one of the service's."""
    cases = [case for case in cases if case in service.ROWS]
    summaries = {case.name: None for case in cases}
    in_parallel(lambda case: (service.measure, tool, program, case), cases, seeds, jobs,
                lambda case, measured: summaries.update({case.name: service.summary(measured)}))
    return summaries


def measure_headings(tool, program, seeds, jobs):
    """Summaries by motion, rate and whether there is a gyroscope."""
    keys = [(motion, rate, gyroscope) for gyroscope in (True, False) for rate in service.RATES
            for motion in service.MOTIONS]
    summaries = dict.fromkeys(keys)
    in_parallel(lambda key: (service.heading, tool, program, *key), keys, seeds, jobs,
                lambda key, found: summaries.update({key: service.heading_summary(sum(found, []))}))
    return summaries


def version_of(tool):
    return subprocess.run([tool, "--version"], capture_output=True, text=True, check=True).stdout.strip()


def write_document(tool, program, seeds, jobs):
    import pictures

    lines = {}
    summaries = measure_all(tool, CASES, seeds, jobs, lambda case, runs:
                            lines.update({case: curves.lines(case.name, curves.curves_of(runs))}))
    served = measure_service(tool, program, CASES, seeds, jobs)
    headings = measure_headings(tool, program, HEADING_SEEDS, jobs)
    inputs = table.inputs(seeds, version_of(tool))
    document = table.DOCUMENT.read_text()
    for begin, generated in (
            (table.BEGIN, inputs + "\n" + table.table(GROUPS, summaries)),
            (table.TRUST, inputs + "\n" + table.trust_table(GROUPS, summaries)),
            (table.SERVICE, inputs + "\n" + table.service_table(GROUPS, served)),
            (table.HEADINGS, f"Seeds 1 to {HEADING_SEEDS}.\n\n" + table.heading_table(headings))):
        document = table.replaced(document, begin, generated)
    table.DOCUMENT.write_text(document)
    table.RECORD.write_text("".join(lines[case] for case in CASES))
    pictures.draw_shown()


def print_against(program, recording, reference):
    for gyroscope in (True, False):
        north, found = service.against_reference(program, recording, reference, gyroscope)
        cells = table.heading_cells(service.heading_summary(found))
        print(f"{'with' if gyroscope else 'without'} gyroscope: {len(found)} headings, error {cells[0]} degrees "
              f"(median / 95 % / worst), bound holds {cells[1]} %, north {north:.1f} degrees off")


def without_infinity(value):
    """JSON has no infinity: never is null."""
    if isinstance(value, dict):
        return {key: without_infinity(v) for key, v in value.items()}
    return None if isinstance(value, float) and math.isinf(value) else value


def arguments():
    parser = argparse.ArgumentParser(prog="./run accuracy", description=__doc__)
    parser.add_argument("tool", help=argparse.SUPPRESS)
    parser.add_argument("program", help=argparse.SUPPRESS)
    parser.add_argument("--seeds", type=int, metavar="N", help=f"print the table of so many seeds instead of {SEEDS}")
    parser.add_argument("--only", metavar="NAME,...", help="print these rows: " + ", ".join(c.name for c in CASES))
    parser.add_argument("--json", action="store_true", help="print JSON; null is never, or nothing to measure")
    parser.add_argument("--against", nargs=2, metavar=("RECORDING", "REFERENCE"),
                        help="print how far the service's headings in a recording are from a reference: "
                        "t_ns,qw,qx,qy,qz, device to east, north, up")
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
    if given.against:
        print_against(given.program, *given.against)
        return
    seeds = given.seeds or SEEDS
    if given.seeds is None and given.only is None and not given.json:
        write_document(given.tool, given.program, seeds, given.jobs)
        return
    cases = [case for case in CASES if given.only is None or case.name in given.only.split(",")]
    summaries = measure_all(given.tool, cases, seeds, given.jobs)
    served = measure_service(given.tool, given.program, cases, seeds, given.jobs)
    if given.json:
        facts = {"version": version_of(given.tool), "seeds": seeds, "bound_ut": BOUND, "rows": summaries,
                 "service": served}
        print(json.dumps(without_infinity(facts), indent=2))
    else:
        print(table.text(summaries), "\nThe verdict on trust:\n", table.trust_text(summaries), "\nWith the service layer:\n", table.service_text(served), sep="\n", end="")


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        sys.exit(130)
    except RuntimeError as failure:
        sys.exit(f"accuracy: {failure}")
