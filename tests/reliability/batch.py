"""Small archives and runs of kxrtc-batch for the programs that test it."""

import json
import os
import signal
import subprocess
import time
from collections import Counter
from pathlib import Path

from media import make_media, speaker_record
from speaker_record import AUDIO, CAMERA, CHANNEL, FILES, START, STOP, VIDEO, encode

KEPT = {"manifest.ndjson", ".kxrtc-batch/lock", ".kxrtc-batch/options"}
DEADLINE_S = 60


def write_record(folder, pictures, sounds):
    events = [((number + 1) * 41667, VIDEO, picture) for number, picture in enumerate(pictures)]
    events += [((number + 1) * 21333, AUDIO, sound) for number, sound in enumerate(sounds)]
    events.sort(key=lambda event: event[0])
    folder.mkdir(parents=True)
    index, data = [encode(START, 0), encode(CHANNEL, 0, CAMERA)], {VIDEO: b"", AUDIO: b""}
    for time_us, kind, frame in events:
        index.append(encode(kind, time_us, len(data[kind]), len(frame)))
        data[kind] += frame
    end_us = events[-1][0] + 1
    index.append(encode(STOP, end_us))
    (folder / FILES["index"]).write_bytes(b"".join(index))
    (folder / FILES["video"]).write_bytes(data[VIDEO])
    (folder / FILES["audio"]).write_bytes(data[AUDIO])
    speaker_record.write_descriptor(folder, speaker_record.descriptor(
        [speaker_record.session(0, end_us, len(pictures), len(sounds))]))


def make_archive(root, count, generator):
    """Records of up to two seconds: of each six one is torn and one lacks its descriptor."""
    video, audio = make_media(root.parent)
    pictures = speaker_record.access_units(video.read_bytes())
    sounds = speaker_record.adts_frames(audio.read_bytes())
    for number in range(count):
        folder = root / f"day {number % 4}" / f"{number:03}\n'\"$(x)\\ é"
        length = generator.randrange(12, len(pictures))
        write_record(folder, pictures[:length], sounds[:length * 2 - 1])
        if number % 6 == 1:
            index = folder / FILES["index"]
            os.truncate(index, index.stat().st_size - generator.randrange(1, 300))
        elif number % 6 == 3:
            (folder / FILES["descriptor"]).unlink()
    (root / "empty").mkdir()
    for name in FILES.values():
        (root / "empty" / name).write_bytes(b"")


def files_below(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()}


def manifest_of(out):
    """The lines, each of which has to be whole."""
    content = (out / "manifest.ndjson").read_bytes()
    assert content.endswith(b"\n"), "the last line of the manifest is cut"
    return [json.loads(line) for line in content.splitlines()]


def processes_of(session):
    """Command lines of the living processes of a session, by their number."""
    found = {}
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            fields = (folder / "stat").read_text().rpartition(")")[2].split()
            if int(fields[3]) == session and fields[0] != "Z":
                found[int(folder.name)] = (folder / "cmdline").read_bytes().split(b"\0")
        except (FileNotFoundError, ProcessLookupError):
            pass
    return found


def kill_all(numbers):
    for number in numbers:
        try:
            os.kill(number, signal.SIGKILL)
        except ProcessLookupError:
            pass


def wait_until_gone(sessions):
    end = time.monotonic() + DEADLINE_S
    while any(processes_of(session) for session in sessions):
        assert time.monotonic() < end, f"processes go on: {[processes_of(s) for s in sessions]}"
        time.sleep(0.05)


def start(*command):
    """A run in a session of its own, so that all its processes can be found."""
    return subprocess.Popen([str(part) for part in command], start_new_session=True,
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)


def problems_of(out, reference):
    """Where the MP4s of an archive that is done are not those of `reference`, and what else is wrong."""
    expected, found = files_below(reference), files_below(out) - KEPT
    for name in sorted(expected ^ found):
        yield f"{name!r} is {'missing' if name in expected else 'left over'}"
    for name in sorted(expected & found):
        if (out / name).read_bytes() != (reference / name).read_bytes():
            yield f"{name!r} differs from that of a serial run"
    told = Counter()
    for line in manifest_of(out):
        if line["outcome"] in ("made", "found"):
            told[line["output"]] += 1
        else:
            yield f"the manifest tells {line['outcome']} of {line['output']!r}: {line.get('message')}"
    for name in sorted(expected):
        if told[name] != 1:
            yield f"the manifest tells {told[name]} times of {name!r}"
    if set(told) - expected:
        yield f"the manifest tells of {sorted(set(told) - expected)}"
