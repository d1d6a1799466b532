#!/usr/bin/env python3
"""Tears records at random and checks that each one with a whole frame left ends as an MP4.

usage: torn_records.py KXRTC [RECORDS [SEED [MP4_FOLDER]]]     (20 records, seed 1)

A tear cuts, empties, removes or swaps files, overwrites blocks, flips bits, and puts bytes in or takes
bytes out. Then `kxrtc repair` must succeed and name each loss, `kxrtc verify` must say before what
it keeps, an independent reader and `kxrtc verify`
must find no error in the repaired record, `kxrtc transcode` must make an MP4 of it, copied and for
every fourth record encoded too, and ffmpeg must decode that. The MP4s stay in MP4_FOLDER, if given.
"""

import json
import random
import shutil
import sys
import tempfile
from collections import Counter
from pathlib import Path

from media import must_run, read_record, run, speaker_record
from speaker_record import ATTRIBUTES, AUDIO, CHANNEL, FILES, START, STOP, VIDEO, encode

ENCODE_EVERY = 4
AUDIO_INTERVAL_US = 21333
LARGEST_BLOCK = 20000
NAMES = list(FILES.values())


# --- Records -------------------------------------------------------------------------------------

def make_video(folder, number, size, rate, options):
    path = Path(folder) / f"{number}.264"
    must_run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"testsrc2=size={size}:rate={rate}",
             "-t", "4", "-pix_fmt", "yuv420p", "-c:v", "libx264", "-preset", "ultrafast", "-bf", "0",
             "-b:v", "300k", *options.split(), "-f", "h264", path)
    width, height = (int(side) for side in size.split("x"))
    return speaker_record.access_units(path.read_bytes()), rate, width, height


def make_audio(folder, channels):
    path = Path(folder) / f"{channels}.adts"
    must_run("ffmpeg", "-v", "error", "-f", "lavfi", "-i",
             "sine=sample_rate=48000,vibrato=f=5:d=0.8", "-t", "4", "-ac", channels, "-c:a", "aac",
             "-f", "adts", path)
    return speaker_record.adts_frames(path.read_bytes())


class Record:
    """A recording of one video after another, each on a channel of its own, with one sound."""

    def __init__(self, videos, audio, generator):
        events, time_us = [], 0
        for video, rate, width, height in videos:
            switch = [[CHANNEL, time_us, (generator.choice((2, 3)),)],
                      [ATTRIBUTES, time_us, (0, width, height)]]
            frames = [[VIDEO, time_us + round(number * 1e6 / rate + generator.uniform(0, 9000)), unit]
                      for number, unit in enumerate(video)]
            events += switch + frames
            time_us = frames[-1][1] + 30000
        seconds = time_us / 1e6
        sounds = (audio * (int(seconds / 4) + 1))[:int(time_us / AUDIO_INTERVAL_US)]
        events += [[AUDIO, round((number + 1) * AUDIO_INTERVAL_US + generator.uniform(0, 5000)),
                    frame] for number, frame in enumerate(sounds)]
        events.sort(key=lambda event: event[1])
        self.frames = {VIDEO: [], AUDIO: []}
        self.index = encode(START, 0)
        end = Counter()
        for kind, at_us, content in events:
            if kind in self.frames:
                self.frames[kind].append(content)
                content = (end[kind], len(content))
                end[kind] += content[1]
            self.index += encode(kind, at_us, *content)
        self.index += encode(STOP, time_us)
        counts = [len(self.frames[VIDEO]), len(self.frames[AUDIO]), len(videos)]
        self.descriptor = speaker_record.descriptor([speaker_record.session(0, time_us, *counts)])
        self.keys = [unit for unit in self.frames[VIDEO] if b"\0\0\1\x65" in unit]

    def write(self, folder):
        folder.mkdir()
        (folder / FILES["index"]).write_bytes(self.index)
        (folder / FILES["video"]).write_bytes(b"".join(self.frames[VIDEO]))
        (folder / FILES["audio"]).write_bytes(b"".join(self.frames[AUDIO]))
        speaker_record.write_descriptor(folder, self.descriptor)


def make_records(folder, generator):
    videos = [make_video(folder, number, *spec) for number, spec in enumerate((
        ("320x180", 24, "-g 24 -x264-params aud=1"),
        ("640x360", 15, "-g 30 -profile:v baseline -x264-params aud=1:slices=4"),
        ("176x144", 30, "-g 12 -x264-params aud=1:force-cfr=1:nal-hrd=none"),
    ))]
    sounds = [make_audio(folder, channels) for channels in (1, 2)]
    return [Record(chosen, sound, generator) for chosen in (videos[:1], videos[1:2], videos)
            for sound in sounds]


# --- Tears ---------------------------------------------------------------------------------------

def change_bytes(path, change):
    content = bytearray(path.read_bytes()) if path.is_file() else bytearray()
    if content:
        change(content)
        path.write_bytes(content)


def cut(path, generator):
    change_bytes(path, lambda content: content.__delitem__(
        slice(generator.randrange(len(content)), None)))


def block_of(content, generator):
    size = min(len(content), int(LARGEST_BLOCK ** generator.random()))
    at = generator.randrange(len(content) - size + 1)
    return at, size


def overwrite(path, generator):
    def change(content):
        at, size = block_of(content, generator)
        content[at:at + size] = generator.choice((bytes(size), generator.randbytes(size)))
    change_bytes(path, change)


def insert(path, generator):
    def change(content):
        at, size = block_of(content, generator)
        content[at:at] = generator.randbytes(size)
    change_bytes(path, change)


def take_out(path, generator):
    def change(content):
        at, size = block_of(content, generator)
        del content[at:at + size]
    change_bytes(path, change)


def flip_bits(path, generator):
    def change(content):
        for _ in range(generator.choice((1, 5, 50))):
            content[generator.randrange(len(content))] ^= 1 << generator.randrange(8)
    change_bytes(path, change)


def remove(path, _):
    path.unlink(missing_ok=True)


def empty(path, _):
    path.write_bytes(b"")


def swap(path, generator):
    other = path.with_name(generator.choice([name for name in NAMES if name != path.name]))
    spare = path.with_name("spare")
    for old, new in ((path, spare), (other, path), (spare, other)):
        if old.is_file():
            old.rename(new)


TEARS = (cut, overwrite, insert, take_out, flip_bits, remove, empty, swap)


def tear(folder, generator):
    told = []
    for _ in range(generator.choice((1, 1, 1, 2, 2, 3))):
        change, name = generator.choice(TEARS), generator.choice(NAMES)
        change(folder / name, generator)
        told.append(f"{change.__name__} {name.split('.')[1]}")
    return ", ".join(told)


# --- Checks --------------------------------------------------------------------------------------

def whole_frames(record, folder):
    """How many of the frames are whole in any file: key frames, all pictures, sounds."""
    content = [path.read_bytes() for path in folder.iterdir()]
    return [sum(any(frame in bytes_ for bytes_ in content) for frame in frames)
            for frames in (record.keys, record.frames[VIDEO], record.frames[AUDIO])]


def has_whole_count(record, folder):
    """True when the index or the descriptor of the record is still whole, under any name."""
    content = [path.read_bytes() for path in folder.iterdir()]
    return record.index in content or json.dumps(record.descriptor).encode() in content


def frames_of(folder):
    """The frames that the sound record in `folder` names, by their kind."""
    data = {VIDEO: (folder / FILES["video"]).read_bytes(),
            AUDIO: (folder / FILES["audio"]).read_bytes()}
    frames = {VIDEO: [], AUDIO: []}
    for kind, _, fields in speaker_record.decode((folder / FILES["index"]).read_bytes()):
        if kind in data:
            frames[kind].append(data[kind][fields[0]:sum(fields)])
    return frames


def check_losses(record, is_counted, frames, document):
    """Each frame that was recorded is kept or told as lost: one by one where a whole index or
    descriptor counts them, else at least by what was done about the tear."""
    missing = sum(max(0, len(record.frames[kind]) - len(frames[kind])) for kind in frames)
    if missing and (document["lost_count"] < missing if is_counted else not document["changes"]):
        yield f"{missing} frames are missing, {document['lost_count']} are told"
    last = frames[VIDEO][-1:]
    is_cut = any(picture != frame and picture.startswith(frame)
                 for frame in last for picture in record.frames[VIDEO])
    if is_cut and not any("cut off" in change["text"] for change in document["changes"]):
        yield "the last picture is cut off, and nothing is told"


def check_preview(kxrtc, folder, document, info):
    """What verify says about a repair is what the repair did, and what the new record has."""
    verified = json.loads(run(kxrtc, "verify", "--json", "--quick", folder).stdout)
    if info["recorded_us"] != document["kept"]["recorded_us"]:
        yield f"info: {info['recorded_us']} us, repair: {document['kept']['recorded_us']} us"
    preview = verified.get("repair")
    if preview is None:
        outcome = verified["replay"]["encode"]["outcome"]
        if outcome not in ("written", "output-failed"):
            yield f"verify predicts {outcome} and names no repair"
        return
    for member in preview:
        if member != "possible" and preview[member] != document[member]:
            yield f"verify says {member} {preview[member]}, repair {document[member]}"
    if not preview["possible"]:
        yield "verify calls the repair impossible"


def check_mp4(kxrtc, folder, found, mp4, mode):
    result = run(kxrtc, "transcode", folder, mp4, "--video", mode, "--no-sync", "--no-hardware",
                 "--preset", "ultrafast", "--quiet")
    told = result.stderr.strip()
    if result.returncode != 0 or not mp4.is_file():
        yield f"transcode --video {mode}: status {result.returncode}: {told}"
        return
    result = run("ffmpeg", "-v", "error", "-i", mp4, "-f", "null", "-")
    if result.returncode != 0:
        yield f"ffmpeg cannot decode the MP4 ({mode}): {result.stderr.strip()[-300:]}"
    probe = run("ffprobe", "-v", "quiet", "-show_entries", "stream=codec_type,nb_frames", "-of",
                "json", mp4)
    frames = {stream["codec_type"]: int(stream.get("nb_frames", 0))
              for stream in json.loads(probe.stdout)["streams"]}
    if not any(frames.values()):
        yield f"the MP4 ({mode}) is empty"
    if frames.get("audio", 0) < found["audio_frames"] and not told:
        yield f"the MP4 ({mode}) has {frames.get('audio', 0)} of {found['audio_frames']} sounds"
    if mode == "copy" and frames.get("video", 0) < found["video_frames"] and not told:
        yield f"the MP4 has {frames.get('video', 0)} of {found['video_frames']} pictures"


def check(kxrtc, record, folder, modes, mp4_stem, sums):
    keys, pictures, sounds = whole_frames(record, folder)
    is_counted = has_whole_count(record, folder)
    repaired = folder.with_name("repaired")
    result = run(kxrtc, "repair", "--json", folder, repaired)
    if result.returncode != 0:
        if keys or sounds:
            yield f"repair: status {result.returncode}: {result.stderr.strip()}"
        sums["nothing left"] += 1
        return
    if not keys and not sounds:
        return
    document = json.loads(result.stdout)
    found = read_record(f"{repaired}/")
    yield from (f"reader: {problem}" for problem in found["problems"][:3])
    kept = whole_frames(record, repaired)
    sums.update({"whole pictures": pictures, "kept pictures": kept[1], "whole sounds": sounds,
                 "kept sounds": kept[2]})
    if kept[2] < sounds - 2:
        yield f"{kept[2]} of {sounds} whole sounds kept"
    yield from check_losses(record, is_counted, frames_of(repaired), document)
    info = json.loads(run(kxrtc, "info", "--json", repaired).stdout)
    yield from check_preview(kxrtc, folder, document, info)
    verified = json.loads(run(kxrtc, "verify", "--json", repaired).stdout)
    yield from (f"verify: {finding['code']}: {finding['text']}" for finding in verified["findings"]
                if finding["severity"] == "error")
    for mode in modes:
        yield from check_mp4(kxrtc, repaired, found, Path(f"{mp4_stem}-{mode}.mp4"), mode)


def main():
    kxrtc = Path(sys.argv[1]).resolve()
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    sums, failed = Counter(), 0
    with tempfile.TemporaryDirectory() as parent:
        mp4_folder = Path(sys.argv[4] if len(sys.argv) > 4 else parent)
        mp4_folder.mkdir(exist_ok=True)
        records = make_records(parent, random.Random(seed))
        for number in range(count):
            generator = random.Random(f"{seed} {number}")
            record, folder = generator.choice(records), Path(parent) / "torn" / "record"
            folder.parent.mkdir()
            record.write(folder)
            told = tear(folder, generator)
            modes = ["copy"] + ["encode"] * (number % ENCODE_EVERY == 0)
            breaches = list(check(kxrtc, record, folder, modes, mp4_folder / str(number), sums))
            failed += bool(breaches)
            for breach in breaches:
                print(f"record {number} ({told}): {breach}", flush=True)
            shutil.rmtree(folder.parent)
    print(f"{count - failed} of {count} passed, seed {seed}; " +
          ", ".join(f"{name}: {sums[name]}" for name in sorted(sums)))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
