"""That the evaluation computes right figures, and that the documented ones are the library's.

accuracy_test.py QV6D SERVICE_ROWS PROJECT
"""

import math
import os
import re
import sys
import unittest

PROJECT = sys.argv.pop()
PROGRAM = sys.argv.pop()
TOOL = sys.argv.pop()
sys.path.insert(0, os.path.join(PROJECT, "measure/accuracy"))

import curves
import table
import trust
from cases import CASES, Case
from figures import INSTANTS, quantile, run_of, summary_of
from main import SEEDS, measure_all, measure_service, version_of
from service import ROWS, Row, heading_errors, summary
from simulated import Simulated

NEVER = math.inf


def samples(*told):
    """One each half second, from 100 s on."""
    return [(100.0 + 0.5 * i, error, grade) for i, (error, grade) in enumerate(told)]


class Figures(unittest.TestCase):
    def test_of_a_run(self):
        # From 102.5 s on, where the upset is: right, wrong, right but not at grade 3, wrong at grade 3, right for good.
        told = samples((300, 0), (9, 1), (5, 1), (4, 3), (5, 3),
                       (5, 3), (5.1, 3), (1, 2), (8, 3), (2, 3))
        run = run_of(told, 102.5)
        self.assertEqual(run.first, {1: 0.5, 2: 1.5, 3: 1.5})
        self.assertEqual({g: list(e) for g, e in run.errors.items()},
                         {1: [9, 5], 2: [1], 3: [4, 5, 5, 5.1, 8, 2]})
        self.assertEqual((run.wrong, run.right_again, run.seconds), (1.0, 2.0, 5.0))
        self.assertEqual(len(run.curve), INSTANTS)
        self.assertEqual((run.curve[0], run.curve[-1]), ((300, 0), (2, 3)))

    def test_right_again(self):
        for told, expected in (
                (((9, 3), (1, 3), (1, 3), (5, 3)), 0.0),  # what was before the upset does not count
                (((1, 3), (1, 3), (9, 3), (1, 3)), 0.5),
                (((1, 3), (1, 3), (1, 3), (1, 2)), NEVER),
                (((1, 3), (1, 3), (1, 3), (6, 3)), NEVER)):
            self.assertEqual(run_of(samples(*told), 101.0).right_again, expected)

    def test_quantile(self):
        for values, share, expected in (([], 0.5, None), ([7], 0.0, 7), ([3, 1, 2, 4], 0.5, 2), ([3, 1, 2, 4], 0.51, 3),
                                        (range(1, 101), 0.95, 95), ([1, NEVER], 0.5, 1), ([1, NEVER], 1.0, NEVER)):
            self.assertEqual(quantile(values, share), expected)

    def test_of_a_case(self):
        quick = run_of(samples((1, 3), (2, 3), (6, 3), (1, 3)), 100.0)
        never = run_of(samples((9, 0), (9, 0), (9, 0), (9, 1)), 100.0)
        got = summary_of([quick, never, quick])
        self.assertEqual(got["first_s"][1], {"median": 0.0, "worst": 1.5})
        self.assertEqual(got["first_s"][3], {"median": 0.0, "worst": NEVER})
        self.assertEqual(got["error_ut"][3], {"median": 1, "of_95_percent": 6, "worst": 6})
        self.assertEqual(got["error_ut"][2]["median"], None)
        self.assertEqual(got["wrong_s_per_hour"], 600.0)
        self.assertEqual(got["right_again_s"], {"median": 1.5, "worst": NEVER})
        self.assertEqual(table.cells(got), ["0.0 (1.5)", "0.0 (never)", "0.0 (never)", "9.00 / 9.00 / 9.00", "",
                                            "1.00 / 6.00 / 6.00", "600", "1.5 (never)"])


class Trust(unittest.TestCase):
    def test_of_a_recording(self):
        told = samples(*[(1, 3)] * 4, *[(9, 3)] * 12, (9, 2), *[(9, 3)] * 2, (1, 3), *[(1, 3)] * 4, *[(9, 3)] * 8)
        for said, found, accused in (((100.0, 106.0), 1, False), ((100.0, 105.0), 0, False), ((108.0, 120.0), 0, False)):
            verdict = {"verdict": "contradicted", "wrong_s": 4.0, "contradictions": [{"from_s": said[0], "to_s": said[1]}]}
            got = trust.judged(told, verdict)
            self.assertEqual((got.long, got.found, got.wrong, got.accused), (1, found, 11.5, accused))
            self.assertTrue(trust.judged(samples(*[(5, 3)] * 9), verdict).accused)


class Service(unittest.TestCase):
    def test_of_a_case(self):
        run = run_of(samples((9, 0), (2, 1), (1, 3), (6, 3)))
        got = summary([(run, [2.0, 1.0, 6.0], [2.5, 0.5, 9.0])])
        self.assertAlmostEqual(got["holds_percent"], 200 / 3)
        self.assertEqual((got["bound_ut"], got["real_95_ut"], got["wrong_s_per_hour"]), (2.5, 6.0, 900.0))

    def test_of_headings(self):
        half = math.sqrt(0.5)
        truth = {1: (half, 0, 0, -half), 2: (half, half, 0, 0)}  # flat with y to the east; y up
        rows = [Row(t, status, (0, 0, 0), 1.0, (1, 0, 0, 0), azimuth, 5.0)
                for t, status, azimuth in ((1, 2, 93.0), (1, 1, 0.0), (2, 3, 0.0), (3, 3, 0.0))]
        ((error, bound),) = heading_errors(rows, truth)
        self.assertAlmostEqual(error, 3.0)
        self.assertEqual(bound, 5.0)


class Truth(unittest.TestCase):
    def test_what_the_library_learns_is_the_truth_told(self):
        """Without this a fault of the truth would be charged to the library."""
        for case in (Case("step", "", steps=((60.0, 200.0),), duration=120.0),
                     Case("stretched", "", soft_iron=10.0, compensated=True, duration=60.0)):
            last = list(Simulated(case, 1).samples(TOOL))[-1]
            self.assertEqual(last[2], 3)
            self.assertLess(last[1], 1.0)


class Document(unittest.TestCase):
    text = table.DOCUMENT.read_text().split(table.BEGIN)[1].split(table.END)[0]
    verdicts = table.DOCUMENT.read_text().split(table.TRUST)[1].split(table.END)[0]
    record = table.RECORD.read_text()

    def test_rows_are_those_of_the_command(self):
        self.assertEqual(re.findall(r"^\| ([^*|]+) \| [^-]", self.text, re.M), [case.label for case in CASES])
        rows = curves.read(table.RECORD)
        self.assertEqual(list(rows), [case.name for case in CASES])
        for name, row in rows.items():
            self.assertEqual({curve: len(values) for curve, values in row.items()},
                             {curve: INSTANTS for curve in [*curves.ERRORS, *curves.COUNTS]}, name)
        self.assertIn(table.inputs(SEEDS, version_of(TOOL)), self.text)

    def test_figures_are_those_of_the_library(self):
        """Of the rows that are quickest to measure."""
        cases = [case for case in CASES if case.name in ("rate-10", "step-20")]
        lines = []
        summaries = measure_all(TOOL, cases, SEEDS, 2, lambda case, runs:
                                lines.append(curves.lines(case.name, curves.curves_of(runs))))
        for row_of, text in ((table.row, self.text), (table.trust_row, self.verdicts)):
            for case in cases:
                self.assertIn(row_of(case, summaries[case.name]), text, "./run accuracy writes them again")
        for expected in lines:
            self.assertIn(expected, self.record, "./run accuracy writes them again")


class ServiceDocument(unittest.TestCase):
    text = table.DOCUMENT.read_text().split(table.SERVICE)[1].split(table.END)[0]

    def test_rows_are_those_of_the_command(self):
        self.assertEqual(re.findall(r"^\| ([^*|]+) \| [^-]", self.text, re.M), [case.label for case in ROWS])
        self.assertIn(table.inputs(SEEDS, version_of(TOOL)), self.text)

    def test_figures_are_those_of_the_layer(self):
        """Of the row that is quickest to measure."""
        case = next(case for case in ROWS if case.name == "rate-10")
        expected = table.service_row(case, measure_service(TOOL, PROGRAM, [case], SEEDS, 2)[case.name])
        self.assertIn(expected, self.text, "./run accuracy writes it again")


if __name__ == "__main__":
    unittest.main()
