#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that each trace text of the module lives in the module and one test.

Usage: tools/check-trace-texts.py [--list] [REPOSITORY]

A trace text is a string literal of the module's private sources
(src/PlatformServices/TrafHandler/private/) that a trace line shows, adjacent
literals joined and surrounding blanks and punctuation dropped: one of three
words or more, or the whole text of a trace statement. Names (no blank
inside), the function names that trace statements start with and
static_assert messages are none.

Each text may appear in at most two of the tracked code and scenario files
(C/C++ sources and headers, .def, CMake, Python, shell and .sim files): the
module (every file under src/PlatformServices/TrafHandler/ counts as one) and
the one test that pins it. Where a text is part of a longer one, only its
occurrences outside the longer one count. Documents (Markdown, CHANGELOG.md
and the blocks trafsim generates aside) name that test instead of copying
the text. The duplicates that tests have yet to shed are listed in
tools/trace-text-duplicates.txt. Exit status 1 lists each text found in
more files, with the files, each document that copies one, and each listed
duplicate that is gone. --list prints every text with its files.
"""

import os
import re
import subprocess
import sys

MODULE = "src/PlatformServices/TrafHandler/private/"
MODULE_FILES = "src/PlatformServices/TrafHandler/"
CODE = re.compile(r"(\.(c|cc|cpp|h|hpp|def|in|cmake|py|sh|sim)|CMakeLists\.txt)$")
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
# Two literals with only blanks between them are one to the compiler.
ADJACENT = re.compile(r'"\s*"')
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
# The first argument of a trace statement names the function, not the text.
FUNCTION_ARGUMENT = re.compile(
    r"(TRAF_(?:TRACE_ENTER(?:_TEXT)?|CATCH_ALL)\s*\(\s*"
    r"|TRAF_TRACE_MSG\s*\(\s*\w+\s*,\s*)\"[^\"]*\"")
STATIC_ASSERT = re.compile(r"static_assert\s*\([^;]*;")
INCLUDE = re.compile(r"^\s*#\s*include[^\n]*", re.MULTILINE)
# A statement whose text is one literal, without values.
WHOLE_TEXT = re.compile(
    r'TRAF_TRACE_MSG\s*\(\s*\w+\s*,\s*"[^"]*"\s*,\s*"((?:[^"\\]|\\.)*)"\s*\)')
GENERATED = re.compile(r"^<!-- trafsim .*?^<!-- end -->", re.DOTALL | re.MULTILINE)
MIN_LENGTH = 10
MIN_WORDS = 3
# Texts that tests still pin twice, one "TEXT | FILE" a line: FILE may hold
# TEXT on top of the two. The check fails once an entry is no longer needed.
KNOWN_DUPLICATES = "tools/trace-text-duplicates.txt"


def tracked(root):
    listed = subprocess.run(["git", "-C", root, "ls-files", "-z"], check=True,
                            capture_output=True, text=True).stdout
    return sorted(name for name in listed.split("\0") if name)


def joined(text):
    """The text with adjacent string literals joined into one."""
    return ADJACENT.sub("", text)


def trace_texts(root, files):
    texts = set()
    for name in files:
        if not name.startswith(MODULE) or not name.endswith((".cpp", ".h")):
            continue
        with open(os.path.join(root, name), encoding="utf-8") as source:
            text = COMMENT.sub("", source.read())
        text = joined(text)
        whole = {literal.strip(" :,.!;()=") for literal in WHOLE_TEXT.findall(text)}
        for pattern in (INCLUDE, STATIC_ASSERT, FUNCTION_ARGUMENT):
            text = pattern.sub("", text)
        for literal in LITERAL.findall(text):
            core = literal.strip(" :,.!;()=")
            if " " in core and len(core) >= MIN_LENGTH and (
                    len(core.split()) >= MIN_WORDS or core in whole):
                texts.add(core)
    return sorted(texts)


def known_duplicates(root):
    known = {}
    path = os.path.join(root, KNOWN_DUPLICATES)
    if os.path.isfile(path):
        with open(path, encoding="utf-8") as listed:
            for line in listed:
                if line.strip() and not line.startswith("#"):
                    text, name = (part.strip() for part in line.split(" | "))
                    known.setdefault(text, set()).add(name)
    return known


def holds(content, text, texts):
    """Whether `content` holds `text` outside the longer texts holding it."""
    for longer in texts:
        if text in longer and text != longer:
            content = content.replace(longer, "")
    return text in content


def main(argv):
    listing = "--list" in argv
    args = [arg for arg in argv if arg != "--list"]
    root = args[0] if args else os.path.join(os.path.dirname(__file__), "..")
    files = tracked(root)
    texts = trace_texts(root, files)
    if not texts:
        print(f"{MODULE}: no trace text found", file=sys.stderr)
        return 1
    holders = {text: [] for text in texts}
    duplicates = known_duplicates(root)
    status = 0
    for name in files:
        if not os.path.isfile(os.path.join(root, name)):
            continue
        document = name.endswith(".md") and name != "CHANGELOG.md"
        if not CODE.search(name) and not document:
            continue
        with open(os.path.join(root, name), encoding="utf-8",
                  errors="replace") as source:
            content = joined(source.read())
        if document:
            content = GENERATED.sub("", content)
        holder = "the module" if name.startswith(MODULE_FILES) else name
        for text in texts:
            if not holds(content, text, texts):
                continue
            if document:
                print(f'{name}: copies the trace text "{text}"; name the '
                      "test that pins it instead", file=sys.stderr)
                status = 1
            elif holder not in holders[text]:
                holders[text].append(holder)
    for text in texts:
        found = holders[text]
        if listing:
            print(f'"{text}": {", ".join(found)}')
        allowed = duplicates.get(text, set())
        if not allowed <= set(found):
            print(f'"{text}": no longer in {", ".join(sorted(allowed))}; '
                  f"remove it from {KNOWN_DUPLICATES}", file=sys.stderr)
            status = 1
        if len(found) - len(allowed) > 2:
            print(f'"{text}" is in {len(found)} files, at most 2 '
                  f'(the module and one test): {", ".join(found)}',
                  file=sys.stderr)
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
