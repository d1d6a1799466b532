#!/usr/bin/env bash
# The long proofs behind docs/reliability.md. Builds what they need.
# usage: scripts/soak.sh [crashes [RUNS [SEED]] | day [RATE]]   (500 crashes; both without a word)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

cmake --preset dev >/dev/null
cmake --build --preset dev --target kxrtc recording_load kx_test_clock >/dev/null
programs=(build/dev/tests/reliability/recording_load build/dev/tools/kxrtc/kxrtc)
clock=build/dev/tests/reliability/libkx_test_clock.so

crashes() { python3 tests/reliability/crash_sweep.py "${programs[@]}" "${@:-500}"; }
day() { python3 tests/reliability/day_record.py "${programs[@]}" "$clock" "$@"; }

case "${1:-all}" in
  crashes) crashes "${@:2}" ;;
  day) day "${@:2}" ;;
  all)
    crashes
    day
    ;;
  *)
    echo "usage: scripts/soak.sh [crashes [RUNS [SEED]] | day [RATE]]" >&2
    exit 2
    ;;
esac
