#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Every tracked source file names its licence (an SPDX line); each trace
# text of the module is in the module and one test only
# (tools/check-trace-texts.py); each trace statement has lines of its own
# (tools/check-trace-statements.py); what the documents name exists and
# their C++ is cut from compiled files (tools/check-doc-names.py);
# clang-format (no diff) over every tracked C/C++ file, then clang-tidy (no
# finding, .clang-tidy) over every tracked .cpp that the build BUILD_DIR
# compiles. All run in full, so that one run lists every finding.
#
# Usage: tools/lint.sh BUILD_DIR   (`cmake --workflow --preset lint` runs it)
set -euo pipefail
build=$(realpath "$1")
cd "$(dirname "$0")/.."

status=0
unlicensed=$(git ls-files '*.c' '*.cpp' '*.h' '*.def' '*.in' '*.cmake' '*.sh' \
  '*.py' '*.map' CMakeLists.txt '*/CMakeLists.txt' Makefile .ci/run |
  grep -v debian-copyright.in |
  xargs grep -L 'SPDX-License-Identifier: Apache-2.0' || true)
if [ -n "$unlicensed" ]; then
  printf 'No SPDX licence line: %s\n' $unlicensed >&2
  status=1
fi
python3 tools/check-trace-texts.py . || status=1
python3 tools/check-trace-statements.py . || status=1
python3 tools/check-doc-names.py . || status=1
git ls-files -z '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' |
  xargs -0 clang-format --dry-run --Werror || status=1
# run-clang-tidy takes regular expressions of the files to check. The
# compiler's own "N warnings generated." line after each file (warnings in
# headers that clang-tidy then leaves out) goes with caret diagnostics off
# in the compiler; clang-tidy's findings keep their carets.
mapfile -t sources < <(git ls-files '*.cpp' | sed "s|[.]|[.]|g; s|^|^$PWD/|; s|$|\$|")
run-clang-tidy -p "$build" -quiet -extra-arg=-fno-caret-diagnostics \
  "${sources[@]}" || status=1
exit "$status"
