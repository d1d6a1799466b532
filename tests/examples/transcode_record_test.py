#!/usr/bin/env python3
"""Runs the example on a record of real media and lets FFmpeg's programs judge the MP4.

usage: transcode_record_test.py TRANSCODE_RECORD
"""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "reliability"))
from hostile_records import Record  # noqa: E402  Needs the path above.
from media import decode_messages, make_media, must_run, speaker_record  # noqa: E402  Likewise.

EXAMPLE = sys.argv.pop(1)


def run(*arguments):
    return subprocess.run([EXAMPLE, *map(str, arguments)], capture_output=True, text=True,
                          timeout=120, check=False)


def streams_of(mp4):
    told = json.loads(must_run("ffprobe", "-v", "error", "-show_streams", "-of", "json", mp4))
    return {stream["codec_type"]: stream for stream in told["streams"]}


class TranscodeRecordTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.record, self.mp4 = self.folder / "record", self.folder / "out.mp4"

    def write_record(self):
        video, audio = make_media(self.folder)
        self.audio = speaker_record.adts_frames(audio.read_bytes())
        Record(speaker_record.access_units(video.read_bytes()), self.audio).write(self.record)

    def test_makes_an_mp4_that_decodes_without_a_message(self):
        self.write_record()
        done = run(self.record, self.mp4)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertRegex(done.stdout.splitlines()[-1], r": 2\.\d{3} s$")
        streams = streams_of(self.mp4)
        self.assertEqual({kind: stream["codec_name"] for kind, stream in streams.items()},
                         {"video": "h264", "audio": "aac"})
        self.assertEqual(int(streams["audio"]["nb_frames"]), len(self.audio))
        self.assertEqual(decode_messages(self.mp4), "")

    def test_leaves_a_file_that_is_there_alone(self):
        self.write_record()
        self.mp4.write_text("mine")
        done = run(self.record, self.mp4)
        self.assertEqual(done.returncode, 1)
        self.assertIn("error 3 ", done.stderr)
        self.assertEqual(self.mp4.read_text(), "mine")

    def test_says_that_there_is_no_record(self):
        done = run(self.record, self.mp4)
        self.assertEqual(done.returncode, 1)
        self.assertIn("error 1 ", done.stderr)
        self.assertFalse(self.mp4.exists())

    def test_tells_how_it_is_used(self):
        done = run(self.record)
        self.assertEqual((done.returncode, done.stderr),
                         (2, f"usage: {EXAMPLE} RECORD_DIR OUT.mp4\n"))


if __name__ == "__main__":
    unittest.main()
