#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Line and branch coverage of src/ by the whole test suite, then the
# test coverage.thresholds (cmake/Checks.cmake) fails below its thresholds.
# Report: build/coverage/coverage/index.html.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh coverage
cmake --workflow --preset coverage
