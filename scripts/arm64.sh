#!/usr/bin/env bash
# Builds the library for 64-bit ARM and runs its unit tests under qemu, but for those that start a
# program themselves: qemu-user would need the system's help for that.
# usage: scripts/arm64.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh arm64
cmake --workflow --preset arm64
