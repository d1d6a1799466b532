#!/usr/bin/env bash
# Runs the long tests of docs/reliability.md. Builds what they need.
# usage: scripts/soak.sh [crashes [RUNS [SEED]] | archive [KILLS [SEED]] | signals [RUNS [SEED]] |
#                        day [RATE] | damage [RUNS] | drift [SECONDS] | sanitizers]
#   crashes     kills a recording process (500 times)
#   archive     kills kxrtc-batch and its jobs (50 times)
#   signals     sends each signal that ends a program to kxrtc record (20 times)
#   day         records a day with a clock that runs RATE times as fast (300), and transcodes it
#   damage      plays the MP4s of 300 damaged records in a browser (RUNS)
#   drift       measures for two minutes (SECONDS) how far sound and picture are apart
#   sanitizers  the tests of thousands of runs under the address, leak and thread sanitizers
# Without an argument: all of them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" --target "${@:2}" >/dev/null
}

build_programs() {
  build dev kxrtc recording_load kx_test_clock
  programs=(build/dev/tests/reliability/recording_load build/dev/tools/kxrtc/kxrtc)
}

mode=${1:-all}
shift || true
case "$mode" in
  crashes)
    build_programs
    python3 tests/reliability/crash_sweep.py "${programs[@]}" "${@:-500}"
    ;;
  archive)
    build dev kxrtc
    python3 tests/reliability/batch_kills.py build/dev/tools/kxrtc/kxrtc-batch \
      --kills "${1:-50}" --seed "${2:-1}"
    ;;
  signals)
    build_programs
    python3 tests/reliability/record_signals.py build/dev/tools/kxrtc/kxrtc "${@:-20}"
    ;;
  day)
    build_programs
    python3 tests/reliability/day_record.py "${programs[@]}" \
      build/dev/tests/reliability/libkx_test_clock.so "$@"
    ;;
  damage)
    build dev kxrtc
    python3 tests/reliability/damaged_media.py build/dev/tools/kxrtc/kxrtc --browser build/node \
      --runs "${1:-300}"
    ;;
  drift)
    build dev kxrtc
    scripts/measure_av_offset.sh build/dev/tools/kxrtc/kxrtc "${1:-125}"
    ;;
  sanitizers)
    for preset in asan tsan; do
      build "$preset" kxrtc_recording_soak_tests kxrtc_host_mp4_long_tests
      "build/$preset/tests/kxrtc/recording/kxrtc_recording_soak_tests"
      "build/$preset/tests/host/mp4/kxrtc_host_mp4_long_tests" --gtest_filter='*Soak*'
    done
    ;;
  all)
    for proof in crashes archive signals day damage drift sanitizers; do scripts/soak.sh "$proof"; done
    ;;
  *)
    sed -n '3,12s/^# //p' "${BASH_SOURCE[0]}" >&2
    exit 2
    ;;
esac
