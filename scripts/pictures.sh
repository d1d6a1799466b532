#!/usr/bin/env bash
# Makes the pictures of README.md from the conference of the demo: docs/pictures/.
# usage: scripts/pictures.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh browser
scripts/demo.sh
demo=build/demo
pictures=docs/pictures
mkdir -p "$pictures"

build/release/tools/kxrtc/kxrtc report "$demo/record" "$demo/report.html"
node scripts/screenshot.mjs build/node "$demo/report.html" 1100x900 "$pictures/report.jpg"

# Every 2.5 seconds of the MP4, with its time.
ffmpeg -v error -y -i "$demo/conference.mp4" -frames:v 1 -q:v 4 -vf "
  fps=1/2.5:round=up,
  scale=240:180:force_original_aspect_ratio=decrease, pad=240:180:-1:-1,
  drawtext=text='%{pts\:hms}':x=6:y=h-th-6:fontcolor=white:fontsize=16:box=1:boxcolor=black@0.6:boxborderw=4,
  tile=4x2:padding=4" "$pictures/mp4.jpg" </dev/null
printf '%s\n' "$pictures"/*
