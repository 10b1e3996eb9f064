#!/usr/bin/env bash
# Line and branch coverage of src/ by the whole test suite; fails below
# every line and 95% of the branches (tools/coverage.sh).
set -euo pipefail
cd "$(dirname "$0")/../.."

start=$SECONDS
./tools/coverage.sh
echo "== coverage took $((SECONDS - start)) s"
