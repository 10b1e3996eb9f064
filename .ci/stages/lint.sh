#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# clang-format (no diff) and clang-tidy (no finding) over the project's
# sources (tools/lint.sh).
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh lint
cmake --workflow --preset lint
