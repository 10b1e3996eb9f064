#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that every relative link and #anchor in the Markdown files resolves.

Usage: tools/check-links.py [REPOSITORY]

Checks the Markdown files git tracks (every *.md outside build/ when git is
not at hand). A link resolves when its file or directory exists, relative to
the linking file (or to the repository for a leading "/"), and its anchor, if
any, names a heading of the target file as GitHub derives it, or an explicit
id. Links with a scheme (https:, mailto:) are not followed. Exit status 1
lists each broken link as FILE:LINE: message.
"""

import os
import re
import subprocess
import sys
import unicodedata

FENCE = re.compile(r"^\s{0,3}(`{3,}|~{3,})")
HEADING = re.compile(r"^\s{0,3}(#{1,6})\s+(.*?)\s*#*\s*$")
INLINE_LINK = re.compile(r"!?\[(?:[^\]\\]|\\.)*\]\(\s*<?([^)\s>]*)>?(?:\s+[\"'(][^)]*)?\)")
REFERENCE = re.compile(r"^\s{0,3}\[[^\]]+\]:\s*<?(\S+?)>?(?:\s+.*)?$")
CODE_SPAN = re.compile(r"(`+)(?:(?!\1).)+?\1")
EXPLICIT_ID = re.compile(r"<a\s+[^>]*(?:name|id)=\"([^\"]+)\"", re.IGNORECASE)
SCHEME = re.compile(r"^[A-Za-z][A-Za-z0-9+.-]*:")


def markdown_files(root):
    try:
        listed = subprocess.run(
            ["git", "-C", root, "ls-files", "-z", "--", "*.md"],
            check=True, capture_output=True, text=True).stdout
        return sorted(name for name in listed.split("\0") if name)
    except (OSError, subprocess.CalledProcessError):
        found = []
        for directory, subdirs, files in os.walk(root):
            subdirs[:] = [d for d in subdirs if d not in (".git", "build")]
            found += [os.path.relpath(os.path.join(directory, f), root)
                      for f in files if f.endswith(".md")]
        return sorted(found)


def lines_outside_code(text):
    """Yields (line number, line) of the lines outside fenced code blocks."""
    fence = None
    for number, line in enumerate(text.splitlines(), 1):
        match = FENCE.match(line)
        if fence is None and match:
            fence = match.group(1)[0] * len(match.group(1))
        elif fence is not None and line.strip().startswith(fence):
            fence = None
        elif fence is None:
            yield number, line


def slug(heading):
    """The anchor GitHub gives a heading."""
    text = re.sub(r"!?\[([^\]]*)\]\([^)]*\)", r"\1", heading)  # link text only
    text = re.sub(r"<[^>]+>", "", text).strip().lower()
    kept = []
    for char in text:
        if char in " -_" or unicodedata.category(char)[0] in "LNM":
            kept.append("-" if char == " " else char)
    return "".join(kept)


def anchors(path, cache):
    if path not in cache:
        found, seen = set(), {}
        with open(path, encoding="utf-8") as source:
            for _, line in lines_outside_code(source.read()):
                found.update(EXPLICIT_ID.findall(line))
                match = HEADING.match(line)
                if match:
                    base = slug(match.group(2))
                    count = seen.get(base, 0)
                    seen[base] = count + 1
                    found.add(base if count == 0 else f"{base}-{count}")
        cache[path] = found
    return cache[path]


def check(root):
    problems, cache = [], {}
    for name in markdown_files(root):
        path = os.path.join(root, name)
        with open(path, encoding="utf-8") as source:
            text = source.read()
        for number, line in lines_outside_code(text):
            line = CODE_SPAN.sub("", line)
            targets = INLINE_LINK.findall(line)
            reference = REFERENCE.match(line)
            if reference:
                targets.append(reference.group(1))
            for target in targets:
                if not target or SCHEME.match(target):
                    continue
                file_part, _, anchor = target.partition("#")
                if file_part.startswith("/"):
                    linked = os.path.join(root, file_part.lstrip("/"))
                elif file_part:
                    linked = os.path.join(os.path.dirname(path), file_part)
                else:
                    linked = path
                where = f"{name}:{number}"
                if not os.path.exists(linked):
                    problems.append(f"{where}: {target}: no such file")
                elif anchor and linked.endswith(".md") and \
                        anchor not in anchors(os.path.normpath(linked), cache):
                    problems.append(f"{where}: {target}: no such anchor")
    return problems


def main():
    root = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else ".")
    problems = check(root)
    for problem in problems:
        print(problem)
    if problems:
        print(f"{len(problems)} broken link(s)")
        return 1
    print("every relative link and anchor resolves")
    return 0


if __name__ == "__main__":
    sys.exit(main())
