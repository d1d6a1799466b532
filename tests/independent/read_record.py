#!/usr/bin/env python3
"""Reads a speaker record from docs/speaker_record_format.md alone and prints what it holds as JSON.

usage: read_record.py FOLDER_PATH [--frames]

FOLDER_PATH is taken as it is: the files' names follow it directly. With --frames each frame is
listed too, as [kind, recorder time in microseconds, position, size]. "problems" names each breach of
the format with its place in the index; the exit status is 1 if there is any. Reading ends at the
first breach that leaves the place of the next record unknown.
"""

import argparse
import json
import re
import struct
import sys
from pathlib import Path

START, STOP, CHANNEL, ATTRIBUTES, VIDEO, AUDIO = (
    0xEEDDCC01, 0xEEDDCC02, 0xEEDDCC03, 0xEEDDCC04, 0xEEDDCC06, 0xEEDDCC07)
HEADER = struct.Struct(">Iq")
PAYLOADS = {
    START: struct.Struct(">"),
    STOP: struct.Struct(">"),
    CHANNEL: struct.Struct(">I"),
    ATTRIBUTES: struct.Struct(">iII"),
    VIDEO: struct.Struct(">QI"),
    AUDIO: struct.Struct(">QI"),
}
COUNTED = {CHANNEL: "channel_changes", ATTRIBUTES: "attribute_changes", VIDEO: "video_frames",
           AUDIO: "audio_frames"}
STEM = "SpeakeRecord"  # sic
UINT32, UINT64 = (0, 2**32 - 1), (0, 2**64 - 1)
INT64 = (-2**63, 2**63 - 1)
OVERALL_MEMBERS = {"record_session_count": UINT32, "contain_video": UINT32,
                   "contain_desktop": UINT32, "audio_channel_count": UINT32}
SESSION_MEMBERS = {"sessoin_start_timestamp_us": INT64, "sessoin_end_timestamp_us": INT64,  # sic
                   "session_video_frame_count": UINT64, "session_audio_frame_count": UINT64,
                   "session_video_switch_count": UINT32}


def is_key_frame(access_unit):
    """True when a NAL unit of type 5, a slice of an IDR picture, begins in the access unit."""
    position = access_unit.find(b"\0\0\1")
    while 0 <= position < len(access_unit) - 3:
        if access_unit[position + 3] & 0x1F == 5:
            return True
        position = access_unit.find(b"\0\0\1", position + 3)
    return False


class IndexWalk:
    """Goes through the records of an index in order and keeps account of what they say."""

    def __init__(self, index, video, audio):
        self.index, self.data = index, {VIDEO: video, AUDIO: audio}
        self.sessions, self.problems, self.frames = [], [], []
        self.open_session = None
        self.channel = 0
        self.wants_key_frame = False
        self.last_time = None
        self.backward_steps = 0
        self.expected_position = {VIDEO: 0, AUDIO: 0}

    def problem(self, at, text):
        self.problems.append(f"index byte {at}: {text}")

    def run(self):
        at = 0
        while at < len(self.index):
            if at + HEADER.size > len(self.index):
                self.problem(at, "a header breaks off")
                return
            kind, time = HEADER.unpack_from(self.index, at)
            if kind not in PAYLOADS:
                self.problem(at, f"unknown type 0x{kind:08X}")
                return
            end = at + HEADER.size + PAYLOADS[kind].size
            if end > len(self.index):
                self.problem(at, "a payload breaks off")
                return
            fields = PAYLOADS[kind].unpack_from(self.index, at + HEADER.size)
            if not self.record(at, kind, time, fields):
                return
            at = end
        if self.open_session is not None:
            self.problem(at, "no stop at the end")
        elif not self.sessions:
            self.problem(at, "no session")

    def record(self, at, kind, time, fields):
        """Takes one record in. False when what follows cannot be understood."""
        if (kind == START) == (self.open_session is not None):
            self.problem(at, "a start inside of a session" if kind == START
                         else "no start before this record")
            return False
        self.backward_steps += self.last_time is not None and time < self.last_time
        self.last_time = time
        if kind == START:
            self.open_session = {"start_us": time, **dict.fromkeys(COUNTED.values(), 0)}
            self.sessions.append(self.open_session)
        elif kind == STOP:
            self.open_session["stop_us"] = time
            self.open_session = None
        else:
            self.open_session[COUNTED[kind]] += 1
            self.event(at, kind, time, fields)
        return True

    def event(self, at, kind, time, fields):
        if kind == CHANNEL:
            self.channel = fields[0]
            self.wants_key_frame = self.channel != 0
            return
        if kind != AUDIO and self.channel == 0:
            self.problem(at, "video on a channel without video")
        if kind == ATTRIBUTES:
            return
        position, size = fields
        name = "video" if kind == VIDEO else "audio"
        self.frames.append([name, time, position, size])
        if position != self.expected_position[kind]:
            self.problem(at, f"{name} frame at {position}, not at {self.expected_position[kind]}")
        self.expected_position[kind] = position + size
        if position + size > len(self.data[kind]):
            self.problem(at, f"{name} frame ends at {position + size}, "
                             f"its file at {len(self.data[kind])}")
        elif kind == VIDEO and self.wants_key_frame:
            if not is_key_frame(self.data[kind][position:position + size]):
                self.problem(at, "no key frame after a change of channel")
            self.wants_key_frame = False


def read_number(value, limits):
    """The number that a member's value stands for, or None. Only uint32 members may be written other
    than as an integer."""
    if limits is UINT32:
        if value is None or isinstance(value, bool):
            value = int(value or 0)
        elif isinstance(value, float) and limits[0] <= value <= limits[1]:
            value = int(value)
        elif isinstance(value, str) and re.fullmatch(r"[ \t\n\v\f\r]*[+-]?[0-9]+", value):
            value = int(value)
    return value if type(value) is int and limits[0] <= value <= limits[1] else None


def check_descriptor(text, sessions):
    """Yields where the descriptor breaks the format or disagrees with the sessions of the index."""
    try:
        root, _ = json.JSONDecoder().raw_decode(text.split(b"\0")[0].decode().lstrip(" \t\r\n"))
    except ValueError as error:
        yield f"descriptor: {error}"
        return
    if not isinstance(root, dict):
        yield "descriptor: no object"
        return
    overall, listed = root.get("speaker_record_overall"), root.get("speaker_record_session", False)
    listed = [] if listed is None else listed
    if not isinstance(overall, dict) or not isinstance(listed, list):
        yield "descriptor: lacks its two members"
        return
    for place, item, members in ([("overall", overall, OVERALL_MEMBERS)] +
                                 [(f"session {i}", s, SESSION_MEMBERS)
                                  for i, s in enumerate(listed)]):
        for member, limits in members.items():
            has_member = isinstance(item, dict) and member in item
            found = read_number(item[member], limits) if has_member else None
            if found is None:
                yield f"descriptor: {place}: no valid {member}"
                return
            item[member] = found
    if not overall["record_session_count"] == len(listed) == len(sessions):
        yield (f"descriptor: counts {overall['record_session_count']} sessions and lists "
               f"{len(listed)}, the index has {len(sessions)}")
        return
    if overall["contain_video"] != int(any(s["video_frames"] for s in sessions)):
        yield "descriptor: contain_video disagrees with the index"
    for number, (session, item) in enumerate(zip(sessions, listed)):
        for member, name in (("session_video_frame_count", "video_frames"),
                             ("session_audio_frame_count", "audio_frames")):
            if item[member] != session[name]:
                yield (f"descriptor: session {number}: {member} is {item[member]}, the index has "
                       f"{session[name]}")


def read_record(folder_path, with_frames=False):
    content = {extension: Path(folder_path + STEM + extension).read_bytes()
               for extension in (".index", ".264", ".aac", ".desc")}
    walk = IndexWalk(content[".index"], content[".264"], content[".aac"])
    walk.run()
    problems = walk.problems + list(check_descriptor(content[".desc"], walk.sessions))
    for kind, extension in ((VIDEO, ".264"), (AUDIO, ".aac")):
        unused = len(content[extension]) - walk.expected_position[kind]
        if unused > 0:
            problems.append(f"{extension}: {unused} bytes at its end belong to no frame")
    result = {"index_bytes": len(content[".index"]), "video_bytes": len(content[".264"]),
              "audio_bytes": len(content[".aac"]), "sessions": walk.sessions}
    for name in COUNTED.values():
        result[name] = sum(session[name] for session in walk.sessions)
    result["backward_steps_of_time"] = walk.backward_steps
    if with_frames:
        result["frames"] = walk.frames
    result["problems"] = problems
    return result


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("folder_path")
    parser.add_argument("--frames", action="store_true", help="list each frame")
    options = parser.parse_args()
    try:
        result = read_record(options.folder_path, options.frames)
    except OSError as error:
        print(error, file=sys.stderr)
        return 2
    print(json.dumps(result, indent=2))
    return 1 if result["problems"] else 0


if __name__ == "__main__":
    sys.exit(main())
