#!/usr/bin/env bash
# Makes the Debian packages in out/packages. The same commit gives the same bytes, wherever it is built.
# usage: scripts/package.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
cmake --preset release >/dev/null
cmake --build --preset release
rm -rf out/packages
mkdir -p out/packages
(cd build/release && cpack -B packages >packages.log 2>&1) || {
  cat build/release/packages.log >&2
  exit 1
}
mv build/release/packages/*.deb out/packages/
printf '%s\n' out/packages/*.deb
