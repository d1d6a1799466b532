#!/usr/bin/env python3
"""Makes many small records in a tree, for the benchmark of `kxrtc list`.

usage: make_archive.py FOLDER [--records N] [--days N]

A folder for each day, with the records of its conferences below: of each ten records one is torn and
one has no media. The frames are zeros, so nothing but `kxrtc list` can do much with them.
"""

import argparse
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests" / "testing"))
import speaker_record  # noqa: E402  Needs the path above.
from speaker_record import AUDIO, CAMERA, CHANNEL, FILES, START, STOP, VIDEO  # noqa: E402

FRAMES = 250
FRAME_US = 20000
FRAME_BYTES = 40


def write_record(folder, frames, is_torn):
    folder.mkdir(parents=True)
    end_us = frames * FRAME_US
    index = [speaker_record.encode(START, 0), speaker_record.encode(CHANNEL, 0, CAMERA)]
    for i in range(frames):
        for kind in (VIDEO, AUDIO):
            index.append(speaker_record.encode(kind, i * FRAME_US, i * FRAME_BYTES, FRAME_BYTES))
    if not is_torn:
        index.append(speaker_record.encode(STOP, end_us))
    (folder / FILES["index"]).write_bytes(b"".join(index))
    for kind in ("video", "audio"):
        (folder / FILES[kind]).write_bytes(bytes(frames * FRAME_BYTES))
    session = speaker_record.session(0, end_us, frames, frames)
    speaker_record.write_descriptor(folder, speaker_record.descriptor([session]))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=Path)
    parser.add_argument("--records", type=int, default=10000)
    parser.add_argument("--days", type=int, default=100)
    options = parser.parse_args()
    for i in range(options.records):
        folder = options.folder / f"day-{i % options.days:03}" / f"conference-{i:05}"
        write_record(folder, 0 if i % 10 == 0 else FRAMES, i % 10 == 1)


if __name__ == "__main__":
    main()
