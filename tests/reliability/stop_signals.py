#!/usr/bin/env python3
"""Stops every command of kxrtc that reads a record with signals at random instants.

usage: stop_signals.py KXRTC RUNS [SEED [SESSIONS]]

Each of RUNS signals goes twice to a command that works on a long record: the program ends in time, by
the signal's status or because it had done its work; only then its output is there, and never a part.
"""

import random
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from hostile_records import FILES, Record, make_media, speaker_record

LIMIT_S = 2.0
SLOWEST_START_S = 10
SIGNALS = [signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGUSR1,
           signal.SIGALRM, signal.SIGXCPU]

# Arguments behind the record, and the output.
COMMANDS = {
    "verify": ([], None),
    "info": ([], None),
    "dump": (["--json"], None),
    "repair": (["OUT"], "repaired"),
    "report": (["OUT"], "page.html"),
    "thumbnails": (["OUT", "--count", "2048"], "pictures"),
    "bundle": (["OUT"], "out.tar.gz"),
    "transcode copy": (["OUT", "--video", "copy", "--quiet"], "out.mp4"),
    "transcode encode": (["OUT", "--preset", "veryslow", "--no-hardware", "--quiet"], "out.mp4"),
    "h264": (["--rewrite-vui", "OUT"], "copy.264"),
}


def command_line(kxrtc, command, record, output):
    options, _ = COMMANDS[command]
    source = record / FILES["video"] if command == "h264" else record
    return [kxrtc, command.split()[0], source, *(output if word == "OUT" else word
                                                 for word in options)]


def stop_one(kxrtc, command, record, outputs, number, delay, pause):
    """Yields what is wrong; then the seconds from the signal to the end."""
    name = COMMANDS[command][1]
    output = outputs / name if name else None
    process = subprocess.Popen(command_line(kxrtc, command, record, output),
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    try:
        process.wait(delay)
    except subprocess.TimeoutExpired:
        pass
    begin = time.monotonic()
    process.send_signal(number)
    time.sleep(pause)
    process.send_signal(number)
    try:
        process.wait(LIMIT_S + SLOWEST_START_S)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
    seconds = time.monotonic() - begin
    message = process.stderr.read().decode(errors="replace").strip()
    process.stderr.close()
    stopped = process.returncode in (128 + number, -number)
    done = process.returncode in (0, 12)
    if not stopped and not done:
        yield f"status {process.returncode}: {message}"
    if seconds > LIMIT_S:
        yield f"{seconds:.1f} s to the end"
    left = sorted(path.name for path in outputs.iterdir())
    if left != ([name] if done and name else []):
        yield f"status {process.returncode} left {left}"
    yield seconds


def main():
    kxrtc, runs = sys.argv[1], int(sys.argv[2])
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    sessions = int(sys.argv[4]) if len(sys.argv) > 4 else 300
    generator = random.Random(seed)
    slowest, faults = 0.0, 0
    with tempfile.TemporaryDirectory() as folder:
        streams = make_media(folder)
        record = Path(folder) / "record"
        Record(speaker_record.access_units(streams[0].read_bytes()),
               speaker_record.adts_frames(streams[1].read_bytes()), sessions).write(record)
        for turn in range(runs):
            command = list(COMMANDS)[turn % len(COMMANDS)]
            number, delay = generator.choice(SIGNALS), generator.uniform(0.02, 1.5)
            pause = generator.uniform(0, 0.03)
            with tempfile.TemporaryDirectory() as outputs:
                *wrong, seconds = stop_one(kxrtc, command, record, Path(outputs), number, delay,
                                           pause)
            slowest = max(slowest, seconds)
            faults += bool(wrong)
            for text in wrong:
                print(f"{command}, {number.name} after {delay * 1000:.0f} ms: {text}", flush=True)
    print(f"{runs} signals, at most {slowest:.2f} s to the end, {faults} faults, seed {seed}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
