#!/usr/bin/env bash
# Records two participants who flash and beep at the same instants, transcodes the record in both
# modes and measures the offsets between flashes and beeps in the MP4 files.
# usage: measure_av_offset.sh KXRTC [SECONDS] [LIMIT_MS [PARTS...]]    (default: 150 seconds, 40 ms)
# PARTS are options of kxrtc transcode: with them the offsets of the parts are measured as well. They should
# begin and end in silence.
# Prints one line of JSON for each mode. The exit status is 1 when an offset is over the limit.
set -euo pipefail
kxrtc=$(realpath "$1")
seconds=${2:-150}
limit_ms=${3:-40}
parts=("${@:4}")
here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# participant NAME PERIOD RATE SIZE TONE BEGIN: flashes and beeps for 100 ms, five seconds on and five
# seconds off, first on at BEGIN, so that the two take turns. The period is a whole number of
# pictures, so flash and beep begin together in the source.
participant() {
  local on="gte(mod(t-$6+10,10),0)*lt(mod(t-$6+10,10),5)*lt(mod(t,$2),0.1)"
  ffmpeg -v error -y -t "$seconds" -f lavfi \
    -i "color=black:s=$4:r=$3,drawbox=c=white:t=fill:enable='$on'" -t "$seconds" -f lavfi \
    -i "aevalsrc='0.5*sin(2*PI*$5*t)*$on':s=48000" \
    -c:v libx264 -preset ultrafast -bf 0 -g "$3" -pix_fmt yuv420p -c:a aac "$work/$1.mp4" </dev/null
}

participant ada 0.5 30 640x360 1000 0 &
participant ben 0.5 20 320x240 1500 5
wait
cat > "$work/scenario.json" <<END
{"duration": $seconds, "participants": [
  {"user_id": 1, "name": "Ada", "local": true, "camera": "ada.mp4"},
  {"user_id": 2, "name": "Ben", "camera": "ben.mp4"}]}
END
"$kxrtc" record "$work/scenario.json" "$work/record" --quiet
status=0
# measure MODE [PARTS...]
measure() {
  "$kxrtc" transcode "$work/record" "$work/out.mp4" --force --quiet --video "$@"
  printf '{"mode": "%s", "offsets": ' "$*"
  python3 "$here/measure_av_offset.py" "$work/out.mp4" --limit-ms "$limit_ms" | tr -d '\n' ||
    status=1
  printf '}\n'
}

for mode in encode copy; do
  measure "$mode"
  if [ ${#parts[@]} -gt 0 ]; then measure "$mode" "${parts[@]}"; fi
done
exit $status
