#!/usr/bin/env python3
"""Records 24 hours' worth of frames by a wall clock that runs fast, and transcodes them.

usage: day_record.py RECORDING_LOAD KXRTC TEST_CLOCK.so [RATE]     (the clock runs 300 times as fast)

Prints the frames and the size of the record, the peak of resident memory of the recording and of the
transcoding, and how long audio and video of the MP4 are. The status is 1 when frames of the day are
missing, when pictures and sound of the MP4 do not both last the day, or when a process took more
memory than the sample tables explain.
"""

import json
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from media import make_media, must_run

DAY_S = 24 * 3600
AUDIO_FRAMES_OF_A_DAY = DAY_S * 48000 // 1024
VIDEO_FRAMES_OF_A_DAY = DAY_S * 24
MOST_RECORDING_MB = 64
MOST_TRANSCODING_MB = 800  # About 90 bytes for each of six million samples.
TOLERANCE = 0.001  # The start and the stop take their time, which the fast clock multiplies.


def run_measured(*command, **options):
    """Runs the command; returns its seconds and its peak of resident memory in MB."""
    start = time.monotonic()
    process = subprocess.Popen([str(part) for part in command], **options)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{command[0]}: wait status {status}")
    return time.monotonic() - start, usage.ru_maxrss // 1024


def main():
    load, kxrtc, clock = sys.argv[1:4]
    rate = int(sys.argv[4]) if len(sys.argv) > 4 else 300
    with tempfile.TemporaryDirectory() as parent:
        media = make_media(parent)
        folder = Path(parent) / "record"
        folder.mkdir()
        environment = dict(os.environ, LD_PRELOAD=clock, KX_CLOCK_RATE=str(rate))
        seconds, recording_mb = run_measured(load, f"{folder}/", *media, DAY_S / rate, rate,
                                             env=environment, stdout=subprocess.DEVNULL)
        info = json.loads(must_run(kxrtc, "info", folder, "--json"))
        size_mb = sum(file.stat().st_size for file in folder.iterdir()) / 1e6
        print(f"recorded: {info['video_frames']} video and {info['audio_frames']} audio frames, "
              f"{size_mb:.0f} MB in {seconds:.1f} s, peak {recording_mb} MB")
        mp4 = Path(parent) / "day.mp4"
        seconds, transcoding_mb = run_measured(kxrtc, "transcode", folder, mp4, "--video", "copy",
                                               "--quiet")
        print(f"transcoded: {mp4.stat().st_size / 1e6:.0f} MB in {seconds:.1f} s, "
              f"peak {transcoding_mb} MB")
        streams = json.loads(must_run("ffprobe", "-v", "error", "-show_entries",
                                      "stream=codec_type,duration,nb_frames", "-of", "json", mp4))
        lengths = {stream["codec_type"]: float(stream["duration"]) for stream in streams["streams"]}
        for stream in streams["streams"]:
            print(f"{stream['codec_type']}: {stream['duration']} s, {stream['nb_frames']} samples")
    complete = (info["audio_frames"] >= AUDIO_FRAMES_OF_A_DAY * (1 - TOLERANCE)
                and info["video_frames"] >= VIDEO_FRAMES_OF_A_DAY * (1 - TOLERANCE)
                and recording_mb <= MOST_RECORDING_MB and transcoding_mb <= MOST_TRANSCODING_MB
                and min(lengths.values()) >= DAY_S * (1 - TOLERANCE))
    return 0 if complete else 1


if __name__ == "__main__":
    sys.exit(main())
