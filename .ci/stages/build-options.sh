#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Every combination of the OVT_BUILD_* options configures and builds.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh build-options
./tools/check-build-options.sh
