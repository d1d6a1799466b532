#!/usr/bin/env bash
# Runs the commands of README.md as they stand there, one after the other, in a fresh clone of the last
# commit. Takes as long as they do: a quarter of an hour.
# usage: scripts/readme_test.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
git clone --quiet . "$folder/clone"
{
  echo 'set -euxo pipefail'
  awk '/^```/ { is_shell = $0 == "```sh"; next } is_shell' README.md
} >"$folder/commands.sh"
mkdir "$folder/home"
cd "$folder/clone"
HOME=$folder/home bash "$folder/commands.sh" </dev/null
echo "readme_test: each command of README.md has run"
