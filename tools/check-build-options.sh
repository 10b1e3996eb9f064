#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Configures and builds (target all) every combination of the OVT_BUILD_*
# options of CMakeLists.txt, each in a scratch folder, unoptimised and
# without debug information to keep it cheap; ccache is used when installed.
# Lists every combination that does not build, and then fails.
#
# Usage: tools/check-build-options.sh
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t options < <(sed -n 's/^ *option(\(OVT_BUILD_[A-Z_]*\) .*/\1/p' CMakeLists.txt |
                       sort -u)
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failed=()

for ((mask = 0; mask < 1 << ${#options[@]}; mask++)); do
  settings=()
  for i in "${!options[@]}"; do
    settings+=("-D${options[i]}=$(((mask >> i) & 1 ? 1 : 0))")
  done
  echo "== build options: ${settings[*]}"
  dir=$scratch/$mask
  cmake --preset host -B "$dir" -DCMAKE_BUILD_TYPE= "${launcher[@]}" \
    "${settings[@]}" >"$dir.log" 2>&1 &&
    cmake --build "$dir" -j 2 >>"$dir.log" 2>&1 ||
    { tail -n 30 "$dir.log" >&2; failed+=("${settings[*]}"); }
  rm -rf "$dir"
done
if [ ${#failed[@]} -ne 0 ]; then
  printf 'build options: does not build: %s\n' "${failed[@]}" >&2
  exit 1
fi
echo "== build options: all $mask combinations build"
