#!/usr/bin/env python3
"""Bundles whole, torn and hostile records, and checks that a bundle tells what its record tells.

usage: bundle_agreement.py KXRTC [RECORDS [SEED]] [--hostile]     (20, seed 1)

RECORDS of each kind: torn, with damaged media, and up to six whole ones; with --hostile also those of
hostile_records.py.

The bundle is unpacked by tar. `kxrtc verify`, `info`, `dump`, `estimate` and `repair` must say the
same about it as about the record. Two bundles of a record are the same bytes. No run of 8 bytes of
a slice's data or of a raw audio frame, no name and no path of the machine may be in it.
"""

import json
import random
import re
import shutil
import socket
import subprocess
import sys
import tempfile
from pathlib import Path

import damaged_media
import hostile_records
import torn_records
from media import run, speaker_record
from speaker_record import AUDIO, FILES, TIMELINE, VIDEO

COMMANDS = (("verify", "--json"), ("info", "--json"), ("dump", "--json"), ("estimate", "--json"))
RUN = 8  # Bytes that tell nothing.
LONGEST_HEADER = 32  # Of a slice in these records, with its NAL header and start code.
NO_RECORD = 3
TIME_LIMIT_S = 60

NAMES = ("Ada Lovelace", "\u0410\u043d\u043d\u0430", "<script>", "Weekly secrets")
USERS = (918273645, 1122334455)
TIMELINE_LINES = [
    {"speaker_timeline": 1, "title": NAMES[3], "place": "Weekly secrets"},
    {"event": "start", "us": 0, "utc": "2026-11-22T09:30:00.250000Z"},
    {"event": "joined", "name": NAMES[0], "us": 0, "user_id": USERS[0], "mail": NAMES[0]},
    {"event": "joined", "name": NAMES[1], "us": 1, "user_id": USERS[1]},
    {"event": "selected", "media_type": 2, "ssrc": 12, "us": 5, "user_id": USERS[0]},
    {"event": "waves", "us": 6, "whom": NAMES[0]},
    {"event": "voice", "on": True, "us": 7, "user_id": USERS[1]},
    {"event": "joined", "name": NAMES[2], "us": 8, "user_id": USERS[1]},
]


def write_timeline(folder, generator):
    lines = [json.dumps(line, ensure_ascii=False) for line in TIMELINE_LINES]
    if generator.random() < 0.5:
        lines.insert(generator.randrange(len(lines)), f'{{"event":"joined","name":"{NAMES[0]}')
    text = "\n".join(lines) + generator.choice(("", "\n", f'\n{{"event":"joined","na{NAMES[3]}'))
    (folder / TIMELINE).write_text(text)


def told(kxrtc, command, folder):
    """Status and output of a command, without the path of the folder."""
    result = run(kxrtc, *command, folder, timeout=TIME_LIMIT_S)
    return (result.returncode, re.sub(re.escape(str(folder)) + "/?", "RECORD/", result.stdout),
            re.sub(re.escape(str(folder)) + "/?", "RECORD/", result.stderr))


def without_people(text):
    """A JSON document without the names and numbers of the people in its speaker timeline."""

    def strip(value):
        if isinstance(value, list):
            return [strip(element) for element in value]
        if isinstance(value, dict):
            return {key: strip(element) for key, element in value.items()
                    if key not in ("title", "name", "user_id")}
        return value

    try:
        document = json.loads(text)
    except ValueError:
        return text
    document["speaker_timeline"] = strip(document.get("speaker_timeline"))
    return document


def repaired(kxrtc, folder, target):
    """What repair says, and the index and descriptor that it makes."""
    result = run(kxrtc, "repair", "--json", folder, target, timeout=TIME_LIMIT_S)
    parts = [(target / FILES[name]).read_bytes() if target.is_dir() else b""
             for name in ("index", "descriptor")]
    sizes = [(target / FILES[name]).stat().st_size if target.is_dir() else 0
             for name in ("video", "audio")]
    text = result.stdout.replace(str(folder) + "/", "RECORD/").replace(str(target), "TARGET")
    shutil.rmtree(target, ignore_errors=True)
    return result.returncode, text, parts, sizes


def difference(one, other):
    """Where two texts begin to differ."""
    one, other = str(one), str(other)
    at = next((i for i, (a, b) in enumerate(zip(one, other)) if a != b), min(len(one), len(other)))
    return f"...{one[max(0, at - 80):at + 120]} // ...{other[max(0, at - 80):at + 120]}"


def windows(content):
    return {content[at:at + RUN] for at in range(len(content) - RUN + 1)}


def private_runs(video, audio):
    """The runs that must not leave the machine."""
    runs = set()
    for unit in video:
        for slice_ in re.split(b"\0\0\1", unit):
            if slice_ and slice_[0] & 0x1F in (1, 5, 6):
                runs |= windows(slice_[LONGEST_HEADER:] if slice_[0] & 0x1F != 6 else slice_[12:])
    for frame in audio:
        runs |= windows(frame[speaker_record.ADTS_HEADER_SIZE:])
    return {run_ for run_ in runs if len(set(run_)) > 4}  # Others may be numbers.


def check_private(folder, private):
    people = [*(name.encode() for name in NAMES), *(str(user).encode() for user in USERS)]
    machine = [socket.gethostname().encode(), tempfile.gettempdir().encode()]
    for path in sorted(folder.rglob("*")):
        if not path.is_file() or path.stat().st_size > 1 << 26:
            continue
        content = path.read_bytes()
        is_media = path.suffix in (".264", ".aac")  # Elsewhere are numbers, equal by chance.
        if is_media and private and (found := private & windows(content)):
            yield f"{path.name}: {len(found)} private runs, as {next(iter(found)).hex()}"
        words = people + (machine if path.suffix == ".json" else [])
        yield from (f"{path.name} names {word}" for word in words
                    if re.search(rb"(?<!\w)" + re.escape(word) + rb"(?!\w)", content))


def check(kxrtc, folder, parent, private, may_fail):
    archive, unpacked = parent / "out.tar.gz", parent / "unpacked"
    result = run(kxrtc, "bundle", folder, archive, timeout=TIME_LIMIT_S)
    if result.returncode != 0:
        if result.returncode != NO_RECORD or not may_fail:
            yield f"bundle: status {result.returncode}: {result.stderr.strip()}"
        if archive.exists():
            yield "a bundle that failed left an archive"
        return
    again = parent / "again.tar.gz"
    must = run(kxrtc, "bundle", folder, again, timeout=TIME_LIMIT_S)
    if must.returncode != 0 or again.read_bytes() != archive.read_bytes():
        yield "a second bundle differs"
    unpacked.mkdir()
    subprocess.run(["tar", "-xzf", archive, "-C", unpacked], check=True)
    copy = unpacked / "kxrtc-bundle" / "record"
    if not copy.is_dir():
        return
    yield from check_private(unpacked, private)
    for command in COMMANDS:
        one, other = told(kxrtc, command, folder), told(kxrtc, command, copy)
        if command[0] == "verify":
            packed = (unpacked / "kxrtc-bundle" / "verify.json").read_text()
            if packed.replace("record/", "RECORD/") != one[1]:
                yield f"verify.json: {difference(one[1], packed)}"
        if one != other:  # The people have other names.
            one, other = ((status, without_people(output), errors)
                          for status, output, errors in (one, other))
        if one != other:
            yield f"{command[0]}: {difference(one, other)}"
    one = repaired(kxrtc, folder, parent / "repaired")
    other = repaired(kxrtc, copy, parent / "repaired")
    if one != other:
        yield f"repair: {difference(one, other)}"


def torn(parent, count, seed):
    records = torn_records.make_records(parent, random.Random(seed))
    whole = min(count, len(records))
    for number in range(-whole, count):
        generator = random.Random(f"{seed} {number}")
        record = records[number] if number < 0 else generator.choice(records)
        folder = parent / "torn" / "record"
        folder.parent.mkdir()
        record.write(folder)
        name = "whole"
        if number >= 0:
            name = torn_records.tear(folder, generator)
        write_timeline(folder, generator)
        yield (f"record {number} ({name})", folder,
               private_runs(record.frames[VIDEO], record.frames[AUDIO]), number >= 0)
        shutil.rmtree(folder.parent)


def damaged(parent, count, seed):
    media = damaged_media.Media(parent)
    for number in range(count):
        folder = parent / "damaged"
        media.write_record(folder, random.Random(f"{seed} {number}"), number % 3 == 2)
        yield f"damaged {number}", folder, None, False
        shutil.rmtree(folder)


def hostile(parent):
    streams = hostile_records.make_media(parent)
    record = hostile_records.Record(
        speaker_record.access_units(streams[0].read_bytes()),
        speaker_record.adts_frames(streams[1].read_bytes()))
    for name, change, commands in hostile_records.variants():
        folder = parent / "hostile" / "record"
        folder.parent.mkdir()
        record.write(folder)
        change(folder, record)
        # What is no regular file is left out: then verify says another thing about the bundle.
        regular = all(path.is_file() and path.resolve().is_file() for path in folder.iterdir())
        if regular and "repair" in commands:
            yield name, folder, None, True
        shutil.rmtree(folder.parent)


def main():
    words = [word for word in sys.argv[1:] if word != "--hostile"]
    kxrtc = Path(words[0]).resolve()
    count = int(words[1]) if len(words) > 1 else 20
    seed = int(words[2]) if len(words) > 2 else 1
    passed = failed = 0
    with tempfile.TemporaryDirectory() as name:
        parent = Path(name)
        sources = [torn(parent, count, seed), damaged(parent, count, seed)]
        if "--hostile" in sys.argv:
            sources.append(hostile(parent))
        for source in sources:
            for title, folder, private, may_fail in source:
                with tempfile.TemporaryDirectory(dir=parent) as work:
                    breaches = list(check(kxrtc, folder, Path(work), private, may_fail))
                for breach in breaches:
                    print(f"{title}: {breach}", flush=True)
                failed += bool(breaches)
                passed += not breaches
    print(f"{passed} passed, {failed} failed, seed {seed}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
