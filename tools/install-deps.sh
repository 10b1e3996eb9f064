#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages a build needs, when missing: as root, or
# through sudo. A fresh minimal Debian 12 with make needs nothing else (the
# CI stage fresh-root checks it). apt's own output is shown only when it
# fails.
# Usage: tools/install-deps.sh host|target|sanitizers|clang|coverage|memcheck|lint|build-options|fresh-root|bench
set -euo pipefail

# file: CPack's Debian generator reads the built files' types with it.
packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev pkg-config python3 abigail-tools dpkg-dev file)
case "${1:-host}" in
  host) ;;
  target) packages+=(g++-arm-linux-gnueabihf qemu-user googletest binutils-arm-linux-gnueabihf) ;;
  sanitizers) packages+=(clang libclang-rt-14-dev) ;;
  clang) packages+=(clang) ;;
  coverage) packages+=(gcovr) ;;
  memcheck) packages+=(valgrind) ;;
  # Instructions per received message are counted by callgrind.
  bench) packages+=(valgrind) ;;
  lint) packages+=(clang clang-format clang-tidy git) ;;
  # The option combinations compile the same sources again and again.
  build-options) packages+=(ccache) ;;
  # The CI stage that bootstraps a fresh Debian root and clones into it.
  fresh-root) packages+=(debootstrap git) ;;
  *) echo "usage: $0 host|target|sanitizers|clang|coverage|memcheck|lint|build-options|fresh-root|bench" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "ok installed"; then
    missing+=("$package")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "Installing: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${sudo_cmd[@]}" apt-get update -qq &&
       "${sudo_cmd[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
         -o Dpkg::Use-Pty=0 --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "install-deps: apt-get failed (its output above)" >&2
  exit 1
fi
echo "Installed: ${missing[*]}"
