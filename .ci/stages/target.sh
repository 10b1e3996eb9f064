#!/usr/bin/env bash
# CI stage: the board build (32-bit ARM hard-float) with the whole test suite
# and the binary-interface guard run under qemu-arm. `make target-test`
# installs the cross toolchain, qemu-user and the GoogleTest sources when
# they are missing.
set -euo pipefail
cd "$(dirname "$0")/../.."

make target-test
