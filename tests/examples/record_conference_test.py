#!/usr/bin/env python3
"""Runs the example and reads its record by the page of the format.

usage: record_conference_test.py RECORD_CONFERENCE
"""

import fcntl
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "independent"))
from read_record import read_record  # noqa: E402

EXAMPLE = sys.argv.pop(1)


def run(*arguments):
    return subprocess.run([EXAMPLE, *arguments], capture_output=True, text=True, timeout=60,
                          check=False)


class RecordConferenceTest(unittest.TestCase):
    def test_records_both_speakers_and_counts_what_it_wrote(self):
        with tempfile.TemporaryDirectory() as folder:
            done = run(folder, "4")
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            record = read_record(folder + os.sep)
            self.assertEqual(record["problems"], [])
            self.assertEqual(len(record["sessions"]), 1)
            self.assertGreaterEqual(record["channel_changes"], 2)
            self.assertGreater(record["video_frames"], 75)
            self.assertGreater(record["audio_frames"], 100)
            lines = done.stdout.splitlines()
            self.assertEqual(lines[-1], f"{record['video_frames']} video and "
                                        f"{record['audio_frames']} audio frames")
            selected = [re.fullmatch(r"\d+\.\d{3} s: user (\d), reason \d", line)[1]
                        for line in lines[:-1]]
            self.assertEqual(len(selected), record["channel_changes"])
            self.assertEqual(set(selected), {"1", "2"})
            timeline = (Path(folder) / "SpeakerTimeline.ndjson").read_text()
            events = [json.loads(line) for line in timeline.splitlines()]
            self.assertEqual(events[0], {"speaker_timeline": 1, "title": "An example"})
            self.assertEqual([event["name"] for event in events if event.get("event") == "joined"],
                             ["Ada", "Ben"])
            self.assertEqual([str(event["user_id"]) for event in events
                              if event.get("event") == "selected"], selected)

    def test_says_that_the_folder_is_missing(self):
        done = run("/nonexistent")
        self.assertEqual(done.returncode, 1)
        self.assertIn("/nonexistent: the record cannot be created", done.stderr)

    def test_leaves_the_folder_of_another_recorder_alone(self):
        with tempfile.TemporaryDirectory() as folder:
            first = os.open(folder, os.O_RDONLY)
            fcntl.flock(first, fcntl.LOCK_EX)
            done = run(folder, "1")
            self.assertEqual((done.returncode, done.stderr),
                             (1, f"{folder}: another program records into this folder\n"))
            self.assertEqual(os.listdir(folder), [])
            os.close(first)

    def test_tells_how_it_is_used(self):
        for arguments in ([], ["folder", "0"], ["folder", "1", "2"]):
            done = run(*arguments)
            self.assertEqual((done.returncode, done.stderr),
                             (2, f"usage: {EXAMPLE} RECORD_DIR [SECONDS]\n"))


if __name__ == "__main__":
    unittest.main()
