#!/usr/bin/env bash
# Makes the reference pages and the guides as one site with a search, and checks its links. A mistake in
# a comment or a dead link is an error. The last line is the path of the first page.
# usage: scripts/docs.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh docs
cmake --preset release >/dev/null
cmake --build --preset release --target documentation

# Run by root, linkchecker becomes a user who may not see this folder.
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
chmod 755 "$copy"
cp -r build/release/site/html "$copy"
linkchecker --no-status --no-warnings "$copy/html/index.html" 2>/dev/null >"$copy/report" || {
  grep -v '^$' "$copy/report" >&2
  exit 1
}
echo "build/release/site/html/index.html"
