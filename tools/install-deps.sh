#!/usr/bin/env bash
# Installs the Debian packages a build needs, when missing.
# Usage: tools/install-deps.sh host|target|sanitizers|coverage|memcheck|lint|build-options|bench
set -euo pipefail

packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev pkg-config python3 abigail-tools dpkg-dev)
case "${1:-host}" in
  host) ;;
  target) packages+=(g++-arm-linux-gnueabihf qemu-user googletest binutils-arm-linux-gnueabihf) ;;
  sanitizers) packages+=(clang libclang-rt-14-dev) ;;
  coverage) packages+=(gcovr) ;;
  memcheck) packages+=(valgrind) ;;
  # Instructions per received message are counted by callgrind.
  bench) packages+=(valgrind) ;;
  lint) packages+=(clang clang-format clang-tidy git) ;;
  # The option combinations compile the same sources again and again.
  build-options) packages+=(ccache) ;;
  *) echo "usage: $0 host|target|sanitizers|coverage|memcheck|lint|build-options|bench" >&2; exit 2 ;;
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
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
