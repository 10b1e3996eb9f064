#!/usr/bin/env bash
# The whole test suite under AddressSanitizer + UndefinedBehaviorSanitizer,
# then under ThreadSanitizer (gcc). The first report ends the test that made
# it, and so fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh host

for preset in asan-ubsan tsan; do
  echo "== sanitizers: $preset"
  start=$SECONDS
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
  echo "== sanitizers: $preset took $((SECONDS - start)) s"
done
