#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that a scenario uses every step of the language at least once.

Usage: check_every_step.py SCENARIO [EMULATOR...] TRAFSIM

Reads the step reference (`trafsim --steps`) and fails, naming each, on a
step form that no line of SCENARIO takes, or a choice of a step (a|b) that
no line of it makes.
"""

import re
import subprocess
import sys


def forms(reference):
    """The step forms of the reference: lines at the margin under "Steps:"."""
    steps = reference.split("\nSteps:\n", 1)[1]
    return [line.split(" [=>")[0].split() for line in steps.splitlines()
            if line and not line[0].isspace()]


def matches(form, words):
    """Whether `words` (a scenario line) take `form`, placeholders as any
    word; returns the choices it makes, by item index."""
    made = {}
    for i, item in enumerate(form):
        if i == len(words):
            return None
        if item.startswith("<"):
            if item in ("<bytes>", "<matcher>"):
                return made
            continue
        alternatives = item.split("|")
        if words[i] not in alternatives:
            return None
        made[i] = words[i]
    return made if len(words) == len(form) else None


def main(argv):
    scenario, program = argv[0], argv[1:]
    reference = subprocess.run(program + ["--steps"], check=True,
                               capture_output=True, text=True).stdout
    with open(scenario, encoding="utf-8") as text:
        lines = [line.split("#")[0].split() for line in text]
    # What a step states after => is no part of its form.
    lines = [words[:words.index("=>")] if "=>" in words else words
             for words in lines if words]
    missing = []
    for form in forms(reference):
        made = [m for m in (matches(form, words) for words in lines)
                if m is not None]
        if not made:
            missing.append(" ".join(form))
            continue
        for i, item in enumerate(form):
            if "|" in item and not item.startswith("<"):
                for choice in item.split("|"):
                    if not any(m.get(i) == choice for m in made):
                        missing.append(f"{' '.join(form)}: {choice}")
    for form in missing:
        print(f"{scenario}: no line takes {form}", file=sys.stderr)
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
