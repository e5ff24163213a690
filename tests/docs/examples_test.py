#!/usr/bin/env python3
"""The documents' commands print what the documents show: examples_test.py QV6D PROJECT."""

import os
import pty
import re
import subprocess
import sys
import tempfile
import textwrap

PAGES = ("README.md", "docs/qv6d.md", "docs/tuning.md", "docs/file-formats.md", "docs/json.md")
qv6d, project = map(os.path.abspath, sys.argv[1:])
failures = []


def run(command, folder=None):
    """What a person sees: standard output is a terminal."""
    environment = {**os.environ, "PATH": f"{os.path.dirname(qv6d)}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8",
                   "NO_COLOR": "1", "COLUMNS": "120"}
    screen, terminal = pty.openpty()
    with tempfile.TemporaryFile("w+", encoding="utf-8") as notes:
        done = subprocess.Popen(["bash", "-c", command], cwd=folder, env=environment, stdout=terminal, stderr=notes)
        os.close(terminal)
        shown = b""
        try:
            while piece := os.read(screen, 65536):
                shown += piece
        except OSError:
            pass  # the terminal is closed
        done.wait()
        os.close(screen)
        notes.seek(0)
        return shown.decode().replace("\r\n", "\n") + notes.read()


def text_of(page):
    with open(f"{project}/{page}", encoding="utf-8") as file:
        return file.read()


def every_key_has_its_effects(keys):
    """A row `key` | when raised | when lowered, for each key or its array."""
    told = set()
    for cell, _, _ in re.findall(r"^\| (`[^|]*`) \| ([^|]+) \|([^|]*)\|$", text_of("docs/tuning.md"), re.M):
        told |= set(re.findall(r"`([^`]*)`", cell))
    arrays = {key.split("[")[0] for key in keys}
    for key in keys:
        if key not in told and key.split("[")[0] not in told:
            failures.append(f"nothing is said of raising and lowering {key}")
    failures.extend(f"effects of {name}, which is no key" for name in sorted(told - set(keys) - arrays))


def examples(text):
    """Commands with what they print, from the blocks that begin with a prompt."""
    for block in re.findall(r"(?:^ {4}.*\n|^\n(?= {4}))+", text, re.M):
        block = textwrap.dedent(block).lstrip("\n")
        if block.startswith("$ "):
            for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
                command = re.match(r"(?:.*\\\n)*.*\n", part)[0]
                yield command, part[len(command):].strip("\n")


def matches(shown, printed):
    """Dots stand for any text, alone on their line also for lines; where a line is broken does not count."""
    parts = [" ".join(part.split()) for part in shown.split("...")]
    return re.fullmatch(".*".join(map(re.escape, parts)), " ".join(printed.split())) is not None


def examples_print_what_is_shown(page):
    with tempfile.TemporaryDirectory() as folder:
        os.symlink(f"{project}/examples", f"{folder}/examples")
        count = 0
        for command, shown in examples(text_of(page)):
            count += 1
            printed = run(command, folder)
            if not matches(shown, printed):
                failures.append(f"{page}: $ {command}does not print what is shown but\n{printed}")
    if count == 0:
        failures.append(f"{page}: no example found")


keys = re.findall(r"^\| `([^`]+)`", run(f"'{qv6d}' check --defaults --markdown"), re.M)
if len(keys) != 47:
    failures.append(f"{len(keys)} keys instead of 47")
every_key_has_its_effects(keys)
for page in PAGES:
    examples_print_what_is_shown(page)
sys.exit("\n".join(failures) or 0)
