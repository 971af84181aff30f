#!/usr/bin/env bash
# Installs packages into a Debian of its own and uses them there as a user would, then takes them out again. Needs root.
# Usage: try_packages.sh FOLDER PACKAGE...; a wheel may be among them.
set -euo pipefail
folder=$1
shift
base=$folder/base root=$folder/root

"$(dirname "$0")/make_debian.sh" "$folder"
rm -rf "$root"
cp -a "$base" "$root"
mkdir "$root/packages"
cp "$@" "$root/packages"
cp "$(dirname "$0")/use_packages.sh" "$root/packages"
# /proc is mounted for this one command only and goes with it.
unshare --mount --pid --fork bash -euc "mount -t proc proc '$root/proc'; exec chroot '$root' env -i \
  PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive bash /packages/use_packages.sh"
rm -rf "$root"
