#!/usr/bin/env python3
"""Records 24 hours' worth of frames by a wall clock that runs fast, and transcodes them.

usage: day_record.py RECORDING_LOAD KXRTC TEST_CLOCK.so [RATE]     (the clock runs 600 times as fast)

Prints the record's size, the peak of resident memory of the recording and of the transcoding, and
how far audio and video of the MP4 end from each other.
"""

import json
import os
import resource
import sys
import tempfile
from pathlib import Path

from media import make_media, must_run, run

DAY_S = 24 * 3600
FRAMES_A_SECOND = 24


def peak_megabytes_of_children():
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024


def main():
    load, kxrtc, clock = sys.argv[1:4]
    rate = int(sys.argv[4]) if len(sys.argv) > 4 else 600
    with tempfile.TemporaryDirectory() as parent:
        media = make_media(parent)
        folder = Path(parent) / "record"
        folder.mkdir()
        environment = dict(os.environ, LD_PRELOAD=clock, KX_CLOCK_RATE=str(rate))
        recorded = run(load, f"{folder}/", *media, DAY_S / rate,
                       1000000 // (FRAMES_A_SECOND * 2 * rate), env=environment)
        if recorded.returncode != 0:
            sys.exit(f"recording: status {recorded.returncode}\n{recorded.stderr}")
        info = json.loads(must_run(kxrtc, "info", folder, "--json"))
        print("record:", json.dumps(info, indent=2)[:3000])
        mp4 = Path(parent) / "day.mp4"
        print(must_run("/usr/bin/env", "python3", "-c",
                       "import resource,subprocess,sys;"
                       "status=subprocess.run(sys.argv[1:]).returncode;"
                       "print('transcoding: peak', resource.getrusage("
                       "resource.RUSAGE_CHILDREN).ru_maxrss // 1024, 'MB');"
                       "sys.exit(status)",
                       kxrtc, "transcode", folder, mp4, "--video", "copy", "--quiet"), end="")
        streams = json.loads(must_run("ffprobe", "-v", "error", "-show_entries",
                                      "stream=codec_type,duration,nb_frames", "-of", "json", mp4))
        for stream in streams["streams"]:
            print(stream["codec_type"], "seconds:", stream["duration"], "samples:",
                  stream["nb_frames"])
        size_mb = sum(file.stat().st_size for file in folder.iterdir()) / 1e6
        print(f"record {size_mb:.0f} MB, mp4 {mp4.stat().st_size / 1e6:.0f} MB, largest process "
              f"{peak_megabytes_of_children():.0f} MB")


if __name__ == "__main__":
    main()
