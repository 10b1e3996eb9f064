#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The whole test suite under AddressSanitizer + UndefinedBehaviorSanitizer
# (gcc). The first report ends the test that made it, and so fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh host
cmake --workflow --preset asan-ubsan
