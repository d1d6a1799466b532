#!/usr/bin/env python3
"""Moves the wall clock while a record is made and checks that the record stays readable.

usage: clock_steps.py RECORDING_LOAD KXRTC TEST_CLOCK.so

For a step of an hour forwards, one of an hour backwards and one each way: the record holds jumps of
that size, an independent reader reads it whole, `kxrtc verify` names each step with its time and has
nothing against the speaker timeline, and it transcodes into a file that ffmpeg decodes without a message and whose pictures and sound are equally
long.
"""

import json
import os
import sys
import tempfile
from pathlib import Path

from media import decode_messages, make_media, must_run, read_record, run

HOUR_US = 3600 * 1000000
NEAR_US = 1000000
MOST_APART_S = 0.2


def stream_seconds(mp4):
    streams = json.loads(must_run("ffprobe", "-v", "error", "-show_entries",
                                  "stream=codec_type,duration", "-of", "json", mp4))["streams"]
    return {stream["codec_type"]: float(stream["duration"]) for stream in streams}


def check_steps(folder, steps, kxrtc):
    record = read_record(f"{folder}/", with_frames=True)
    if record["problems"]:
        yield f"unreadable: {record['problems']}"
    times = [time for _, time, _, _ in record["frames"]]
    verified = json.loads(run(kxrtc, "verify", folder, "--json").stdout)
    for finding in verified["findings"]:
        if finding["code"].startswith("timeline."):
            yield f"the timeline differs from the index: {finding}"
    for step_us in steps:
        jumps = [later for earlier, later in zip(times, times[1:])
                 if abs(later - earlier - step_us) < NEAR_US]
        if not jumps:
            yield f"no jump of {step_us} us in the record"
            continue
        code = "clock.forward-step" if step_us > 0 else "clock.backward-step"
        if not any(finding["code"] == code and abs(finding["time_us"] - jumps[0]) < NEAR_US
                   for finding in verified["findings"]):
            yield f"verify does not say {code} at {jumps[0]} us: {verified['findings']}"


def check(steps, load, kxrtc, clock, media, parent):
    folder = Path(parent) / "record{}".format("_".join(map(str, steps)))
    folder.mkdir()
    at = [0.4 + 0.3 * number for number in range(len(steps))]
    environment = dict(os.environ, LD_PRELOAD=clock, KX_CLOCK_STEPS=",".join(
        f"{second}:{step_us}" for second, step_us in zip(at, steps)))
    recorded = run(load, f"{folder}/", *media, "1", env=environment)
    if recorded.returncode != 0:
        yield f"recording: status {recorded.returncode}: {recorded.stderr}"
        return
    yield from check_steps(folder, steps, kxrtc)
    mp4 = folder / "out.mp4"
    transcoded = run(kxrtc, "transcode", folder, mp4, "--video", "copy", "--quiet")
    if transcoded.returncode != 0:
        yield f"transcode: status {transcoded.returncode}: {transcoded.stderr}"
        return
    if messages := decode_messages(mp4):
        yield f"decode: {messages}"
    seconds = stream_seconds(mp4)
    if abs(seconds["video"] - seconds["audio"]) > MOST_APART_S:
        yield f"pictures and sound end apart: {seconds}"


def main():
    load, kxrtc, clock = sys.argv[1:4]
    runs = ([HOUR_US], [-HOUR_US], [HOUR_US, -HOUR_US])
    failures = 0
    with tempfile.TemporaryDirectory() as parent:
        media = make_media(parent)
        for steps in runs:
            breaches = list(check(steps, load, kxrtc, clock, media, parent))
            failures += bool(breaches)
            for breach in breaches:
                print(f"steps of {steps} us: {breach}")
    print(f"{len(runs) - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
