#!/usr/bin/env python3
"""docs/tuning.md says what the program does: tuning_guide_test.py QV6D PROJECT."""

import os
import re
import subprocess
import sys
import tempfile
import textwrap

qv6d, project = map(os.path.abspath, sys.argv[1:])
with open(f"{project}/docs/tuning.md", encoding="utf-8") as file:
    text = file.read()
failures = []


def run(command, folder=None):
    environment = {**os.environ, "PATH": f"{os.path.dirname(qv6d)}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8"}
    return subprocess.run(["bash", "-c", command], cwd=folder, env=environment, encoding="utf-8",
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout


def every_key_has_its_effects(keys):
    """A row `key` | when raised | when lowered, for each key or its array."""
    told = set()
    for cell, _, _ in re.findall(r"^\| (`[^|]*`) \| ([^|]+) \|([^|]*)\|$", text, re.M):
        told |= set(re.findall(r"`([^`]*)`", cell))
    arrays = {key.split("[")[0] for key in keys}
    for key in keys:
        if key not in told and key.split("[")[0] not in told:
            failures.append(f"nothing is said of raising and lowering {key}")
    failures.extend(f"effects of {name}, which is no key" for name in sorted(told - set(keys) - arrays))


def examples():
    """Commands with what they print, from the blocks that begin with a prompt."""
    for block in re.findall(r"(?:^ {4}.*\n|^\n(?= {4}))+", text, re.M):
        block = textwrap.dedent(block).lstrip("\n")
        if block.startswith("$ "):
            for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
                command = re.match(r"(?:.*\\\n)*.*\n", part)[0]
                yield command, part[len(command):].strip("\n")


def matches(shown, printed):
    """A line of dots stands for any lines, dots in a line for any text."""
    pattern = "".join(r"(?:.*\n)*?" if line.strip() == "..." else re.escape(line.rstrip()).replace(r"\.\.\.", ".*") + r"\s*\n"
                      for line in shown.splitlines())
    return re.fullmatch(pattern, printed.strip("\n") + "\n" if printed.strip() else "") is not None


def examples_print_what_is_shown():
    count = 0
    with tempfile.TemporaryDirectory() as folder:
        for command, shown in examples():
            count += 1
            printed = run(command, folder)
            if not matches(shown, printed):
                failures.append(f"$ {command}does not print what is shown but\n{printed}")
    if count < 5:
        failures.append(f"only {count} examples found")


keys = re.findall(r"^\| `([^`]+)`", run(f"'{qv6d}' check --defaults --markdown"), re.M)
if len(keys) != 47:
    failures.append(f"{len(keys)} keys instead of 47")
every_key_has_its_effects(keys)
examples_print_what_is_shown()
sys.exit("\n".join(f"docs/tuning.md: {failure}" for failure in failures) or 0)
