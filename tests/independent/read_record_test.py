#!/usr/bin/env python3
"""Feeds the reader the worked example of the format's page and records with one fault each."""

import json
import re
import sys
import tempfile
import unittest
from pathlib import Path

import read_record

PAGE = Path(__file__).parents[2] / "docs" / "speaker_record_format.md"
KEY_FRAME = b"\0\0\0\1\x67\x42\0\0\1\x65" + bytes(4990)
AUDIO_FRAME = bytes(341)


def page_index():
    """The index of the worked example, as the page prints it."""
    rows = re.findall(r"^\| (\d+) \| `((?:EE DD CC)[0-9A-F ]+)` \|", PAGE.read_text(), re.MULTILINE)
    index = b""
    for at, digits in rows:
        assert int(at) == len(index), at
        index += bytes.fromhex(digits)
    return index


def page_descriptor():
    return re.search(r"^```json\n(.*?)^```", PAGE.read_text(), re.MULTILINE | re.DOTALL).group(1)


def read(index, video=KEY_FRAME, audio=AUDIO_FRAME, descriptor=None):
    with tempfile.TemporaryDirectory() as folder:
        for extension, content in ((".index", index), (".264", video), (".aac", audio),
                                   (".desc", (descriptor or page_descriptor()).encode())):
            Path(folder, "SpeakeRecord" + extension).write_bytes(content)
        return read_record.read_record(folder + "/", with_frames=True)


class ReadRecordTest(unittest.TestCase):
    def test_reads_the_worked_example(self):
        self.assertEqual(len(page_index()), 112)
        self.assertEqual(read(page_index()), {
            "index_bytes": 112, "video_bytes": 5000, "audio_bytes": 341,
            "sessions": [{"start_us": 1000000, "stop_us": 1021008, "channel_changes": 1,
                          "attribute_changes": 1, "video_frames": 1, "audio_frames": 1}],
            "channel_changes": 1, "attribute_changes": 1, "video_frames": 1, "audio_frames": 1,
            "backward_steps_of_time": 0,
            "frames": [["video", 1000001, 0, 5000], ["audio", 1020656, 0, 341]], "problems": []})

    def test_counts_the_steps_back_in_time(self):
        result = read(page_index()[:104] + bytes(8))
        self.assertEqual((result["backward_steps_of_time"], result["problems"]), (1, []))

    def test_every_truncation_of_the_index_is_a_problem(self):
        index = page_index()
        for size in range(len(index)):
            self.assertTrue(read(index[:size])["problems"], size)

    def test_names_each_fault(self):
        index = page_index()
        descriptor = json.loads(page_descriptor())
        descriptor["speaker_record_session"][0]["session_audio_frame_count"] = 7
        cases = {
            "reserved type": ({"index": index[:12] + b"\xEE\xDD\xCC\x05" + index[16:]},
                              "index byte 12: unknown type 0xEEDDCC05"),
            "no start": ({"index": index[12:]}, "index byte 0: no start before this record"),
            "second start": ({"index": index[:12] + index},
                             "index byte 12: a start inside of a session"),
            "no video channel": ({"index": index[:24] + bytes(4) + index[28:]},
                                 "index byte 28: video on a channel without video"),
            "short video file": ({"video": KEY_FRAME[:-1]},
                                 "index byte 52: video frame ends at 5000, its file at 4999"),
            "spare audio": ({"audio": AUDIO_FRAME + b"x"},
                            ".aac: 1 bytes at its end belong to no frame"),
            "no key frame": ({"video": bytes(5000)},
                             "index byte 52: no key frame after a change of channel"),
            "wrong position": ({"index": index[:95] + b"\x01" + index[96:]},
                               "index byte 76: audio frame at 1, not at 0"),
            "wrong count": ({"descriptor": json.dumps(descriptor)},
                            "descriptor: session 0: session_audio_frame_count is 7, "
                            "the index has 1"),
            "float": ({"descriptor": page_descriptor().replace("1000000", "1000000.0")},
                      "descriptor: session 0: no valid sessoin_start_timestamp_us"),
            "no JSON": ({"descriptor": "{"}, "descriptor: Expecting property name enclosed in "
                                             "double quotes: line 1 column 2 (char 1)"),
        }
        for name, (change, expected) in cases.items():
            with self.subTest(name):
                self.assertIn(expected, read(**{"index": index, **change})["problems"])

    def test_takes_for_each_number_what_its_type_allows(self):
        start = '"sessoin_start_timestamp_us" : 1000000'
        switches = '"session_video_switch_count" : 1'
        values = {"1": (True, True), "1.0": (False, True), "1.5": (False, True),
                  "true": (False, True), "null": (False, True), '"1"': (False, True),
                  '"1.0"': (False, False), '""': (False, False), "[]": (False, False),
                  "-1": (True, False), "-0.5": (False, False), "4294967296": (True, False),
                  "9223372036854775808": (False, False), "NaN": (False, False)}
        for value, taken in values.items():
            for whole, is_taken in zip((start, switches), taken):
                with self.subTest(f"{whole}: {value}"):
                    member = whole.split(" : ")[0]
                    text = page_descriptor().replace(whole, f"{member} : {value}")
                    expected = [] if is_taken else [
                        "descriptor: session 0: no valid " + member.strip('"')]
                    self.assertEqual(read(page_index(), descriptor=text)["problems"], expected)

    def test_reads_the_text_up_to_the_first_zero_byte(self):
        self.assertEqual(
            read(page_index(), descriptor=page_descriptor() + "\0\0")["problems"], [])
        self.assertNotEqual(
            read(page_index(), descriptor="\ufeff" + page_descriptor())["problems"], [])

    def test_the_list_of_sessions_may_not_be_absent(self):
        text = page_descriptor().replace("speaker_record_session", "other")
        self.assertEqual(read(page_index(), descriptor=text)["problems"],
                         ["descriptor: lacks its two members"])


if __name__ == "__main__":
    sys.exit(unittest.main())
