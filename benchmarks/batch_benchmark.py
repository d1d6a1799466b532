#!/usr/bin/env python3
"""What an archive costs: if kxrtc-batch gets faster, its keeper waits less each night.

usage: batch_benchmark.py KXRTC_BATCH FOLDER [--records N] [--seconds N] [--rounds N]

Makes an archive in FOLDER and copies each record into an MP4, by kxrtc-batch and by ffmpeg under the
same GNU parallel, one after the other in each round. Then measures a run over the finished archive,
and kxrtc transcode --if-needed for each of its records. Prints medians of wall and processor time.
"""

import argparse
import os
import resource
import shutil
import statistics
import subprocess
import sys
import time
from pathlib import Path

MAKE_RECORD = Path(__file__).with_name("make_record.py")
FFMPEG = ("ffmpeg -nostdin -v error -y -fflags +genpts -r 30 -f h264 -i {}/SpeakeRecord.264 "  # sic
          "-f aac -i {}/SpeakeRecord.aac -c copy -movflags +faststart OUT/{/}.mp4")


def measure(command, folder=None):
    """Seconds of wall time and of processor time."""
    before, began = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    subprocess.run([str(word) for word in command], check=True, cwd=folder,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    wall = time.monotonic() - began
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall, after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def make_archive(root, options):
    shutil.rmtree(root, ignore_errors=True)
    first = root / "0000"
    subprocess.run([sys.executable, MAKE_RECORD, first, "--seconds", str(options.seconds), "--size",
                    "640x360", "--kbps", "500"], check=True)
    for number in range(1, options.records):
        shutil.copytree(first, root / f"{number:04}")


def tell(name, measured):
    wall, processor = (statistics.median(values) for values in zip(*measured))
    print(f"{name}: {wall:.2f} s, {processor:.2f} s of processor time")
    return wall, processor


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kxrtc_batch", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--records", type=int, default=200)
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    root, out, other = (options.folder / name for name in ("records", "films", "ffmpeg"))
    make_archive(root, options)
    jobs = ("--jobs", str(os.cpu_count()))
    batch = [options.kxrtc_batch.resolve(), root, out, *jobs, "--", "--video", "copy"]
    runs = {"kxrtc-batch": [], "kxrtc-batch --no-sync": [], "parallel ffmpeg": []}
    for _ in range(options.rounds):
        for name, measured in runs.items():
            folder = other if "ffmpeg" in name else out
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir()
            os.sync()
            measured.append(measure(
                ["parallel", "--will-cite", *jobs, FFMPEG.replace("OUT", str(other)), ":::",
                 *sorted(root.iterdir())] if "ffmpeg" in name
                else batch + ["--no-sync"] * ("--no-sync" in name)))
    told = {name: tell(name, measured) for name, measured in runs.items()}
    for name in list(told)[:2]:
        ratios = [mine / theirs for mine, theirs in zip(told[name], told["parallel ffmpeg"])]
        print(f"{name} to ffmpeg: {ratios[0]:.2f} of the time, {ratios[1]:.2f} of the processor time")
    again = batch + ["--no-sync"]
    tell("kxrtc-batch again", [measure(again) for _ in range(options.rounds)])
    kxrtc = options.kxrtc_batch.resolve().with_name("kxrtc")
    tell("kxrtc transcode --if-needed, one after the other", [measure(
        ["sh", "-c", f'for r in *; do "{kxrtc}" transcode --if-needed --quiet --video copy "$r" '
                     f'"{out.resolve()}/$r.mp4"; done'], root) for _ in range(options.rounds)])


if __name__ == "__main__":
    main()
