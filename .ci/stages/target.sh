#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The board build (32-bit ARM hard-float) with the whole test suite
# and the binary-interface guard run under qemu-arm.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh target
cmake --workflow --preset target-arm
