#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A bounded run of every libFuzzer harness (30 s each, the tests labelled
# fuzz) from its seed corpus; any finding fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh sanitizers
cmake --workflow --preset fuzz
