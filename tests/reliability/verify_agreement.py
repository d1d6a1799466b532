#!/usr/bin/env python3
"""Compares what `kxrtc verify` says of damaged records with what `kxrtc transcode` then does.

usage: verify_agreement.py KXRTC [RECORDS] [SEED]

For each record and both modes: the outcome that verify names is the exit status of transcode, and
the duration, the pictures and the audio frames that it predicts are those of the MP4.
"""

import json
import os
import random
import shutil
import struct
import sys
import tempfile
from collections import Counter
from pathlib import Path

from media import make_media, run, speaker_record  # Finds the next one too.
from speaker_record import (ATTRIBUTES, AUDIO, CAMERA, CHANNEL, DESKTOP, FILES, START, STOP, VIDEO,
                            encode)

VIDEO_INTERVAL_US, AUDIO_INTERVAL_US = 41667, 21333

# docs/tool.md has the meaning of each status.
STATUS = {"written": 0, "written-in-part": 7, "record-unreadable": 3, "record-damaged": 6,
          "nothing-to-play": 8, "output-failed": 4}
COUNTS = ("duration_us", "video_samples", "audio_frames")


# --- Records -------------------------------------------------------------------------------------

class Builder:
    """The events of a record, [type, time, fields or frame]."""

    def __init__(self):
        self.events, self.time_us, self.sessions = [], 1000, []

    def add(self, kind, *fields):
        self.events.append([kind, self.time_us, *fields])
        self.time_us += 1

    def session(self, video, audio, generator):
        start, switches = self.time_us, 0
        first = len(self.events)
        self.add(START)
        base = self.time_us
        frames = [(n * VIDEO_INTERVAL_US, VIDEO, frame) for n, frame in enumerate(video)]
        frames += [(n * AUDIO_INTERVAL_US, AUDIO, frame) for n, frame in enumerate(audio)]
        channel = generator.choice((0, CAMERA, DESKTOP))
        for at, kind, frame in sorted(frames, key=lambda item: item[:2]):
            self.time_us = max(self.time_us, base + at)
            if first + 1 == len(self.events) or generator.random() < 0.02:
                channel = generator.choice((0, CAMERA, CAMERA, DESKTOP))
                switches += 1
                self.add(CHANNEL, channel)
                if channel:
                    self.add(ATTRIBUTES, generator.choice((0, 0, 90)), 320, 180)
            if kind == VIDEO and (not channel or generator.random() < 0.02):
                continue
            self.add(kind, frame)
        self.add(STOP)
        events = self.events[first:]
        self.sessions.append(speaker_record.session(
            start, self.time_us - 1, sum(event[0] == VIDEO for event in events),
            sum(event[0] == AUDIO for event in events), switches))
        self.time_us += generator.choice((10, 3_000_000))

    def write(self, folder):
        folder.mkdir()
        data = {VIDEO: bytearray(), AUDIO: bytearray()}
        index = bytearray()
        for kind, time_us, *fields in self.events:
            if kind in data:
                frame, = fields
                fields = (len(data[kind]), len(frame))
                data[kind] += frame
            index += encode(kind, time_us, *fields)
        (folder / FILES["index"]).write_bytes(index)
        (folder / FILES["video"]).write_bytes(data[VIDEO])
        (folder / FILES["audio"]).write_bytes(data[AUDIO])
        speaker_record.write_descriptor(folder, speaker_record.descriptor(self.sessions))


def without_sets(frame):
    """The access unit without its parameter sets."""
    units = frame.replace(b"\0\0\0\1", b"\0\0\1").split(b"\0\0\1")[1:]
    return b"".join(b"\0\0\0\1" + unit for unit in units if unit and unit[0] & 31 not in (7, 8))


def make_record(folder, video, audio, generator):
    builder = Builder()
    kind = generator.choice(("both", "both", "both", "both", "sound", "pictures", "no sets"))
    for _ in range(generator.choice((1, 1, 2))):
        first = generator.randrange(0, len(video) - 24)
        pictures = [] if kind == "sound" else video[first:first + generator.choice((24, 90))]
        sound = [] if kind == "pictures" else audio[:generator.choice((20, 60, 90))]
        if kind == "no sets":
            pictures = [without_sets(frame) for frame in pictures]
        elif generator.random() < 0.3:
            pictures = [without_sets(frame) if generator.random() < 0.2 else frame
                        for frame in pictures]
        builder.session(pictures, sound, generator)
    builder.write(folder)
    return kind


# --- Damage --------------------------------------------------------------------------------------

def any_file(folder, generator):
    return folder / FILES[generator.choice(("index", "video", "audio", "descriptor"))]


def change(path, edit):
    if path.exists():
        data = bytearray(path.read_bytes())
        edit(data)
        path.write_bytes(data)


def cut(folder, generator):
    for _ in range(generator.choice((1, 3))):
        path = any_file(folder, generator)
        if path.exists():
            os.truncate(path, generator.randrange(path.stat().st_size + 1))


def crash(folder, generator):
    """What a killed recorder leaves: the end of the files is missing."""
    for name in ("index", "video", "audio"):
        path = folder / FILES[name]
        os.truncate(path, max(0, path.stat().st_size - generator.randrange(3000)))


def overwrite(folder, generator):
    def edit(data):
        if data:
            at, size = generator.randrange(len(data)), generator.choice((4, 12, 512))
            data[at:at + size] = generator.choice((bytes(size), generator.randbytes(size)))
    change(any_file(folder, generator), edit)


def flip(folder, generator):
    def edit(data):
        for _ in range(generator.choice((1, 8)) if data else 0):
            data[generator.randrange(len(data))] ^= 1 << generator.randrange(8)
    change(any_file(folder, generator), edit)


def insert(folder, generator):
    def edit(data):
        at = generator.randrange(len(data) + 1)
        data[at:at] = generator.randbytes(24)
    change(any_file(folder, generator), edit)


def remove_bytes(folder, generator):
    def edit(data):
        at = generator.randrange(len(data) + 1)
        del data[at:at + 24]
    change(any_file(folder, generator), edit)


def remove(folder, generator):
    any_file(folder, generator).unlink()


def empty(folder, generator):
    any_file(folder, generator).write_bytes(b"")


def swap(folder, generator):
    one, other = (folder / FILES[name] for name in generator.sample(sorted(FILES), 2))
    one.rename(folder / "other")
    other.rename(one)
    (folder / "other").rename(other)


def edit_index(folder, generator):
    """Index records that are lost, repeated, moved or changed."""
    path = folder / FILES["index"]
    events = [list(event) for event in speaker_record.decode(path.read_bytes())]
    for _ in range(generator.choice((1, 4))):
        at = generator.randrange(len(events))
        action = generator.choice(("lose", "repeat", "swap", "time", "fields"))
        if action == "lose" and len(events) > 1:
            del events[at]
        elif action == "repeat":
            events.insert(at, list(events[at]))
        elif action == "swap":
            other = generator.randrange(len(events))
            events[at], events[other] = events[other], events[at]
        elif action == "time":
            events[at][1] += generator.choice((-10**6, -50000, 10**5, 7 * 10**6, 3 * 10**9))
        elif events[at][0] in (VIDEO, AUDIO):
            position, size = events[at][2]
            events[at][2] = generator.choice(((position, 0), (position + 5, size),
                                              (position, size + 3), (position, max(0, size - 9))))
    path.write_bytes(b"".join(encode(kind, time_us, *fields) for kind, time_us, fields in events))


def spoil_descriptor(folder, generator):
    path = folder / FILES["descriptor"]
    text = path.read_text()
    path.write_text(generator.choice((
        "[" * 100000, "[" * 2000, text[:-5], text + "x", "\ufeff" + text, text + " " * 200000,
        text.replace("audio_channel_count", "channels"), "null", "{}",
        text.replace('"record_session_count": ', '"record_session_count": 1'),
        text.replace('"audio_channel_count": 2', '"audio_channel_count": 7'))))


DAMAGES = (cut, cut, crash, crash, overwrite, overwrite, flip, flip, insert, remove_bytes, remove,
           empty, swap, edit_index, edit_index, edit_index, spoil_descriptor)


# --- Comparing -----------------------------------------------------------------------------------

def last_document(text):
    lines = [line for line in text.splitlines() if line.startswith("{")]
    return json.loads(lines[-1]) if lines else {}


def disagreements(kxrtc, folder, output, outcomes):
    verified = run(kxrtc, "verify", "--json", folder)
    if verified.returncode not in (0, 12, 13):
        yield f"verify: status {verified.returncode}: {verified.stderr}"
        return
    document = json.loads(verified.stdout)
    for mode in ("copy", "encode"):
        said = document["replay"][mode]
        outcomes[said["outcome"]] += 1
        done = run(kxrtc, "transcode", folder, output, "--force", "--json", "--no-sync",
                   "--video", mode, "--preset", "ultrafast")
        if done.returncode != STATUS[said["outcome"]]:
            yield (f"{mode}: verify says {said['outcome']} ({said.get('text')}), transcode ends "
                   f"with {done.returncode}: {done.stdout.strip()[-300:]}")
            continue
        if done.returncode not in (0, 7):
            continue
        event = last_document(done.stdout)
        # Verify does not decode pictures, and says so.
        counts = COUNTS if mode == "copy" or "cannot be decoded" not in done.stdout else COUNTS[2:]
        for member in counts:
            if said[member] != event[member]:
                yield f"{mode}: verify says {member} {said[member]}, transcode {event[member]}"


def main():
    kxrtc = Path(sys.argv[1]).resolve()
    records = int(sys.argv[2]) if len(sys.argv) > 2 else 200
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.randrange(10**6)
    print(f"{records} records, seed {seed}", flush=True)
    failed, outcomes = 0, Counter()
    with tempfile.TemporaryDirectory() as work:
        media = [Path(path).read_bytes() for path in make_media(work)]
        video = speaker_record.access_units(media[0]) * 3
        audio = speaker_record.adts_frames(media[1])
        for number in range(records):
            generator = random.Random(f"{seed} {number}")
            folder = Path(work) / "record"
            title = make_record(folder, video, audio, generator)
            for _ in range(generator.choice((0, 1, 1, 1, 2))):
                damage = generator.choice(DAMAGES)
                title += f", {damage.__name__}"
                try:
                    damage(folder, generator)
                except (OSError, ValueError, KeyError, IndexError, struct.error):
                    title += " (not possible)"
            found = list(disagreements(kxrtc, folder, Path(work) / "out.mp4",
                                       outcomes))
            for text in found:
                print(f"record {number} ({title}): {text}", flush=True)
            if found and "KEEP" in os.environ:
                shutil.copytree(folder, Path(os.environ["KEEP"]) / str(number))
            failed += bool(found)
            shutil.rmtree(folder)
    print(f"{records - failed} records agree, {failed} do not; outcomes: {dict(outcomes)}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
