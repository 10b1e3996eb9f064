#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Valgrind memcheck of the module's whole life in one process: the load test
# (dlopen, initialisation, dlclose) and the node simulator's built-in scenario
# (start-up, phases, traffic, shutdown, dlclose). Any invalid access, and any
# definite or indirect leak, fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh memcheck
cmake --workflow --preset memcheck
