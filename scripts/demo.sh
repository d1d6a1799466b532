#!/usr/bin/env bash
# Runs everything on real media: three participants talk in turns and one shares the desktop. The
# script records the conference, makes an MP4 of the record and checks that it decodes.
# usage: scripts/demo.sh
# The last line of the output is the path of the MP4. Each run starts from scratch.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

seconds=20
demo=$PWD/build/demo
media=$demo/media
record=$demo/record/
mp4=$demo/conference.mp4

say() { printf '%s\n' "$*"; }

# encode NAME SOURCE PROFILE SPEECH_STARTS VOICE TEXT: a camera with the voice of its owner, who is
# silent before and after the turn.
encode() {
  espeak-ng -v "$5" -w "$media/$1.wav" "$6"
  ffmpeg -v error -y -f lavfi -i "$2" -i "$media/$1.wav" -t "$seconds" \
    -af "adelay=${4}s:all=1,apad" -c:a aac -ar 48000 -ac 1 -b:a 96k \
    -c:v libx264 -preset veryfast -profile:v "$3" -pix_fmt yuv420p -bf 0 -g 30 -b:v 800k \
    "$media/$1.mp4" </dev/null
}

make_media() {
  mkdir -p "$media"
  encode anna "testsrc2=size=1280x720:rate=30" high 0 en+f3 \
    "Good morning. This is Anna, with a high profile camera of seven hundred and twenty lines."
  encode ben "mandelbrot=size=640x480:rate=25" baseline 6 en+m3 \
    "Thank you, Anna. Ben speaking. My camera is a small one, and it has the baseline profile."
  # A telephone held upright: the picture lies on its side and the file says how to turn it.
  encode lying "testsrc=size=360x640:rate=24,transpose=clock" main 12 en+f5 \
    "And this is Carla, on a telephone held upright. Ben will now share his desktop."
  ffmpeg -v error -y -i "$media/lying.mp4" -c copy -metadata:s:v rotate=90 "$media/carla.mp4" \
    </dev/null
  ffmpeg -v error -y -f lavfi -i "smptehdbars=size=1280x720:rate=15" -t "$seconds" \
    -c:v libx264 -preset veryfast -profile:v high -pix_fmt yuv420p -bf 0 -g 15 -b:v 1000k \
    "$media/desktop.mp4" </dev/null
  cat > "$media/conference.json" <<END
{
  "duration": $seconds,
  "participants": [
    {"user_id": 1, "name": "Anna", "camera": "anna.mp4"},
    {"user_id": 2, "name": "Ben", "camera": "ben.mp4", "share": "desktop.mp4",
     "events": [{"at": 0, "do": "join"}, {"at": 16, "do": "share_on"}]},
    {"user_id": 3, "name": "Carla", "camera": "carla.mp4"}
  ]
}
END
}

check() {
  local message
  message=$(ffmpeg -v warning -i "$mp4" -f null - 2>&1 </dev/null)
  if [ -n "$message" ]; then
    printf 'the MP4 does not decode cleanly:\n%s\n' "$message" >&2
    return 1
  fi
}

tell() {
  say "The record, as a reader sees it that shares nothing with the library:"
  tests/independent/read_record.py "$record" |
    sed -nE 's/^  "(video_frames|audio_frames|channel_changes)": ([0-9]+),$/  \2 \1/p' | tr _ ' '
  say "The MP4, decoded without a message:"
  ffprobe -v error -count_packets -of compact=print_section=0:item_sep=, -show_entries \
    "format=duration:stream=codec_name,profile,width,height,avg_frame_rate,channels,sample_rate,nb_read_packets" \
    "$mp4" | sed 's/^/  /; s/,/, /g'
  say "Anna speaks first, Ben from 6 s, Carla upright from 12 s, Ben's desktop from 16 s on."
}

say "Setting up and building."
scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target kxrtc | tail -1
kxrtc=build/release/tools/kxrtc/kxrtc

rm -rf "$demo"
say "Making the participants' media."
make_media
say "Recording a conference of $seconds seconds."
mkdir -p "$record"
"$kxrtc" record "$media/conference.json" "$record"
say "Transcoding the record."
"$kxrtc" transcode --force "$record" "$mp4"
check
tell
say "$mp4"
