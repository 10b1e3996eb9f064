#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that each trace statement of the module has lines of its own.

Usage: tools/check-trace-statements.py [REPOSITORY]

A trace statement (TRAF_TRACE_ENTER, TRAF_TRACE_ENTER_TEXT, TRAF_TRACE_MSG,
TRAF_CATCH_ALL, TRAF_PLATFORM_CALL) makes one constant header that names the
source path of TarvikTrafHandler.cpp, the line of the statement and its
function. So every statement must be in that file, and no line may belong
to two statements: GCC gives a statement that spans lines the line of its
first token, Clang that of its last, and either must name that statement
alone. TrafTrace.h and EntryGuard.h define the statements rather than make
them. Exit status 1 lists each statement that breaks the rule.
"""

import os
import re
import sys

MODULE = "src/PlatformServices/TrafHandler/private"
HOME = "TarvikTrafHandler.cpp"
DEFINING = {"TrafTrace.h", "EntryGuard.h"}
STATEMENT = re.compile(r"\bTRAF_(TRACE_(ENTER|ENTER_TEXT|MSG)|CATCH_ALL|PLATFORM_CALL)\(")
# Literals and line comments hold no brackets that count.
IGNORED = re.compile(r'"([^"\\]|\\.)*"|\'([^\'\\]|\\.)*\'|//.*')


def closing_line(lines, first, column):
    """The index of the line where the bracket opened at `column` closes."""
    depth = 0
    for index in range(first, len(lines)):
        text = IGNORED.sub("", lines[index][column if index == first else 0:])
        for char in text:
            if char in "({":
                depth += 1
            elif char in ")}":
                depth -= 1
                if depth == 0:
                    return index
    return len(lines) - 1


def main(argv):
    root = argv[0] if argv else os.path.join(os.path.dirname(__file__), "..")
    folder = os.path.join(root, MODULE)
    status = 0
    found = 0
    for name in sorted(os.listdir(folder)):
        if name in DEFINING or not name.endswith((".cpp", ".h")):
            continue
        with open(os.path.join(folder, name), encoding="utf-8") as source:
            lines = source.read().split("\n")
        owner = {}
        for first, line in enumerate(lines):
            matches = list(STATEMENT.finditer(IGNORED.sub(
                lambda m: " " * len(m.group(0)), line)))
            where = f"{MODULE}/{name}:{first + 1}"
            if len(matches) > 1:
                print(f"{where}: {len(matches)} trace statements on one line",
                      file=sys.stderr)
                status = 1
            for match in matches:
                found += 1
                if name != HOME:
                    print(f"{where}: a trace statement outside {HOME}",
                          file=sys.stderr)
                    status = 1
                last = closing_line(lines, first, match.start())
                for index in range(first, last + 1):
                    if owner.setdefault(index, first) != first:
                        print(f"{where}: line {index + 1} is also in the "
                              f"statement of line {owner[index] + 1}",
                              file=sys.stderr)
                        status = 1
    if found < 15:
        print(f"{MODULE}: only {found} trace statements found", file=sys.stderr)
        return 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
