#!/usr/bin/env bash
# Line and branch coverage of the module's own code (src/, less the client
# kit's test-support headers, which ship for client tests) by the whole test
# suite, with the thresholds that CI enforces: every line, and at least 95%
# of the branches.
#
# Branches that the compiler adds for exception unwinding (every call that
# may throw, std::bad_alloc included) and branches on lines without source
# code are left out; docs/hardening.md, "Coverage", says why.
#
# Usage: tools/coverage.sh   (report in build/coverage/coverage/index.html)
set -euo pipefail
cd "$(dirname "$0")/.."

readonly line_threshold=100
readonly branch_threshold=95

./tools/install-deps.sh coverage

cmake --preset coverage >/dev/null
cmake --build --preset coverage
# Counters of an earlier run would add up with this one's.
find build/coverage -name '*.gcda' -delete
ctest --preset coverage

mkdir -p build/coverage/coverage
gcovr --root . --object-directory build/coverage \
  --filter 'src/' \
  --exclude 'src/PlatformServices/TrafHandler/testing/' \
  --exclude-throw-branches --exclude-unreachable-branches \
  --txt build/coverage/coverage/summary.txt \
  --html-details build/coverage/coverage/index.html \
  --print-summary \
  --fail-under-line "$line_threshold" \
  --fail-under-branch "$branch_threshold" \
  || status=$?
cat build/coverage/coverage/summary.txt
if [ "${status:-0}" -ne 0 ]; then
  echo "coverage below the thresholds: lines $line_threshold%," \
       "branches $branch_threshold%" >&2
  exit 1
fi
