#!/usr/bin/env python3
"""Makes a record for the benchmarks from real H.264 and AAC made by ffmpeg.

usage: make_record.py RECORD_DIR [--seconds N] [--size WxH] [--kbps N] [--fps N]

One session, one channel, pictures at a constant rate, an audio frame every 64/3 ms. The pictures of
ten seconds are repeated, which costs a record nothing of its size.
"""

import argparse
import json
import re
import struct
import subprocess
from pathlib import Path

FRAME_THIRDS = 64000  # Thirds of a microsecond in an audio frame.
LOOP_SECONDS = 10


def ffmpeg(*arguments):
    return subprocess.run(["ffmpeg", "-nostdin", "-v", "error", *arguments, "-"], check=True,
                          stdout=subprocess.PIPE).stdout


def access_units(stream):
    """Splits at the access unit delimiters."""
    starts = [match.start() for match in re.finditer(b"\0\0\0\1\x09", stream)]
    return [stream[a:b] for a, b in zip(starts, starts[1:] + [len(stream)])]


def audio_frames(stream):
    at, frames = 0, []
    while at + 7 <= len(stream):
        size = (stream[at + 3] & 3) << 11 | stream[at + 4] << 3 | stream[at + 5] >> 5
        frames.append(stream[at:at + size])
        at += size
    return frames


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=Path)
    parser.add_argument("--seconds", type=int, default=600)
    parser.add_argument("--size", default="1280x720")
    parser.add_argument("--kbps", type=int, default=3900)
    parser.add_argument("--fps", type=int, default=30)
    options = parser.parse_args()
    options.folder.mkdir(parents=True, exist_ok=True)

    source = f"testsrc2=s={options.size}:r={options.fps}:d={LOOP_SECONDS},noise=alls=12:allf=t"
    video = access_units(ffmpeg(
        "-f", "lavfi", "-i", source, "-c:v", "libx264", "-pix_fmt", "yuv420p", "-preset", "veryfast",
        "-b:v", f"{options.kbps}k", "-minrate", f"{options.kbps}k", "-maxrate", f"{options.kbps}k",
        "-bufsize", f"{options.kbps}k",
        "-x264-params", f"bframes=0:aud=1:keyint={2 * options.fps}:scenecut=0:repeat-headers=1",
        "-f", "h264"))
    sound = audio_frames(ffmpeg(
        "-f", "lavfi", "-i", f"anoisesrc=c=pink:r=48000:d={LOOP_SECONDS}", "-ac", "2", "-c:a", "aac",
        "-b:a", "96k", "-f", "adts"))[1:]

    events = [(i * 1000000 // options.fps + 1000, 0xEEDDCC06, video[i % len(video)])
              for i in range(options.seconds * options.fps)]
    events += [((i + 1) * FRAME_THIRDS // 3 + 1001, 0xEEDDCC07, sound[i % len(sound)])
               for i in range(options.seconds * 3000000 // FRAME_THIRDS)]
    events.sort(key=lambda event: event[0])

    width, height = map(int, options.size.split("x"))
    positions = {0xEEDDCC06: 0, 0xEEDDCC07: 0}
    prefix = f"{options.folder}/SpeakeRecord"
    with open(prefix + ".index", "wb") as index, open(prefix + ".264", "wb") as pictures, \
            open(prefix + ".aac", "wb") as audio:
        files = {0xEEDDCC06: pictures, 0xEEDDCC07: audio}
        index.write(struct.pack(">Iq", 0xEEDDCC01, 1))
        index.write(struct.pack(">IqI", 0xEEDDCC03, 2, 3))
        index.write(struct.pack(">IqiII", 0xEEDDCC04, 3, 0, width, height))
        for time, kind, data in events:
            index.write(struct.pack(">IqQI", kind, time, positions[kind], len(data)))
            files[kind].write(data)
            positions[kind] += len(data)
        index.write(struct.pack(">Iq", 0xEEDDCC02, events[-1][0] + 1))
    counts = {kind: sum(1 for event in events if event[1] == kind) for kind in positions}
    Path(prefix + ".desc").write_text(json.dumps({
        "speaker_record_overall": {"record_session_count": 1, "contain_video": 1,
                                   "contain_desktop": 1, "audio_channel_count": 2},
        "speaker_record_session": [{
            "sessoin_start_timestamp_us": 1, "sessoin_end_timestamp_us": events[-1][0] + 1,
            "session_video_frame_count": counts[0xEEDDCC06],
            "session_audio_frame_count": counts[0xEEDDCC07],
            "session_video_switch_count": 1}]}))


if __name__ == "__main__":
    main()
