#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the libFuzzer harnesses (preset fuzz) and runs each for a given
# time, starting from its seed corpus in fuzz/corpus/<harness>/: the tests
# labelled fuzz (fuzz/CMakeLists.txt), with a longer run time.
#
# Usage: tools/fuzz.sh [SECONDS_PER_HARNESS] [HARNESS...]
#   default: 60 seconds, every harness
# Fails on the first finding (findings in build/fuzz/fuzz/artifacts/).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
select=()
if [ $# -gt 0 ]; then
  select=(-R "^fuzz[.]($(IFS='|'; echo "$*"))\$")
fi

./tools/install-deps.sh sanitizers
cmake --preset fuzz -DOVT_FUZZ_SECONDS="$seconds" >/dev/null
cmake --build --preset fuzz
ctest --preset fuzz --verbose "${select[@]}"
