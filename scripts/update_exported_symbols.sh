#!/usr/bin/env bash
# Writes the lists of exported symbols in tests/install from the libraries as they are now.
# usage: scripts/update_exported_symbols.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
cmake --preset dev >/dev/null
cmake --build --preset dev --target rtc_transcoder rtc_transcoder_mp4_writer \
  rtc_transcoder_speaker_timeline >/dev/null
update() { python3 tests/install/exported_symbols.py "build/dev/$1" "tests/install/$2" --update; }
update rtc_transcoder/api/librtc_transcoder.so exported_symbols.txt
update host/mp4/librtc_transcoder_mp4_writer.so exported_symbols_mp4_writer.txt
update record/speakers/librtc_transcoder_speaker_timeline.so exported_symbols_speaker_timeline.txt
git diff --stat -- tests/install
