#!/usr/bin/env bash
# make_debian.sh FOLDER [ARCHITECTURE]: a minimal Debian in FOLDER/base, unless it is there. Needs root.
set -euo pipefail
folder=$(realpath -m "$1")
architecture=${2:-$(dpkg --print-architecture)}
[ ! -d "$folder/base" ] || exit 0
rm -rf "$folder/base.part"
mkdir -p "$folder"
log=$folder/debootstrap.log
debootstrap --variant=minbase --arch="$architecture" bookworm "$folder/base.part" >"$log" 2>&1 || {
  status=$?
  echo "debootstrap failed with status $status:"
  # The reason is in its own log when a program that it ran has failed.
  for log in "$log" "$folder/base.part/debootstrap/debootstrap.log"; do
    if [ -e "$log" ]; then tail -n 20 "$log"; else echo "$log is missing"; fi
  done
  exit 1
} >&2
mv "$folder/base.part" "$folder/base"
