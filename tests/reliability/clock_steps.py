#!/usr/bin/env python3
"""Moves the wall clock while a record is made and checks that the record stays readable.

usage: clock_steps.py RECORDING_LOAD KXRTC TEST_CLOCK.so

For a step of an hour forwards and one of an hour backwards: the record holds a jump of that size, an
independent reader reads it whole, `kxrtc verify` names the step, and it transcodes into a file that
ffmpeg decodes without a message.
"""

import os
import sys
import tempfile
from pathlib import Path

from media import decode_messages, make_media, read_record, run

HOUR_US = 3600 * 1000000


def check(step_us, finding, load, kxrtc, clock, media, parent):
    folder = Path(parent) / f"record{step_us}"
    folder.mkdir()
    environment = dict(os.environ, LD_PRELOAD=clock, KX_CLOCK_STEPS=f"0.5:{step_us}")
    recorded = run(load, f"{folder}/", *media, "1", env=environment)
    if recorded.returncode != 0:
        yield f"recording: status {recorded.returncode}: {recorded.stderr}"
        return
    record = read_record(f"{folder}/", with_frames=True)
    times = [time for _, time, _, _ in record["frames"]]
    jumps = [later - earlier for earlier, later in zip(times, times[1:])]
    if not any(abs(jump - step_us) < 1000000 for jump in jumps):
        yield f"no jump of {step_us} us in the record"
    if record["problems"]:
        yield f"unreadable: {record['problems']}"
    verified = run(kxrtc, "verify", folder, "--json")
    if finding not in verified.stdout:
        yield f"verify does not say {finding}: {verified.stdout[:2000]}"
    mp4 = folder / "out.mp4"
    transcoded = run(kxrtc, "transcode", folder, mp4, "--video", "copy", "--quiet")
    if transcoded.returncode != 0:
        yield f"transcode: status {transcoded.returncode}: {transcoded.stderr}"
    elif messages := decode_messages(mp4):
        yield f"decode: {messages}"


def main():
    load, kxrtc, clock = sys.argv[1:4]
    failures = 0
    with tempfile.TemporaryDirectory() as parent:
        media = make_media(parent)
        for step_us, finding in ((HOUR_US, "clock.forward-step"), (-HOUR_US, "clock.backward-step")):
            breaches = list(check(step_us, finding, load, kxrtc, clock, media, parent))
            failures += bool(breaches)
            for breach in breaches:
                print(f"step of {step_us} us: {breach}")
    print(f"{2 - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
