#!/usr/bin/env bash
# Writes tests/install/exported_symbols.txt from the library as it is now.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
cmake --preset dev >/dev/null
cmake --build --preset dev --target rtc_transcoder >/dev/null
python3 tests/install/exported_symbols.py \
  build/dev/rtc_transcoder/api/librtc_transcoder.so tests/install/exported_symbols.txt --update
git diff --stat -- tests/install/exported_symbols.txt
