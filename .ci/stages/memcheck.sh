#!/usr/bin/env bash
# Valgrind memcheck of the module's whole life in one process: dlopen,
# initialisation, phases, traffic, de-initialisation and dlclose (the load
# tests), and the node simulator's scenario. Any invalid access, and any
# definite or indirect leak, fails the stage.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh host
./tools/install-deps.sh memcheck

start=$SECONDS
cmake --preset host >/dev/null
cmake --build --preset host

memcheck=(valgrind --tool=memcheck --error-exitcode=1 --leak-check=full
          --errors-for-leak-kinds=definite,indirect
          --show-leak-kinds=definite,indirect --track-origins=yes)
echo "== memcheck: load tests"
"${memcheck[@]}" build/host/tests/trafhandler_load_tests
if [ -x build/host/simulator/trafsim ]; then
  echo "== memcheck: simulator"
  "${memcheck[@]}" build/host/simulator/trafsim >/dev/null
fi
echo "== memcheck: clean, took $((SECONDS - start)) s"
