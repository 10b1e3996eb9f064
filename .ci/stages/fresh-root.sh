#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A newcomer's first steps on a fresh machine: a minimal Debian 12 root
# (debootstrap --variant=minbase), in it only what the README's
# "Prerequisites" says to install (make), a clone of the commit under test,
# then `make run` and `make test` as root. Any failure fails the stage, so a
# package missing from tools/install-deps.sh does. Nothing is kept between
# runs: the root is bootstrapped anew in a temporary folder, removed at the
# end. Takes about 6.5 minutes on two (shared) cores: bootstrapping 80 s,
# make run with its package installation 110 s, make test 125 s, the rest
# cloning and removing the root.
set -euo pipefail
cd "$(dirname "$0")/../.."

./tools/install-deps.sh fresh-root
commit=$(git rev-parse HEAD)
scratch=$(mktemp -d "${TMPDIR:-/var/tmp}/ovt-fresh-root.XXXXXX")
root=$scratch/root

# The mounts live in a mount namespace of their own and end with it; what
# is still mounted here (it should be nothing) is unmounted before the
# folder goes, and rm never crosses into another file system.
cleanup() {
  local status=$?
  [ "$status" -eq 0 ] || echo "fresh root: failed (exit status $status)" >&2
  findmnt -rno TARGET | grep -F "$root/" | sort -r |
    xargs -r -d '\n' umount -l || true
  rm -rf --one-file-system "$scratch"
}
trap cleanup EXIT
trap 'exit 1' INT TERM HUP

echo "fresh root: bootstrapping Debian 12 (minbase) in $root"
debootstrap --variant=minbase bookworm "$root" >"$scratch/debootstrap.log" 2>&1 ||
  { tail -n 30 "$scratch/debootstrap.log" >&2; exit 1; }
echo "fresh root: bootstrapped in ${SECONDS}s; cloning $commit"
git clone --quiet --no-local --no-checkout "$PWD" "$root/root/OvtTrafHandler"
git -C "$root/root/OvtTrafHandler" checkout --quiet --detach "$commit"

# The newcomer's steps, as root in the fresh root: the README's
# "Prerequisites" (apt's output shown only when it fails), then its "Start".
cat >"$root/root/newcomer.sh" <<'STEPS'
set -euo pipefail
echo "fresh root: apt-get update && apt-get install make"
{ apt-get update -qq &&
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq -o Dpkg::Use-Pty=0 make
} >/tmp/apt.log 2>&1 || { cat /tmp/apt.log >&2; exit 1; }
cd /root/OvtTrafHandler
echo "fresh root: make run"
make run
echo "fresh root: make run passed after ${SECONDS}s; make test"
make test
echo "fresh root: make test passed after ${SECONDS}s"
STEPS

# A mount and PID namespace of their own (what a test leaves running ends
# with them), the kernel file systems the build and the tests use, and a
# clean environment.
unshare --mount --pid --fork --propagation private bash -euo pipefail -c '
  mount -t proc proc "$1/proc"
  mount --rbind /dev "$1/dev"
  mount -t sysfs -o ro sysfs "$1/sys"
  exec chroot "$1" /usr/bin/env -i HOME=/root TERM=dumb \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    bash /root/newcomer.sh' fresh-root "$root"
echo "fresh root: make run and make test passed on a fresh Debian 12"
