#!/usr/bin/env bash
# A bounded smoke run of every libFuzzer harness (30 s each) from its seed
# corpus; any finding fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."

start=$SECONDS
./tools/fuzz.sh 30
echo "== fuzz took $((SECONDS - start)) s"
