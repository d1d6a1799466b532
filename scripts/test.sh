#!/usr/bin/env bash
# Builds everything and runs the whole test suite; the last lines are ctest's own summary.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh
cmake --workflow --preset dev
