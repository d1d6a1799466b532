#!/usr/bin/env python3
"""Makes a record for the benchmarks from real H.264 and AAC made by ffmpeg.

usage: make_record.py RECORD_DIR [--seconds N] [--size WxH] [--kbps N] [--fps N]

One session, one channel, pictures at a constant rate, an audio frame every 64/3 ms. The pictures of
ten seconds are repeated, which costs a record nothing of its size.
"""

import argparse
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests" / "testing"))
import speaker_record  # noqa: E402  Needs the path above.
from speaker_record import ATTRIBUTES, AUDIO, CHANNEL, FILES, START, STOP, VIDEO  # noqa: E402

FRAME_THIRDS = 64000  # Thirds of a microsecond in an audio frame.
LOOP_SECONDS = 10


def ffmpeg(*arguments):
    return subprocess.run(["ffmpeg", "-nostdin", "-v", "error", *arguments, "-"], check=True,
                          stdout=subprocess.PIPE).stdout


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
    video = speaker_record.access_units(ffmpeg(
        "-f", "lavfi", "-i", source, "-c:v", "libx264", "-pix_fmt", "yuv420p", "-preset", "veryfast",
        "-b:v", f"{options.kbps}k", "-minrate", f"{options.kbps}k", "-maxrate", f"{options.kbps}k",
        "-bufsize", f"{options.kbps}k",
        "-x264-params", f"bframes=0:aud=1:keyint={2 * options.fps}:scenecut=0:repeat-headers=1",
        "-f", "h264"))
    sound = speaker_record.adts_frames(ffmpeg(
        "-f", "lavfi", "-i", f"anoisesrc=c=pink:r=48000:d={LOOP_SECONDS}", "-ac", "2", "-c:a", "aac",
        "-b:a", "96k", "-f", "adts"))[1:]

    events = [(i * 1000000 // options.fps + 1000, VIDEO, video[i % len(video)])
              for i in range(options.seconds * options.fps)]
    events += [((i + 1) * FRAME_THIRDS // 3 + 1001, AUDIO, sound[i % len(sound)])
               for i in range(options.seconds * 3000000 // FRAME_THIRDS)]
    events.sort(key=lambda event: event[0])
    stop_us = events[-1][0] + 1

    width, height = map(int, options.size.split("x"))
    with open(options.folder / FILES["index"], "wb") as index, \
            open(options.folder / FILES["video"], "wb") as pictures, \
            open(options.folder / FILES["audio"], "wb") as audio:
        files = {VIDEO: pictures, AUDIO: audio}
        index.write(speaker_record.encode(START, 1))
        index.write(speaker_record.encode(CHANNEL, 2, speaker_record.DESKTOP))
        index.write(speaker_record.encode(ATTRIBUTES, 3, 0, width, height))
        for time, kind, data in events:
            index.write(speaker_record.encode(kind, time, files[kind].tell(), len(data)))
            files[kind].write(data)
        index.write(speaker_record.encode(STOP, stop_us))
    counts = [sum(event[1] == kind for event in events) for kind in (VIDEO, AUDIO)]
    speaker_record.write_descriptor(options.folder, speaker_record.descriptor(
        [speaker_record.session(1, stop_us, *counts)], desktop=True))


if __name__ == "__main__":
    main()
