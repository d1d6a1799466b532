#!/usr/bin/env python3
"""Kills a recording process at random instants under load and checks what can be had back.

usage: crash_sweep.py RECORDING_LOAD KXRTC [RUNS [SEED]]     (20 runs)

After each kill: the speaker timeline has every selection of the index but the last, in whole lines, and
the repaired record has these lines up to its end; `kxrtc verify` finds nothing wrong with either; at most the frame in flight of each stream is lost, `kxrtc repair` keeps every whole
frame, an independent reader finds nothing wrong with the repaired record, `kxrtc verify` replays it to
its end, and every tenth one is transcoded and decoded by ffmpeg without a message.
"""

import json
import random
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from media import decode_messages, make_media, read_record, run, speaker_record

DECODE_EVERY = 10
LONGEST_LIFE_S = 0.3
MOST_EMPTY = 0.3


def kill_at_random(load, folder, media, generator):
    process = subprocess.Popen([load, f"{folder}/", *media], stdout=subprocess.PIPE)
    process.stdout.readline()
    time.sleep(generator.uniform(0, LONGEST_LIFE_S))
    if process.poll() is not None:
        sys.exit(f"the recording ended by itself: status {process.returncode}")
    process.kill()
    process.wait()


def count_adts_frames(tail):
    """Frames that begin in `tail`, of which the last one may be cut anywhere."""
    count = position = 0
    while position < len(tail):
        count += 1
        header = tail[position:position + speaker_record.ADTS_HEADER_SIZE]
        if len(header) < speaker_record.ADTS_HEADER_SIZE:
            break
        position += max(len(header), speaker_record.adts_frame_size(header))
    return count


def frames_in_flight(folder, record):
    """For each stream the frames that begin behind the last whole one."""
    tails = {}
    for kind in ("video", "audio"):
        ends = [position + size for name, _, position, size in record["frames"] if name == kind]
        data = (folder / speaker_record.FILES[kind]).read_bytes()
        tails[kind] = data[max(ends, default=0):]
    # A cut delimiter begins a frame as well.
    video = max(tails["video"].count(b"\0\0\0\1\x09"), len(tails["video"]) > 0)
    return {"video": video, "audio": count_adts_frames(tails["audio"])}


def check_timeline(folder, repaired_folder):
    """Breaches of what the speaker timeline promises (docs/speaker_timeline_format.md)."""
    *lines, _ = (folder / speaker_record.TIMELINE).read_bytes().split(b"\n")
    entries = [json.loads(line) for line in lines]  # Every whole line is one.
    index = (repaired_folder / speaker_record.FILES["index"]).read_bytes()
    records = list(speaker_record.decode(index))
    selections = [time_us for kind, time_us, _ in records if kind == speaker_record.CHANNEL]
    told = [entry["us"] for entry in entries[1:] if entry["event"] == "selected"]
    breaches = []
    if told[:len(selections)] != selections[:len(told)] or len(told) < len(selections) - 1:
        breaches.append(f"timeline: selections at {told}, in the index at {selections}")
    *kept, rest = (repaired_folder / speaker_record.TIMELINE).read_bytes().split(b"\n")
    end_us = records[-1][1]
    wanted = lines[:1] + [line for line, entry in zip(lines[1:], entries[1:]) if entry["us"] <= end_us]
    if kept != wanted or rest:
        breaches.append(f"timeline: {len(kept)} lines repaired of {len(wanted)}")
    return breaches


def check_run(folder, kxrtc, decode):
    """Returns (frames kept, breaches)."""
    torn = read_record(f"{folder}/", with_frames=True)
    counts = frames_in_flight(folder, torn)
    in_flight = sum(counts.values())
    breaches = [f"{kind}: {count} frames in flight" for kind, count in counts.items() if count > 1]
    repaired_folder = Path(folder).with_name("repaired")
    result = run(kxrtc, "repair", folder, repaired_folder)
    if not torn["sessions"]:
        # Killed before the first record: there is nothing to have back, and it is said.
        return 0, breaches if result.returncode != 0 and result.stderr else breaches + [
            "an empty record was repaired in silence"]
    if not repaired_folder.exists():
        return 0, breaches + [f"repair: status {result.returncode}: {result.stderr}"]
    repaired = read_record(f"{repaired_folder}/", with_frames=True)
    breaches += repaired["problems"]
    breaches += check_timeline(folder, repaired_folder)
    # A frame in flight may be whole and found without its index record.
    added = len(repaired["frames"]) - len(torn["frames"])
    lost = [frame for frame in torn["frames"] if frame not in repaired["frames"]]
    if lost or added > in_flight:
        breaches.append(f"{len(torn['frames'])} whole frames became {len(repaired['frames'])}")
    for verified in (folder, repaired_folder):
        document = json.loads(run(kxrtc, "verify", "--quick", "--json", verified).stdout)
        breaches += [f"{Path(verified).name}: {finding}" for finding in document["findings"]
                     if finding["code"].startswith("timeline.")]
    replay = json.loads(run(kxrtc, "verify", "--json", repaired_folder).stdout)["replay"]
    if not replay["completes"]:
        breaches.append(f"replay: {replay}")
    if decode and repaired["frames"]:
        mp4 = Path(folder).with_name("out.mp4")
        transcoded = run(kxrtc, "transcode", repaired_folder, mp4, "--video", "copy", "--quiet")
        if transcoded.returncode != 0:
            breaches.append(f"transcode: status {transcoded.returncode}: {transcoded.stderr}")
        else:
            messages = decode_messages(mp4)
            breaches += [f"decode: {messages}"] if messages else []
    return len(repaired["frames"]), breaches


def main():
    load, kxrtc = sys.argv[1:3]
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else 1
    generator = random.Random(seed)
    kept = failures = empty = 0
    with tempfile.TemporaryDirectory() as media_folder:
        media = make_media(media_folder)
        for number in range(runs):
            with tempfile.TemporaryDirectory() as parent:
                folder = Path(parent) / "record"
                folder.mkdir()
                kill_at_random(load, folder, media, generator)
                frames, breaches = check_run(folder, kxrtc, number % DECODE_EVERY == 0)
            kept += frames
            empty += frames == 0
            failures += bool(breaches)
            for breach in breaches:
                print(f"run {number}: {breach}")
    print(f"{runs} kills, {kept} frames kept, {empty} records without a frame, seed {seed}")
    if empty > runs * MOST_EMPTY:
        failures += 1
        print(f"{empty} of {runs} records were empty: the kills came too early to show anything")
    print(f"{runs - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
