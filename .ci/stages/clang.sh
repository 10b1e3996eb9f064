#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The host build (the module, the stand-ins, the simulator, the benchmarks
# and every test) with Debian's clang++ instead of g++, warnings as errors,
# and the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh clang
cmake --workflow --preset clang
