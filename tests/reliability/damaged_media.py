#!/usr/bin/env python3
"""Damages the sound of records, and of every third one the pictures too, and plays their MP4s.

usage: damaged_media.py KXRTC [--runs N] [--seed N] [--browser PLAYWRIGHT_FOLDER] [--keep FOLDER]

Every record has bits flipped and blocks overwritten in its .aac. kxrtc must end by itself with
status 0; ffmpeg must decode the MP4 of encode mode, and that of copy mode with --check-sound,
without a message; with --browser, Chromium must play both to their end. kxrtc verify must announce
as many damaged frames as were silenced. Where the pictures are damaged too, the MP4 of encode mode
is judged alone. Ends with 1 if anything failed, else with 77 where there is no browser for
--browser.
"""

import argparse
import json
import random
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from hostile_records import events_of, index_of
from media import decode_messages, make_audio, make_media, run, speaker_record
from speaker_record import FILES

TIME_LIMIT_S = 60
BATCH = 25  # MP4s for one start of the browser.
SKIPPED = 77
PLAYBACK = Path(__file__).resolve().parent.parent / "browser" / "playback.mjs"


def damaged(stream, generator):
    """The stream with a few bits flipped and blocks overwritten, at its old length."""
    result = bytearray(stream)
    for _ in range(generator.choice((1, 3, 20))):
        result[generator.randrange(len(result))] ^= 1 << generator.randrange(8)
    for _ in range(generator.choice((0, 1, 4))):
        at = generator.randrange(len(result))
        size = min(generator.choice((1, 8, 64, 512, 4096)), len(result) - at)
        other = generator.randrange(len(result) - size + 1)
        result[at:at + size] = generator.choice((
            bytes(size), b"\xff" * size, generator.randbytes(size), result[other:other + size]))
    return bytes(result)


class Media:
    """Pictures, and sound by channel count."""

    def __init__(self, folder):
        video, audio = make_media(folder)
        self.video = speaker_record.access_units(video.read_bytes())
        self.audio = {2: audio}
        self.audio.update({count: make_audio(folder, count) for count in (1, 6)})

    def write_record(self, folder, generator, with_pictures):
        """A record of this media, damaged."""
        channels = generator.choice((1, 2, 2, 2, 6))
        audio = speaker_record.adts_frames(self.audio[channels].read_bytes())
        if generator.random() < 0.2:  # Raw frames.
            audio = [frame[speaker_record.ADTS_HEADER_SIZE:] for frame in audio]
        events = events_of(self.video, audio)
        counts = (len(self.video), len(audio), 1)
        document = speaker_record.descriptor(
            [speaker_record.session(events[0][1], events[-1][1], *counts)])
        document["speaker_record_overall"]["audio_channel_count"] = channels
        folder.mkdir()
        speaker_record.write_descriptor(folder, document)
        (folder / FILES["index"]).write_bytes(index_of(events))
        pictures = b"".join(self.video)
        (folder / FILES["video"]).write_bytes(
            damaged(pictures, generator) if with_pictures else pictures)
        (folder / FILES["audio"]).write_bytes(damaged(b"".join(audio), generator))


def transcode(kxrtc, record, mp4, *options):
    """The "done" line, and the complaints of the run."""
    try:
        result = run(kxrtc, "transcode", record, mp4, "--json", "--no-sync", *options,
                     timeout=TIME_LIMIT_S)
    except subprocess.TimeoutExpired:
        return None, [f"no end within {TIME_LIMIT_S} s"]
    lines = [json.loads(line) for line in result.stdout.splitlines()]
    done = lines[-1] if lines and lines[-1]["event"] == "done" else None
    if result.returncode != 0 or done is None:
        return None, [f"status {result.returncode}: {result.stdout[-300:]} {result.stderr[-300:]}"]
    return done, []


def announced(kxrtc, record):
    """The frames that verify says cannot be decoded."""
    document = json.loads(run(kxrtc, "verify", "--json", record).stdout)
    return sum(int(re.match(r"\d+", finding["text"]).group())
               for finding in document["findings"] if finding["code"] == "audio.undecodable")


def judge(kxrtc, record, mp4s, with_pictures):
    """Makes the MP4s; yields what is wrong with them."""
    modes = {"encode": ("--preset", "ultrafast", "--no-hardware"),
             "copy": ("--video", "copy", "--check-sound")}
    expected = announced(kxrtc, record)
    for mode, options in modes.items():
        mp4 = mp4s[mode]
        done, breaches = transcode(kxrtc, record, mp4, *options)
        yield from (f"{mode}: {breach}" for breach in breaches)
        if done is None:
            continue
        if done["audio_frames_silenced"] != expected:
            yield f"{mode}: {done['audio_frames_silenced']} frames silenced, {expected} announced"
        if with_pictures and mode == "copy":
            mp4.unlink()  # The damage is copied, as it was asked.
        elif messages := decode_messages(mp4):
            yield f"{mode}: ffmpeg: {messages[:300]}"


def play(playwright, files):
    """Plays the files in a browser; returns the status of the player."""
    if not shutil.which("node"):
        print("skipped: node is not installed")
        return SKIPPED
    result = subprocess.run(["node", str(PLAYBACK), playwright, "unused", *map(str, files)],
                            stdout=subprocess.PIPE, text=True, check=False)
    if result.returncode != 0:
        print(result.stdout, flush=True)
    return result.returncode


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kxrtc")
    parser.add_argument("--runs", type=int, default=300)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--browser", metavar="PLAYWRIGHT_FOLDER")
    parser.add_argument("--keep", type=Path, help="folder for the records that failed")
    options = parser.parse_args()
    failed = played = silenced = skipped = 0
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        media = Media(folder)
        waiting = []
        for number in range(options.runs):
            generator = random.Random(f"{options.seed} {number}")
            record, with_pictures = folder / f"record{number}", number % 3 == 2
            media.write_record(record, generator, with_pictures)
            mp4s = {mode: folder / f"{number}-{mode}.mp4" for mode in ("encode", "copy")}
            breaches = list(judge(options.kxrtc, record, mp4s, with_pictures))
            for breach in breaches:
                print(f"record {number}: {breach}", flush=True)
            if breaches and options.keep:
                record.rename(options.keep / record.name)
            failed += bool(breaches)
            silenced += announced(options.kxrtc, record) > 0 if record.exists() else 0
            waiting += [mp4 for mp4 in mp4s.values() if mp4.exists()]
            if len(waiting) < BATCH and number + 1 < options.runs:
                continue
            if options.browser:
                status = play(options.browser, waiting)
                if status == SKIPPED:
                    options.browser, skipped = None, SKIPPED
                else:
                    failed += status != 0
                    played += len(waiting)
            for mp4 in waiting:
                mp4.unlink()
            waiting = []
    print(f"{options.runs} records, {silenced} with frames that do not decode, {played} MP4s "
          f"played, {failed} failures, seed {options.seed}")
    return 1 if failed else skipped


if __name__ == "__main__":
    sys.exit(main())
