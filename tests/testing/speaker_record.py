"""Speaker records for programs that make them or look into them: file names, index records, frames
and descriptors (docs/speaker_record_format.md).

tests/independent/read_record.py shares nothing with this module, on purpose.
"""

import json
import struct
from pathlib import Path

STEM = "SpeakeRecord"  # sic
FILES = {"index": STEM + ".index", "video": STEM + ".264", "audio": STEM + ".aac",
         "descriptor": STEM + ".desc"}
TIMELINE = "SpeakerTimeline.ndjson"
RECORDED = sorted([*FILES.values(), TIMELINE])  # What kxrtc record leaves in a folder.

START, STOP, CHANNEL, ATTRIBUTES, VIDEO, AUDIO = (
    0xEEDDCC01, 0xEEDDCC02, 0xEEDDCC03, 0xEEDDCC04, 0xEEDDCC06, 0xEEDDCC07)
CAMERA, DESKTOP = 2, 3

_HEADER = struct.Struct(">Iq")
_PAYLOADS = {kind: struct.Struct(">" + fields) for kind, fields in (
    (START, ""), (STOP, ""), (CHANNEL, "I"), (ATTRIBUTES, "iII"), (VIDEO, "QI"), (AUDIO, "QI"))}

_ACCESS_UNIT_DELIMITER = b"\0\0\0\1\x09"
ADTS_HEADER_SIZE = 7


def encode(kind, time_us, *fields):
    """The bytes of one index record."""
    return _HEADER.pack(kind, time_us) + _PAYLOADS[kind].pack(*fields)


def decode(index):
    """Yields (type, recorder time, fields) of each record of a sound index."""
    at = 0
    while at < len(index):
        kind, time_us = _HEADER.unpack_from(index, at)
        payload = _PAYLOADS[kind]
        yield kind, time_us, payload.unpack_from(index, at + _HEADER.size)
        at += _HEADER.size + payload.size


def access_units(stream):
    """Splits at the access unit delimiters, with which every access unit has to begin."""
    return [_ACCESS_UNIT_DELIMITER + piece for piece in stream.split(_ACCESS_UNIT_DELIMITER)[1:]]


def adts_frame_size(header):
    """The length in the first bytes of an ADTS frame: 13 bits from bit 30 on."""
    return (header[3] & 3) << 11 | header[4] << 3 | header[5] >> 5


def adts_frames(stream):
    at, frames = 0, []
    while at + ADTS_HEADER_SIZE <= len(stream):
        size = adts_frame_size(stream[at:])
        frames.append(stream[at:at + size])
        at += size
    return frames


def session(start_us, end_us, video_frames, audio_frames, switches=1):
    """A session as the descriptor has it."""
    return {"sessoin_start_timestamp_us": start_us, "sessoin_end_timestamp_us": end_us,  # sic
            "session_video_frame_count": video_frames, "session_audio_frame_count": audio_frames,
            "session_video_switch_count": switches}


def descriptor(sessions, desktop=False):
    """A descriptor of sessions with video and sound in stereo."""
    return {"speaker_record_overall": {"record_session_count": len(sessions), "contain_video": 1,
                                       "contain_desktop": int(desktop), "audio_channel_count": 2},
            "speaker_record_session": sessions}


def write_descriptor(folder, document):
    Path(folder, FILES["descriptor"]).write_text(json.dumps(document))
