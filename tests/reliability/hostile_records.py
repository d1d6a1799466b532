#!/usr/bin/env python3
"""Gives every command of kxrtc that reads a record hostile ones, with limits on memory and time.

usage: hostile_records.py KXRTC [SEED]

For each variant and command: the program ends by itself, with a status that its page documents, in
bounded memory; anything but success comes with a message; the record is as it was, and the output
folder holds what the status promises and nothing else. Then the same while the files of a longer
record are cut or removed under the reader.
"""

import json
import os
import random
import resource
import shutil
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

from media import json_outputs, make_media, speaker_record  # Finds the next one too.
from speaker_record import ATTRIBUTES, AUDIO, CHANNEL, FILES, START, STOP, VIDEO, encode

ADDRESS_SPACE = 1 << 30
RESIDENT_KB = 100 * 1024
ENCODER_KB = 300 * 1024  # For the command that holds pictures and an encoder.
TIME_LIMIT_S = 20
PROCESSOR_LIMIT_S = 5  # What other programs do does not count here.
OUTPUT_LIMIT = 1 << 24  # Bytes of an MP4 or a page.
LARGEST_FRAME = 1 << 26
YEARS_30_US = 30 * 365 * 86400 * 10**6
RUNS_UNDER_CHANGE = 5
LONG_RECORD_SESSIONS = 150
TIMES_AGAIN = 5000
COMPARED_WHOLE = 1 << 24  # Of larger files, size and time of change are compared.

VIDEO_INTERVAL_US, AUDIO_INTERVAL_US, SESSION_US = 41667, 21333, 2100000
SIZES = {"2^31": 2**31, "2^32-1": 2**32 - 1}
NUMBERS = {**SIZES, "2^63-1": 2**63 - 1, "2^63": 2**63, "2^64-1": 2**64 - 1}

# What docs/tool.md and docs/tool_records.md list, less what only wrong options and a bad place for
# the output lead to.
STATUSES = {"info": {0, 3}, "dump": {0, 3, 7}, "verify": {0, 3, 12, 13}, "repair": {0, 1, 3},
            "report": {0, 3}, "transcode": {0, 3, 4, 6, 7, 8}, "encode": {0, 3, 4, 6, 7, 8},
            "parts": {0, 3, 4, 6, 7, 8}, "estimate": {0, 3, 6}, "bundle": {0, 3},
            "thumbnails": {0, 3, 8}, "list": {0}}
OUTPUTS = {"repair": ("repaired", {0}), "report": ("page.html", {0}),
           "bundle": ("out.tar.gz", {0}), "thumbnails": ("pictures", {0}),
           "transcode": ("out.mp4", {0, 7}), "encode": ("out.mp4", {0, 7}),
           "parts": ("out.mp4", {0, 7})}
# "transcode" and "parts" copy the pictures.
TRANSCODE = {"transcode": ("--video", "copy", "--quiet"),
             "encode": ("--preset", "ultrafast", "--no-hardware", "--no-sync", "--quiet"),
             "parts": ("--video", "copy", "--quiet", "--from", "0.7", "--cut", "1-1.2")}
TOLD_ON_STANDARD_OUTPUT = {"verify": {12, 13}}


# --- Records -------------------------------------------------------------------------------------

def events_of(video, audio):
    """The records of a session of these frames, as [type, time, fields], and their bytes."""
    events = [[START, 0, ()], [CHANNEL, 1, (1,)], [ATTRIBUTES, 2, (0, 320, 180)]]
    frames = [(number * VIDEO_INTERVAL_US, VIDEO, frame) for number, frame in enumerate(video)]
    frames += [(number * AUDIO_INTERVAL_US, AUDIO, frame) for number, frame in enumerate(audio)]
    position = {VIDEO: 0, AUDIO: 0}
    for time_us, kind, frame in sorted(frames, key=lambda item: item[:2]):
        events.append([kind, 10 + time_us, (position[kind], len(frame))])
        position[kind] += len(frame)
    events.append([STOP, events[-1][1] + 1, ()])
    return events


def index_of(events, time_us=0, video_position=0, audio_position=0):
    """The bytes of the events, moved to a later time and to later places in the data files."""
    first = {VIDEO: video_position, AUDIO: audio_position}
    return b"".join(encode(kind, time_us + at, *((first[kind] + fields[0], fields[1])
                                                 if kind in first else fields))
                    for kind, at, fields in events)


def descriptor_of(events, sessions):
    counts = [sum(event[0] == kind for event in events) for kind in (VIDEO, AUDIO, CHANNEL)]
    starts = [number * SESSION_US for number in range(sessions)]
    return speaker_record.descriptor([
        speaker_record.session(start + events[0][1], start + events[-1][1], *counts)
        for start in starts])


class Record:
    """Sessions of the same frames, one after another."""

    def __init__(self, video, audio, sessions=1):
        self.events, self.sessions = events_of(video, audio), sessions
        self.descriptor = descriptor_of(self.events, sessions)
        self.video, self.audio = b"".join(video), b"".join(audio)

    def write(self, folder):
        folder.mkdir()
        speaker_record.write_descriptor(folder, self.descriptor)
        with (open(folder / FILES["index"], "wb") as index,
              open(folder / FILES["video"], "wb") as video,
              open(folder / FILES["audio"], "wb") as audio):
            for number in range(self.sessions):
                index.write(index_of(self.events, number * SESSION_US, video.tell(), audio.tell()))
                video.write(self.video)
                audio.write(self.audio)


# --- Variants ------------------------------------------------------------------------------------

def replace(make):
    def variant(path):
        path.unlink()
        make(path)
    return variant


def link_elsewhere(path):
    target = path.parent.with_name("elsewhere")
    path.rename(target)
    path.symlink_to(target)


FILE_VARIANTS = {
    "missing": Path.unlink,
    "a folder": replace(Path.mkdir),
    "a FIFO": replace(os.mkfifo),
    "/dev/zero": replace(lambda path: path.symlink_to("/dev/zero")),
    "/dev/full": replace(lambda path: path.symlink_to("/dev/full")),
    "a link to itself": replace(lambda path: path.symlink_to(path.name)),
    "a link to the file": link_elsewhere,
    "empty": replace(Path.touch),
}


def with_file(name, change):
    return lambda folder, _: change(folder / FILES[name])


def with_frame(kind, position=None, size=None):
    """Changes what the index says of a frame in the middle."""
    def variant(folder, record):
        events = [list(event) for event in record.events]
        event = [event for event in events if event[0] == kind][5]
        event[2] = (event[2][0] if position is None else position,
                    event[2][1] if size is None else size)
        (folder / FILES["index"]).write_bytes(index_of(events))
    return variant


def with_frame_inside(kind, name, size):
    """The last frame is this long and all of it is in the file, as a hole."""
    def variant(folder, record):
        events = [list(event) for event in record.events]
        event = [event for event in events if event[0] == kind][-1]
        event[2] = (event[2][0], size)
        (folder / FILES["index"]).write_bytes(index_of(events))
        os.truncate(folder / FILES[name], sum(event[2]))
    return variant


def with_two_pictures(apart_us):
    """An index of 112 bytes: a key frame, and again so much later."""
    def variant(folder, record):
        start, channel, attributes = record.events[:3]
        video = next(event for event in record.events if event[0] == VIDEO)
        events = [start, channel, attributes, video, [VIDEO, video[1] + apart_us, video[2]],
                  [STOP, video[1] + apart_us + 1, ()]]
        index = index_of(events)
        assert len(index) == 112
        (folder / FILES["index"]).write_bytes(index)
        speaker_record.write_descriptor(folder, descriptor_of(events, 1))
    return variant


def with_one_frame_again(kind, name):
    """Thousands of records name one frame of 64 MiB that is a hole."""
    def variant(folder, record):
        events = [list(event) for event in record.events if event[0] not in (VIDEO, AUDIO)]
        events[-1:-1] = [[kind, 10 + number, (0, 2**26)] for number in range(TIMES_AGAIN)]
        (folder / FILES["index"]).write_bytes(index_of(events))
        os.truncate(folder / FILES[name], 2**26)
    return variant


def with_numbers(members, value):
    def variant(folder, record):
        descriptor = json.loads(json.dumps(record.descriptor))
        for item in (descriptor["speaker_record_overall"], *descriptor["speaker_record_session"]):
            item.update({member: value for member in members if member in item})
        speaker_record.write_descriptor(folder, descriptor)
    return variant


def full_of_spaces(path):
    with path.open("ab") as file:
        for _ in range(17):
            file.write(b" " * 2**20)


def variants():
    """Yields name, change and commands of each variant."""
    every = tuple(STATUSES)
    yield "untouched", lambda folder, record: None, every
    for name in FILES:
        for what, change in FILE_VARIANTS.items():
            yield f"{name} is {what}", with_file(name, change), every
    for kind, name in ((VIDEO, "video"), (AUDIO, "audio")):
        for text, size in SIZES.items():
            yield f"{name} frame of {text} bytes", with_frame(kind, size=size), every
        for text, position in NUMBERS.items():
            yield f"{name} frame at {text}", with_frame(kind, position), every
        yield (f"{name} frame that ends at 2^64", with_frame(kind, 2**64 - 2**31, 2**31), every)
        for text, size in (("2^26", LARGEST_FRAME), ("2^26+1", LARGEST_FRAME + 1)):
            yield (f"{name} frame of {text} bytes, all there", with_frame_inside(kind, name, size),
                   every)
        # Transcode would have to read the frame whole.
        yield (f"{name} frame of 2^31 bytes, all there", with_frame_inside(kind, name, 2**31),
               tuple(command for command in every if command not in TRANSCODE))
        # Encoding all of them takes long.
        yield (f"{TIMES_AGAIN} records of one {name} frame", with_one_frame_again(kind, name),
               tuple(command for command in every if command != "encode"))
    for text, apart_us in (("a second", 10**6), ("30 years", YEARS_30_US),
                           ("146,000 years", 2**62)):
        yield f"two pictures {text} apart", with_two_pictures(apart_us), every
    for members in (("record_session_count",),
                    ("contain_video", "contain_desktop", "audio_channel_count"),
                    ("sessoin_start_timestamp_us", "sessoin_end_timestamp_us"),
                    ("sessoin_end_timestamp_us",),
                    ("session_video_frame_count", "session_audio_frame_count",
                     "session_video_switch_count")):
        for text, value in NUMBERS.items():
            yield f"{' and '.join(members)} {text}", with_numbers(members, value), every
    yield "descriptor of 17 MiB", with_file("descriptor", full_of_spaces), every
    yield ("descriptor of 1 TiB",
           with_file("descriptor", lambda path: os.truncate(path, 2**40)), every)


# --- Running and judging -------------------------------------------------------------------------

class Result:
    def __init__(self, status, usage, seconds, timed_out, out_bytes, message, output):
        self.status, self.resident_kb, self.seconds = status, usage.ru_maxrss, seconds
        self.processor_s = usage.ru_utime + usage.ru_stime
        self.timed_out, self.out_bytes, self.message = timed_out, out_bytes, message
        self.output = output


def arguments(command, record, outputs):
    if command in OUTPUTS:
        name = "transcode" if command in TRANSCODE else command
        return [name, record, outputs / OUTPUTS[command][0], *TRANSCODE.get(command, ())]
    return [command, record]


def run_limited(command_line, meanwhile=None, keep_output=False):
    """Runs to the end, and `meanwhile` beside it.

    Popen.wait() would not tell the memory used. What this program itself holds counts as used by
    the process that it forks, so it keeps no large record in memory.
    """
    limit = (ADDRESS_SPACE, ADDRESS_SPACE)
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        begin = time.monotonic()
        process = subprocess.Popen([str(word) for word in command_line], stdin=subprocess.DEVNULL,
                                   stdout=out, stderr=err,
                                   preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, limit))
        over_time = threading.Event()

        def end_it():
            over_time.set()
            os.kill(process.pid, 9)

        timer = threading.Timer(TIME_LIMIT_S, end_it)
        timer.start()
        beside = threading.Thread(target=meanwhile) if meanwhile else None
        if beside:
            beside.start()
        _, wait_status, usage = os.wait4(process.pid, 0)
        timer.cancel()
        seconds = time.monotonic() - begin
        process.returncode = os.waitstatus_to_exitcode(wait_status)
        if beside:
            beside.join()
        err.seek(0)
        out_bytes = out.seek(0, os.SEEK_END)
        out.seek(0)
        json_outputs.keep(command_line, out.read(json_outputs.MOST_BYTES))
        out.seek(0)
        return Result(process.returncode, usage, seconds, over_time.is_set(), out_bytes,
                      " / ".join(err.read(2000).decode(errors="replace").splitlines()),
                      out.read() if keep_output else None)


def state_of(folder):
    """What every entry of the record is, and what regular files hold."""
    state = {}
    for path in sorted(folder.iterdir()):
        entry = path.lstat()
        state[path.name] = [entry.st_mode, entry.st_ino]
        if path.is_symlink():
            state[path.name].append(os.readlink(path))
        if not os.path.isfile(path):
            continue
        file = path.stat()
        state[path.name] += [file.st_size, file.st_blocks, file.st_mtime_ns]
        if file.st_size <= COMPARED_WHOLE:
            state[path.name].append(path.read_bytes())
    return state


def judge_process(command, result):
    if result.timed_out:
        yield f"no end within {TIME_LIMIT_S} s"
        return
    if result.status < 0:
        yield f"ended by signal {-result.status}: {result.message}"
    elif result.status not in STATUSES[command]:
        yield f"status {result.status}: {result.message}"
    limit_kb = ENCODER_KB if command == "encode" else RESIDENT_KB
    if result.resident_kb > limit_kb:
        yield f"{result.resident_kb} KiB resident, {limit_kb} at most"
    if result.processor_s > PROCESSOR_LIMIT_S:
        yield f"{result.processor_s:.1f} s of a processor, {PROCESSOR_LIMIT_S} s at most"
    told = result.message or (result.status in TOLD_ON_STANDARD_OUTPUT.get(command, set())
                              and result.out_bytes > 0)
    if result.status > 0 and not told:
        yield f"status {result.status} without a message"


def judge_outputs(kxrtc, command, result, outputs):
    name, good = OUTPUTS.get(command, (None, set()))
    expected = [name] if result.status in good else []
    found = sorted(path.name for path in outputs.iterdir())
    if found != expected:
        yield f"status {result.status} left {found}, not {expected}"
    elif found and (outputs / name).stat().st_size > OUTPUT_LIMIT:
        yield f"{name} has {(outputs / name).stat().st_size} bytes, {OUTPUT_LIMIT} at most"
    elif command == "repair" and found:
        parts = sorted(path.name for path in (outputs / name).iterdir())
        if parts != sorted(FILES.values()):
            yield f"the repaired record consists of {parts}"
        verified = run_limited([kxrtc, "verify", "--json", outputs / name], keep_output=True)
        try:
            findings = json.loads(verified.output)["findings"]
        except (ValueError, KeyError):
            yield f"verify of the repaired record: status {verified.status}, no document"
            return
        errors = {found["code"] for found in findings if found["severity"] == "error"}
        # What the MP4 writer does not take is no fault of the record.
        if verified.status not in (0, 12, 13) or errors - {"replay.refused"}:
            yield f"verify of the repaired record: status {verified.status}: {errors}"


class Tally:
    def __init__(self):
        self.passed = self.failed = self.largest_kb = 0
        self.longest_s = 0.0

    def add(self, title, result, breaches):
        self.passed += not breaches
        self.failed += bool(breaches)
        self.largest_kb = max(self.largest_kb, result.resident_kb)
        self.longest_s = max(self.longest_s, result.seconds)
        for breach in breaches:
            print(f"{title}: {breach}", flush=True)


def check_variant(kxrtc, record, name, change, commands, tally):
    with tempfile.TemporaryDirectory() as parent:
        folder = Path(parent) / "record"
        record.write(folder)
        change(folder, record)
        before = state_of(folder)
        as_usual = name == "untouched" or name.endswith(" is a link to the file")
        for command in commands:
            outputs = Path(parent) / "outputs"
            outputs.mkdir()
            result = run_limited([kxrtc, *arguments(command, folder, outputs)])
            breaches = list(judge_process(command, result))
            breaches += judge_outputs(kxrtc, command, result, outputs)
            if as_usual and result.status != 0:
                breaches.append(f"a good record gave status {result.status}: {result.message}")
            after = state_of(folder)
            breaches += [f"{file} of the record changed"
                         for file in sorted(before.keys() | after.keys())
                         if before.get(file) != after.get(file)]
            before = after
            tally.add(f"{name}: {command}", result, breaches)
            shutil.rmtree(outputs)


def change_one(path, generator, seconds):
    """Returns what is done to the file while it is read, and a function that does it."""
    delay = generator.uniform(0, seconds)
    size = generator.choice((None, 0, generator.randrange(path.stat().st_size)))

    def act():
        time.sleep(delay)
        if size is None:
            path.unlink()
        else:
            os.truncate(path, size)

    what = "removed" if size is None else f"cut to {size} bytes"
    return f"{path.name} {what} after {delay * 1000:.1f} ms", act


def check_changes(kxrtc, record, generator, tally):
    """Cuts and removes files while each command reads them."""
    with tempfile.TemporaryDirectory() as parent:
        whole, folder = Path(parent) / "whole", Path(parent) / "record"
        outputs = Path(parent) / "outputs"
        record.write(whole)
        for command in (name for name in STATUSES if name != "encode"):  # That takes minutes.
            seconds = None
            names = ["descriptor"] if command == "estimate" else list(FILES)
            for number in range(RUNS_UNDER_CHANGE + 1):
                shutil.copytree(whole, folder)
                outputs.mkdir()
                what, act = "long record", None
                if seconds is not None:
                    path = folder / FILES[names[number % len(names)]]
                    what, act = change_one(path, generator, seconds)
                result = run_limited([kxrtc, *arguments(command, folder, outputs)], act)
                breaches = list(judge_process(command, result))
                breaches += judge_outputs(kxrtc, command, result, outputs)
                if act is None and result.status != 0:
                    breaches.append(f"a good record gave status {result.status}: {result.message}")
                tally.add(f"{what}: {command}", result, breaches)
                seconds = seconds or result.seconds
                shutil.rmtree(folder)
                shutil.rmtree(outputs)


def main():
    kxrtc = sys.argv[1]
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    with tempfile.TemporaryDirectory() as media_folder:
        streams = make_media(media_folder)
        video = speaker_record.access_units(streams[0].read_bytes())
        audio = speaker_record.adts_frames(streams[1].read_bytes())
    tally = Tally()
    small = Record(video, audio)
    for name, change, commands in variants():
        check_variant(kxrtc, small, name, change, commands, tally)
    check_changes(kxrtc, Record(video, audio, LONG_RECORD_SESSIONS), random.Random(seed), tally)
    print(f"at most {tally.largest_kb} KiB resident, {tally.longest_s:.1f} s, seed {seed}")
    print(f"{tally.passed} passed, {tally.failed} failed")
    return 1 if tally.failed else 0


if __name__ == "__main__":
    sys.exit(main())
