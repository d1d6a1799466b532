#!/usr/bin/env bash
# Builds the Debian packages of the last commit in two folders and compares their bytes. Takes minutes.
# usage: scripts/package_reproducible.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export CCACHE_DISABLE=1  # It would give the second build the objects of the first one.
for clone in "$folder/first" "$folder/somewhere/else/second"; do
  git clone --quiet . "$clone"
  "$clone/scripts/package.sh" >"$folder/log" 2>&1 || {
    tail -20 "$folder/log" >&2
    exit 1
  }
done
diff -rq "$folder/first/out/packages" "$folder/somewhere/else/second/out/packages" || {
  echo "package_reproducible: these packages differ; diffoscope shows where" >&2
  exit 1
}
echo "package_reproducible: the same bytes twice"
