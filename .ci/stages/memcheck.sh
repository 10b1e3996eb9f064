#!/usr/bin/env bash
# Valgrind memcheck of the module's whole life in one process: dlopen,
# initialisation, phases, traffic, de-initialisation and dlclose (the load
# tests), and the node simulator's scenario. Any invalid access, and any
# definite or indirect leak, fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh memcheck
cmake --workflow --preset memcheck
