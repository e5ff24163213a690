"""That the evaluation computes right figures, and that the documented ones are the library's.

accuracy_test.py QV6D
"""

import math
import re
import sys
import unittest

import table
from cases import CASES, GROUPS, Case
from figures import INSTANTS, quantile, run_of, summary_of
from main import DOCUMENT, SEEDS, measure_all, version_of
from simulated import Simulated

TOOL = sys.argv.pop()
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


class Truth(unittest.TestCase):
    def test_what_the_library_learns_is_the_truth_told(self):
        """Without this a fault of the truth would be charged to the library."""
        for case in (Case("step", "", steps=((60.0, 200.0),), duration=120.0),
                     Case("stretched", "", soft_iron=10.0, compensated=True, duration=60.0)):
            last = list(Simulated(case, 1).samples(TOOL))[-1]
            self.assertEqual(last[2], 3)
            self.assertLess(last[1], 1.0)


class Document(unittest.TestCase):
    text = DOCUMENT.read_text().split(table.BEGIN)[1].split(table.END)[0]

    def test_rows_are_those_of_the_command(self):
        self.assertEqual(re.findall(r"^\| \[.*\]\(accuracy/(.+)\.svg\) \|", self.text, re.M), [c.name for c in CASES])
        pictures = DOCUMENT.parent / table.PICTURES
        self.assertEqual(sorted(p.stem for p in pictures.glob("*.svg")), sorted(c.name for c in CASES))
        for picture in pictures.glob("*.svg"):
            self.assertLess(picture.stat().st_size, 100 * 1024, picture.name)
        self.assertIn(table.inputs(SEEDS, version_of(TOOL)), self.text)
        self.assertIn(table.gallery(GROUPS), self.text)

    def test_figures_are_those_of_the_library(self):
        """Of the rows that are quickest to measure."""
        cases = [case for case in CASES if case.name in ("rate-10", "step-20")]
        summaries = measure_all(TOOL, cases, SEEDS, jobs=2)
        for case in cases:
            self.assertIn(table.row(case, summaries[case.name]), self.text, "./run accuracy writes them anew")


if __name__ == "__main__":
    unittest.main()
