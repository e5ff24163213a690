"""The page docs/accuracy.md as the site has it: gallery.py FOLDER writes it there, with a picture of every row."""

import sys
from pathlib import Path

import pictures
import table
from cases import CASES, GROUPS

BEGIN = "<!-- on the site there are all from here ... -->"


def linked(text):
    """The labels of the table lead to their pictures; a label can be there twice, so the order of the rows decides."""
    at = text.index(table.BEGIN)
    for case in CASES:
        at = text.index(f"\n| {case.label} |", at) + len("\n| ")
        text = f"{text[:at]}[{case.label}](#row-{case.name}){text[at + len(case.label):]}"
    return text


def gallery():
    """The pictures, two beside each other."""
    text = "Drawn from [accuracy.csv](accuracy.csv).\n"
    for group, cases in GROUPS.items():
        text += f"\n### {group}\n\n"
        for case in cases:
            picture = f"accuracy/{case.name}.png"
            text += f"[![{case.label}]({picture}){{ #row-{case.name} width=49% }}]({picture})\n"
    return text


def main():
    folder = Path(sys.argv[1]) / "docs"
    (folder / "accuracy").mkdir(parents=True, exist_ok=True)
    document = table.replaced(linked(table.DOCUMENT.read_text()), BEGIN, gallery())
    (folder / "accuracy.md").write_text(document)
    pictures.draw_rows([case.name for case in CASES], lambda name: folder / "accuracy" / f"{name}.png")


main()
