#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that what the documents name exists, and that their C++ is compiled.

Usage: tools/check-doc-names.py [REPOSITORY]

Reads the Markdown files git tracks, CHANGELOG.md excepted (it is history),
outside the blocks that trafsim generates (<!-- trafsim ... --> to
<!-- end -->). In code spans and in code blocks:

- a test: a GoogleTest suite (`SomethingTest`), a `Suite.Case` or `Suite.*`,
  a CTest name (`trafsim.builtin`, `Install.*`) or a `ctest -R REGEX`/`-L
  LABEL` must name tests that the test sources and the CMake files define;
- a file: a path whose first part is tracked (`tools/lint.sh`), a path
  relative to the document or ending a tracked path (`testing/Foo.h`), or a
  bare file name (`Foo.h`) must be tracked, or be one that a CMake file
  names (a file the build writes);
- `make TARGET`, `--preset NAME` and `--target NAME` must be a target of the
  Makefile, a preset of CMakePresets.json and a target of the CMake files.

Every C++ block (```cpp) must be cut from a compiled file: the line before
it is <!-- cut from PATH REGION -->, and the block equals the lines between
the markers `// [REGION]` and `// [end REGION]` in PATH, less their common
indentation. Exit status 1 lists each finding as FILE:LINE: message.
"""

import os
import re
import subprocess
import sys

FENCE = re.compile(r"^\s{0,3}(`{3,}|~{3,})\s*(\S*)")
CODE_SPAN = re.compile(r"(`+)((?:(?!\1).)+?)\1")
GENERATED_START = re.compile(r"^<!-- trafsim .*-->\s*$")
GENERATED_END = re.compile(r"^<!-- end -->\s*$")
CUT = re.compile(r"^<!-- cut from (\S+) (\S+) -->\s*$")

SUITE = re.compile(r"^[A-Z][A-Za-z0-9]*Test$")
SUITE_CASE = re.compile(r"^([A-Z][A-Za-z0-9]*Test)\.(\w+|\*)$")
GTEST_MACRO = re.compile(
    r"\b(?:TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P)\s*\(\s*(\w+)\s*,\s*(\w+)")
INSTANTIATE = re.compile(r"\bINSTANTIATE_TEST_SUITE_P\s*\(\s*(\w+)\s*,\s*(\w+)")
FIXTURE = re.compile(r"\b(?:class|struct)\s+(\w+Test)\b")
ADD_TEST = re.compile(r"\badd_test\s*\(\s*NAME\s+(\S+)")
GTEST_PROGRAM = re.compile(r"\bovt_add_gtest\s*\(\s*(\w+)")
TARGET = re.compile(
    r"\b(?:add_executable|add_library|add_custom_target|ovt_add_gtest)"
    r"\s*\(\s*([\w-]+)")
CTEST_ARGUMENT = re.compile(r"^\s*([A-Z]\w*\.[A-Z]\w+)\s*$", re.MULTILINE)
LABELS = re.compile(r"\bLABELS\s+([^)]*)")
MAKE = re.compile(r"(?:^|[\s;&|(])make\s+([a-z][\w-]*)")
PRESET = re.compile(r"--preset[= ]([\w-]+)")
BUILD_TARGET = re.compile(r"--target[= ]([\w-]+)")
CTEST_REGEX = re.compile(r"\bctest\b[^`\n]*?\s-R\s+(\S+)")
CTEST_LABEL = re.compile(r"\bctest\b[^`\n]*?\s-L\s+(\S+)")
FILE_EXTENSIONS = (".h", ".hpp", ".c", ".cpp", ".def", ".sim", ".md", ".sh",
                   ".py", ".cmake", ".json", ".map", ".in", ".abi", ".txt")
# Words that stand for a name the reader chooses.
PLACEHOLDERS = {"NAME", "N", "FILE", "DIR", "PATH", "SUITE", "SECONDS"}
# Paths outside the checkout: the build trees, installed and system paths.
NOT_SOURCE = ("build/", "/", "~", "include/", "lib/", "share/", "bin/",
              "http:", "https:")


def tracked(root):
    listed = subprocess.run(["git", "-C", root, "ls-files", "-z"], check=True,
                            capture_output=True, text=True).stdout
    return sorted(name for name in listed.split("\0") if name)


def read(root, name):
    with open(os.path.join(root, name), encoding="utf-8",
              errors="replace") as source:
        return source.read()


class Known:
    """What the checkout defines: files, tests, targets, presets."""

    def __init__(self, root, files):
        self.files = set(files)
        self.dirs = {os.path.dirname(name) for name in files}
        for name in list(self.dirs):
            while name:
                name = os.path.dirname(name)
                self.dirs.add(name)
        self.top = {name.split("/")[0] for name in files}
        self.basenames = {os.path.basename(name) for name in files}
        self.suites, self.cases = set(), set()
        self.ctest_patterns, self.labels, self.targets = [], set(), set()
        self.cmake_text = ""
        for name in files:
            if name.endswith((".cpp", ".h")):
                text = read(root, name)
                for suite, case in GTEST_MACRO.findall(text):
                    self.suites.add(suite)
                    self.cases.add(f"{suite}.{case}")
                for _, suite in INSTANTIATE.findall(text):
                    self.suites.add(suite)
                if "gtest" in text:
                    self.suites.update(FIXTURE.findall(text))
            elif name.endswith(("CMakeLists.txt", ".cmake")):
                text = read(root, name)
                self.cmake_text += text
                for test in ADD_TEST.findall(text):
                    if not re.fullmatch(r"\$\{\w+\}", test):
                        self.ctest_patterns.append(self.pattern(test, files))
                # Names a CMake function passes on to add_test.
                self.ctest_patterns += [re.escape(name) for name in
                                        CTEST_ARGUMENT.findall(text)]
                for labels in LABELS.findall(text):
                    self.labels.update(re.findall(r"[\w-]+", labels))
                self.targets.update(TARGET.findall(text))
        # GoogleTest programs register their tests by suite and case.
        self.ctest_patterns += [re.escape(case) for case in self.cases]
        self.make_targets = set()
        for line in read(root, "Makefile").splitlines():
            match = re.match(r"^([\w-]+)\s*:", line)
            if match:
                self.make_targets.add(match.group(1))
        presets = re.findall(r'"name"\s*:\s*"([\w-]+)"',
                             read(root, "CMakePresets.json"))
        self.presets = set(presets)

    @staticmethod
    def pattern(test, files):
        """A CTest name as a regular expression; trafsim.${name} stands for
        the scenarios, each one a test."""
        if test == "trafsim.${name}":
            names = [name[len("scenarios/"):-len(".sim")] for name in files
                     if name.startswith("scenarios/") and name.endswith(".sim")]
            return "trafsim\\.(" + "|".join(map(re.escape, names)) + ")"
        parts = re.split(r"\$\{[^}]*\}", test)
        return "[\\w./-]+".join(re.escape(part) for part in parts)

    def is_ctest(self, name):
        return any(re.fullmatch(p, name) for p in self.ctest_patterns)

    def ctest_prefixes(self):
        return {re.split(r"\\?\.", p, maxsplit=1)[0].replace("\\", "")
                for p in self.ctest_patterns if "\\." in p}


def documents(files):
    return [name for name in files
            if name.endswith(".md") and name != "CHANGELOG.md"]


def pieces(text):
    """Yields (line, kind, text, language, cut): each code span ("span") and
    each code block ("block") outside the generated blocks; `cut` is the
    marker line before a block, if any."""
    fence, language, start, body, generated = None, "", 0, [], False
    previous, cut = "", ""
    for number, line in enumerate(text.splitlines(), 1):
        if fence is None and GENERATED_START.match(line):
            generated = True
        elif generated:
            generated = not GENERATED_END.match(line)
        elif fence is None and FENCE.match(line):
            match = FENCE.match(line)
            fence, language, start, body = match.group(1), match.group(2), number, []
            cut = previous
        elif fence is not None:
            if line.strip().startswith(fence):
                yield start, "block", "\n".join(body), language, cut
                fence = None
            else:
                body.append(line)
        else:
            for match in CODE_SPAN.finditer(line):
                yield number, "span", match.group(2).strip(), "", ""
        previous = line


def region(root, path, name):
    """The lines between `// [name]` and `// [end name]` in `path`, less their
    common indentation; None when there is no such region."""
    lines = read(root, path).splitlines()
    try:
        first = next(i for i, line in enumerate(lines)
                     if line.strip() == f"// [{name}]")
        last = next(i for i, line in enumerate(lines)
                    if line.strip() == f"// [end {name}]")
    except StopIteration:
        return None
    body = lines[first + 1:last]
    indent = min((len(line) - len(line.lstrip()) for line in body if line.strip()),
                 default=0)
    return "\n".join(line[indent:] for line in body)


def file_findings(known, document, token):
    token = token.rstrip(".,:;)")
    stem = os.path.basename(token.rstrip("/")).split(".")[0]
    if (any(c in token for c in "<>*$[]{}'\"=`|:") or stem in PLACEHOLDERS
            or token.startswith(NOT_SOURCE) or token.startswith("-")):
        return None
    path = token.rstrip("/")
    if "/" in token:
        first = path.split("/")[0]
        here = os.path.normpath(os.path.join(os.path.dirname(document), path))
        if first in known.top or first in (".", ".."):
            exists = path in known.files or path in known.dirs or \
                here in known.files or here in known.dirs
            return None if exists else f"no file or directory {token}"
        if here in known.files or here in known.dirs:
            return None
        tail = "/" + path
        if any(name.endswith(tail) for name in known.files) or \
                any(name.endswith(tail) for name in known.dirs):
            return None
        return None if path.split("/")[-1] in known.cmake_text and \
            "." in path.split("/")[-1] else f"no file or directory {token}"
    if token.endswith(FILE_EXTENSIONS) and re.fullmatch(r"[\w.+-]+", token):
        if token in known.basenames or token in known.cmake_text:
            return None
        return f"no file {token}"
    return None


def check_span(known, document, text):
    findings = []
    match = SUITE_CASE.match(text)
    if match:
        suite, case = match.groups()
        if suite not in known.suites:
            findings.append(f"no test suite {suite}")
        elif case != "*" and text not in known.cases:
            findings.append(f"no test {text}")
        return findings
    if SUITE.match(text):
        if text not in known.suites:
            findings.append(f"no test suite {text}")
        return findings
    first = text.split(".")[0]
    if "." in text and " " not in text and first in known.ctest_prefixes() \
            and not text.endswith(FILE_EXTENSIONS):
        if not known.is_ctest(text):
            findings.append(f"no test {text}")
        return findings
    return findings + check_command(known, document, text)


def check_command(known, document, text):
    findings = []
    for target in MAKE.findall(text):
        if target not in known.make_targets:
            findings.append(f"no make target {target}")
    for preset in PRESET.findall(text):
        if preset not in known.presets:
            findings.append(f"no preset {preset}")
    for target in BUILD_TARGET.findall(text):
        if target not in known.targets:
            findings.append(f"no build target {target}")
    for label in CTEST_LABEL.findall(text):
        if label not in known.labels and not label.isupper():
            findings.append(f"no test label {label}")
    for expression in CTEST_REGEX.findall(text):
        if expression.isupper() or "<" in expression:
            continue  # a placeholder
        names = list(known.suites) + list(known.cases)
        if not any(re.search(expression, name) for name in names) and \
                not any(re.search(expression, p.replace("\\", ""))
                        for p in known.ctest_patterns):
            findings.append(f"ctest -R {expression} selects no test")
    for token in text.split():
        finding = file_findings(known, document, token)
        if finding:
            findings.append(finding)
    return findings


def main(argv):
    root = argv[0] if argv else os.path.join(os.path.dirname(__file__), "..")
    files = tracked(root)
    known = Known(root, files)
    findings = []
    for document in documents(files):
        for line, kind, text, language, cut in pieces(read(root, document)):
            where = f"{document}:{line}"
            if kind == "span":
                findings += [f"{where}: {f}" for f in check_span(known, document, text)]
            elif language in ("cpp", "c++", "c"):
                marker = CUT.match(cut)
                if not marker:
                    findings.append(f"{where}: a C++ block without "
                                    "<!-- cut from PATH REGION --> before it")
                    continue
                path, name = marker.groups()
                if path not in known.files:
                    findings.append(f"{where}: no file {path} to cut from")
                    continue
                expected = region(root, path, name)
                if expected is None:
                    findings.append(f"{where}: {path} has no region "
                                    f"// [{name}] ... // [end {name}]")
                elif expected.strip("\n") != text.strip("\n"):
                    findings.append(f"{where}: the block differs from "
                                    f"{path} region {name}")
            elif language in ("", "sh", "console", "shell", "bash"):
                for number, command in enumerate(text.splitlines(), line + 1):
                    command = command.split("#")[0]
                    findings += [f"{document}:{number}: {f}" for f in
                                 check_command(known, document, command)]
    for finding in findings:
        print(finding, file=sys.stderr)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
