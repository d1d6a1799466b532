#!/usr/bin/env bash
# Installs the packages of scripts/package.sh in a Debian system of their own below build/clean_root, uses
# each of them there, removes them and looks at what stays. Wants root, a network and 2 GB.
# usage: scripts/package_test.sh
#   DEBIAN_MIRROR  default: http://deb.debian.org/debian
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=build/clean_root
if [ "$(id -u)" -ne 0 ]; then
  echo "package_test: only root can make a system of its own; try sudo scripts/package_test.sh" >&2
  exit 2
fi
scripts/setup.sh packages
[ -d build/demo/record ] || scripts/demo.sh  # A record of real media.
mapfile -t packages < <(scripts/package.sh | grep '\.deb$')

step() { printf '== %s\n' "$1"; }

# Each program runs in mounts of its own, which end with it.
inside() {
  # shellcheck disable=SC2016 # $0 and $@ are those of the inner shell.
  unshare --mount --pid --fork --kill-child sh -c '
    mount --bind "$0" "$0" && mount -t proc proc "$0/proc" &&
    exec chroot "$0" env -i DEBIAN_FRONTEND=noninteractive PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@"
  ' "$root" "$@"
}

step "a clean system"
rm -rf "$root"
debootstrap --variant=minbase bookworm "$root" "${DEBIAN_MIRROR:-http://deb.debian.org/debian}" >build/clean_root.log || {
  tail -5 build/clean_root.log >&2
  exit 1
}
mkdir "$root/packages"
for package in "${packages[@]}"; do
  name=$(basename "$package")
  cp "$package" "$root/packages/${name%%_*}.deb"
done
inside apt-get update -qq

# Packages of ours by their names, and others.
install() {
  step "installs $*"
  inside sh -c 'apt-get install -qq --no-install-recommends "$@" >/log 2>&1 || { cat /log; exit 1; }' sh "$@"
}

build() {
  echo "builds $1"
  # shellcheck disable=SC2016 # $1 is that of the inner shell.
  inside sh -c 'cmake -S "/$1" -B "/build/$1" >/log 2>&1 && cmake --build "/build/$1" >>/log 2>&1 ||
    { cat /log; exit 1; }' sh "$1"
}

install g++ cmake make pkg-config /packages/librtc-transcoder0.deb /packages/librtc-transcoder-dev.deb
mkdir -p "$root/tests"
cp -r tests/install "$root/tests/"
cp -r examples "$root/"
for project in by_find_package by_pkg_config; do
  build "tests/install/$project"
  inside "/build/tests/install/$project/host"
done

install /packages/librtc-transcoder-{mp4-writer,speaker-timeline}{0,-dev}.deb
build tests/install/examples
mkdir "$root/recorded"
inside /build/tests/install/examples/record_conference /recorded 4
cp -r build/demo/record "$root/"
inside /build/tests/install/examples/transcode_record /record/ /example.mp4

install /packages/kxrtc.deb
inside kxrtc --version
inside kxrtc verify /record
inside kxrtc transcode --video copy /record /tool.mp4

step "removes everything"
inside sh -c 'apt-get purge -qq "librtc-transcoder*" kxrtc >/log 2>&1 || { cat /log; exit 1; }'
left=$(find "$root"/{etc,opt,usr,var} \( -iname '*rtc*transcoder*' -o -iname '*kxrtc*' \))
if [ -n "$left" ]; then
  printf 'package_test: what stays behind:\n%s\n' "$left" >&2
  exit 1
fi
rm -rf "$root"
echo "package_test: everything was installed, used and removed"
