#!/usr/bin/env bash
# cross.sh ARCHITECTURE: what building and testing for another processor needs besides the cross compiler, below
# build/cross/ARCHITECTURE (Debian's name, such as arm64). Needs root.
#   base       a Debian of that processor, as debootstrap makes it
#   sysroot    the same with headers and libraries to build with
#   libraries  what emulated programs load from: of the sysroot only lib, so that they see all other files of this machine
#   bin        dpkg-shlibdeps as it works in the sysroot, for cpack
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
architecture=$1
shift
project=$PWD
folder=$project/build/cross/$architecture
case $architecture in
  arm64) processor=aarch64 ;;
  *) processor=$architecture ;;
esac
packages=(libc6-dev libstdc++-12-dev libgomp1 libboost-dev libsqlite3-dev libzstd-dev liblzf-dev zlib1g-dev libspdlog-dev
  libfmt-dev libcli11-dev nlohmann-json3-dev libgtest-dev libgmock-dev dpkg-dev)

# The kernel begins programs of that processor in the emulator from then on, also those that a test begins.
register_emulator() {
  local registry=/proc/sys/fs/binfmt_misc
  [ -e $registry/register ] || mount -t binfmt_misc binfmt_misc $registry
  [ -e "$registry/qemu-$processor" ] || cat "/usr/lib/binfmt.d/qemu-$processor.conf" >$registry/register
}

# Links that begin at the root lead out of the sysroot: they become relative.
mend_links() {
  local link
  find "$1/usr/lib" -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
    ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$1$(readlink "$link")")" "$link"
  done
}

make_sysroot() {
  local root=$folder/sysroot
  cmp -s <(printf '%s\n' "${packages[@]}") "$root/packages" && return
  rm -rf "$root" "$root.part"
  cp -a "$folder/base" "$root.part"
  chroot "$root.part" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive bash -euc \
    'apt-get update -qq; apt-get install -y -qq --no-install-recommends "$@"' - "${packages[@]}" >"$folder/sysroot.log" 2>&1 \
    || { tail -n 20 "$folder/sysroot.log"; return 1; }
  mend_links "$root.part"
  printf '%s\n' "${packages[@]}" >"$root.part/packages"
  mv "$root.part" "$root"
}

# The dependencies of a package are found by what is installed, so that is asked in the sysroot.
make_shlibdeps() {
  mkdir -p "$folder/bin" "$folder/libraries" "$folder/sysroot$project"
  ln -sfn ../sysroot/usr/lib "$folder/libraries/lib"
  cat >"$folder/bin/dpkg-shlibdeps" <<SCRIPT
#!/usr/bin/env bash
exec unshare --mount bash -euc 'mount --bind "$project" "$folder/sysroot$project"
  exec chroot "$folder/sysroot" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C DEB_HOST_ARCH=$architecture \
    bash -euc "cd \"\\\$1\"; shift; exec dpkg-shlibdeps \"\\\$@\"" - "\$PWD" "\$@"' - "\$@"
SCRIPT
  chmod +x "$folder/bin/dpkg-shlibdeps"
}

register_emulator
packaging/make_debian.sh "$folder" "$architecture"
make_sysroot
make_shlibdeps
