#!/usr/bin/env bash
# Installs the missing packages of scripts/packages.txt. Prints nothing when none is missing.
# usage: scripts/setup.sh [GROUP...]
#   arm64     also what builds and runs programs for 64-bit ARM (scripts/arm64.sh)
#   browser   also a browser that plays the MP4. Without it the tests that need it are skipped, so a
#             failure to install it is only a message.
#   checks    also the tools with which .ci/run checks the sources
#   coverage  also what sums up the lines that the tests reach (scripts/coverage.sh)
#   docs      also what makes the reference pages (scripts/docs.sh)
#   packages  also what makes a clean system to try the Debian packages in (scripts/package_test.sh)
#   peers     also the programs that the benchmarks compare with (-DKXRTC_BENCHMARK_PEERS=ON)
#   players   also the players of docs/players.md that are not in the group browser
#   slurm     also a Slurm cluster of one node, which a test starts for itself. Without it that test is
#             skipped. Debian starts no daemon of Slurm that has no configuration.
#   ssh       also a server of ssh, for the test of jobs on other machines. Without it that test is
#             skipped. Debian starts the server, on all addresses of the machine.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

groups='arm64|browser|checks|coverage|docs|packages|peers|players|slurm|ssh'

# For the tests in a browser: what controls Debian's chromium, which installs no browser itself, a
# validator of captions, and a reader of MP4 files.
node_packages=(playwright-core@1.65.1 webvtt-parser@2.2.0 mp4box@2.4.1)
node_folder=build/node

installed() {
  dpkg-query --show --showformat='${db:Status-Abbrev}' "$1" 2>/dev/null | grep -q '^ii'
}

# Names of the packages of one group ("" for those everybody needs) that are not installed.
missing_of_group() {
  local name group
  while IFS= read -r line; do
    [[ "$line" =~ ^([a-z0-9.+:-]+)[[:space:]]+\#[[:space:]](.*)$ ]] || continue
    name=${BASH_REMATCH[1]}
    group=
    [[ "${BASH_REMATCH[2]}" =~ ^($groups):\  ]] && group=${BASH_REMATCH[1]}
    [ "$group" = "$1" ] || continue
    installed "$name" || echo "$name"
  done < scripts/packages.txt
}

# In front of what only root may do.
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)

apt_install() {
  if ! command -v apt-get >/dev/null; then
    echo "setup: this is no Debian system; install these yourself: $*" >&2
    return 1
  fi
  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    echo "setup: neither root nor sudo; ask for these packages: $*" >&2
    return 1
  fi
  echo "setup: installing $*" >&2
  "${as_root[@]}" apt-get update -qq </dev/null >&2 &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -qq --no-install-recommends "$@" </dev/null >&2
}

install_group() {
  local missing
  mapfile -t missing < <(missing_of_group "$1")
  [ "${#missing[@]}" -eq 0 ] || apt_install "${missing[@]}"
}

install_node_packages() {
  local package missing=()
  for package in "${node_packages[@]}"; do
    [ -f "$node_folder/node_modules/${package%@*}/package.json" ] || missing+=("$package")
  done
  [ "${#missing[@]}" -eq 0 ] && return 0
  command -v npm >/dev/null || apt_install npm || return 1
  echo "setup: installing ${missing[*]} into $node_folder" >&2
  mkdir -p "$node_folder"
  # npm removes what it is not told to keep.
  npm install --prefix "$node_folder" --no-save --no-audit --no-fund --loglevel=error \
    "${node_packages[@]}" </dev/null >&2
}

install_group ""
for group in "$@"; do
  if [[ ! "$group" =~ ^($groups)$ ]]; then
    echo "setup: no such group: $group; there are ${groups//|/, }" >&2
    exit 2
  elif [ "$group" = arm64 ] && [[ "$(dpkg --print-foreign-architectures)" != *arm64* ]]; then
    "${as_root[@]}" dpkg --add-architecture arm64
  fi
  if [ "$group" = browser ]; then
    { install_group browser && install_node_packages; } ||
      echo "setup: no browser to play the result in; the browser tests will be skipped" >&2
  else
    install_group "$group"
  fi
done
