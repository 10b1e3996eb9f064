#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Line and branch coverage of the module's own code by the whole test suite,
# with the thresholds CI enforces (cmake/Checks.cmake); the CI stage itself.
# Usage: tools/coverage.sh   (report in build/coverage/coverage/index.html)
exec "$(dirname "$0")/../.ci/stages/coverage.sh"
