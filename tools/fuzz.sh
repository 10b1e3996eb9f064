#!/usr/bin/env bash
# Builds the libFuzzer harnesses (preset fuzz) and runs each for a given
# time, starting from its seed corpus in fuzz/corpus/<harness>/. New inputs
# go to build/fuzz/corpus/<harness>/, findings to build/fuzz/artifacts/.
#
# Usage: tools/fuzz.sh [SECONDS_PER_HARNESS] [HARNESS...]
#   default: 60 seconds, every harness (ReceiveEntries OperationSequence)
# Fails on the first finding; prints the executions each harness reached.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
harnesses=("$@")
if [ ${#harnesses[@]} -eq 0 ]; then
  harnesses=(ReceiveEntries OperationSequence)
fi

./tools/install-deps.sh sanitizers

cmake --preset fuzz >/dev/null
# Everything, so that the warnings are errors under clang too.
cmake --build --preset fuzz

export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
summary=()
for harness in "${harnesses[@]}"; do
  work=build/fuzz/corpus/$harness
  artifacts=build/fuzz/artifacts
  mkdir -p "$work" "$artifacts"
  log=build/fuzz/$harness.log
  echo "== fuzz: $harness for $seconds s"
  status=0
  "build/fuzz/fuzz/fuzz_$harness" "$work" "fuzz/corpus/$harness" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$artifacts/$harness-" \
    >"$log" 2>&1 || status=$?
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  if [ "$status" -ne 0 ]; then
    tail -n 60 "$log" >&2
    echo "fuzz: $harness found a failure (log: $log)" >&2
    exit 1
  fi
  summary+=("$harness: ${executions:-?} executions in $seconds s, no finding")
done
printf '%s\n' "${summary[@]}"
