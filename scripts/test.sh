#!/usr/bin/env bash
# Builds everything and runs all tests. The last lines are the summary of ctest.
# usage: scripts/test.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh
cmake --workflow --preset dev
