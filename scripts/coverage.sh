#!/usr/bin/env bash
# Runs the tests with line coverage and prints the share of lines of each folder that they reach, the
# lowest first. Takes a quarter of an hour.
# usage: scripts/coverage.sh [CTEST_OPTION...]
#   CTEST_OPTION  default: -LE 'slow|browser|install|style'
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ $# -gt 0 ] || set -- -LE 'slow|browser|install|style'
scripts/setup.sh coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage "$@"
gcovr --root . --object-directory build/coverage --csv \
  --filter '(files|host|kx_utility|kxrtc|record|rtc_transcoder|tools)/' >build/coverage/lines.csv
awk -F, '
  NR > 1 {
    folder = $1
    sub(/\/[^\/]*$/, "", folder)
    total[folder] += $2
    reached[folder] += $3
  }
  END {
    for (folder in total) {
      if (total[folder]) printf "%6.1f %%  %5d lines  %s\n", 100 * reached[folder] / total[folder], total[folder], folder
    }
  }' build/coverage/lines.csv | sort -n
