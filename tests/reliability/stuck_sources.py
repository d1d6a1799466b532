#!/usr/bin/env python3
"""Sources that never answer: kxrtc record ends in time, and its record is whole.

usage: stuck_sources.py KXRTC STUCK_SYSTEM.so

A source that does not come back within 15 s is given up. Each signal is obeyed within two seconds,
while sources are opened and while the conference runs.
"""

import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from media import json_outputs, must_run, read_record, speaker_record
from process_signals import wait_until_blocked

KXRTC, STUCK_SYSTEM = sys.argv[1:3]
OK, SOURCE_UNREADABLE, TERMINATED = 0, 10, 143
OBEYED_WITHIN_S = 2


class StuckSourcesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        folder = Path(folder.name)
        cls.media = folder / "media.ts"
        must_run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=s=64x48:r=25", "-f", "lavfi",
                 "-i", "sine", "-t", "3", "-c:v", "libx264", "-bf", "0", "-g", "25", "-c:a", "aac",
                 cls.media)
        shutil.copy(cls.media, folder / "media.ts.stuck")
        os.mkfifo(folder / "fifo")
        cls.unanswered = {"pipe": {"camera": {"source": str(folder / "fifo"), "live": True}},
                          "disk": {"camera": str(folder / "media.ts.stuck")},
                          "name": {"camera": "http://stuck.invalid/media.ts"}}
        # They take a while, beside the other tests.
        cls.given_up = {name: cls.pool().submit(cls.record, folder, name, participant)
                        for name, participant in cls.unanswered.items()}

    @classmethod
    def pool(cls):
        pool = ThreadPoolExecutor(1)
        cls.addClassCleanup(pool.shutdown)
        return pool

    @classmethod
    def record(cls, folder, name, *participants):
        """Status, messages, seconds and folder of a recording while the system is stuck."""
        begin = time.monotonic()
        with cls.start_in(folder, name, Path(__file__), *participants) as process:
            _, errors = process.communicate()
            return process.returncode, errors, time.monotonic() - begin, folder / name

    @staticmethod
    def start_in(folder, name, flag, *participants, stdout=subprocess.PIPE, **members):
        """kxrtc record into the folder `name`; the system is stuck while the file `flag` exists."""
        scenario = folder / f"{name}.json"
        scenario.write_text(json.dumps({
            "participants": [{"user_id": number, **participant}
                             for number, participant in enumerate(participants, 1)], **members}))
        return subprocess.Popen(
            [KXRTC, "record", scenario, folder / name, "--json"], stdin=subprocess.DEVNULL,
            stdout=stdout, stderr=subprocess.PIPE, text=True,
            env=dict(os.environ, LD_PRELOAD=STUCK_SYSTEM, KX_STUCK_WHILE=str(flag)))

    def setUp(self):
        work = tempfile.TemporaryDirectory()
        self.addCleanup(work.cleanup)
        self.work = Path(work.name)
        self.flag = self.work / "stuck"
        self.stuck = self.work / "media.ts.stuck"
        shutil.copy(self.media, self.stuck)

    def start(self, name, *participants, **members):
        process = self.start_in(self.work, name, self.flag, *participants, **members)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        wait_until_blocked(process, signal.SIGTERM)
        return process

    def wait_for_progress(self, process, seconds):
        for line in process.stdout:
            event = json.loads(line)
            if event["event"] == "progress" and event["time"] >= seconds:
                return
        self.fail(f"ended early: {process.stderr.read()}")

    def end(self, process, number):
        begin = time.monotonic()
        process.send_signal(number)
        output, errors = process.communicate(timeout=60)
        json_outputs.keep(process.args, output)
        self.assertLess(time.monotonic() - begin, OBEYED_WITHIN_S)
        return process.returncode, output, errors

    def check_whole(self, name):
        record = read_record(f"{self.work / name}/", with_frames=True)
        self.assertEqual(record["problems"], [])
        index = (self.work / name / speaker_record.FILES["index"]).read_bytes()
        self.assertEqual(list(speaker_record.decode(index))[-1][0], speaker_record.STOP)
        self.assertGreater(record["video_frames"], 10)

    def test_a_signal_ends_the_wait_for_sources(self):
        self.flag.touch()
        for name, participant in self.unanswered.items():
            process = self.start(name, participant)
            status, _, errors = self.end(process, signal.SIGTERM)
            self.assertEqual((status, errors), (TERMINATED, ""), name)
            self.assertFalse((self.work / name).exists())

    def test_a_signal_completes_the_record_beside_stuck_media(self):
        process = self.start("record", {"camera": {"source": str(self.stuck), "loop": True}},
                             {"camera": {"source": str(self.media), "loop": True}})
        self.wait_for_progress(process, 1)
        self.flag.touch()
        self.wait_for_progress(process, 5)  # The file was read to its end and opened again.
        status, output, errors = self.end(process, signal.SIGINT)
        self.assertEqual((status, errors), (OK, ""))
        self.assertTrue(json.loads(output.splitlines()[-1])["complete"])
        self.check_whole("record")

    def test_the_conference_goes_on_without_stuck_media(self):
        process = self.start(
            "record",
            {"camera": {"source": str(self.stuck), "loop": True},
             "events": [{"at": 0, "do": "join"}, {"at": 4.5, "do": "leave"},
                        {"at": 5, "do": "join"}, {"at": 5.5, "do": "leave"}]},
            {"camera": {"source": str(self.media), "loop": True}}, duration=6.5)
        self.wait_for_progress(process, 1)
        self.flag.touch()
        output, errors = process.communicate(timeout=60)
        json_outputs.keep(process.args, output)
        events = [json.loads(line) for line in output.splitlines()]
        self.assertEqual((process.returncode, errors), (OK, ""))
        self.assertEqual([event["text"] for event in events if event["event"] == "warning"],
                         [f"{self.stuck}: does not respond, it is not played again"])
        self.assertLess(events[-1]["time"], 7)
        self.check_whole("record")

    def test_a_reader_that_reads_nothing_does_not_hold_the_record(self):
        reader, writer = os.pipe()
        os.set_blocking(writer, False)
        with self.assertRaises(BlockingIOError):
            while True:
                os.write(writer, bytes(4096))
        os.set_blocking(writer, True)
        process = self.start("record", {"camera": {"source": str(self.media), "loop": True}},
                             stdout=writer)
        os.close(writer)
        index = self.work / "record" / speaker_record.FILES["index"]
        while not index.exists() or index.stat().st_size < 3000:
            self.assertIsNone(process.poll())
            time.sleep(0.05)
        begin = time.monotonic()
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(timeout=30), OK)
        self.assertLess(time.monotonic() - begin, OBEYED_WITHIN_S)
        self.check_whole("record")
        os.close(reader)

    def test_unanswered_sources_are_given_up_in_time(self):
        for name, result in self.given_up.items():
            status, errors, seconds, folder = result.result()
            self.assertEqual(status, SOURCE_UNREADABLE, name)
            self.assertIn("cannot be opened: no data within the time allowed", errors)
            self.assertFalse(folder.exists())
            self.assertGreater(seconds, 14)
            self.assertLess(seconds, 25)  # On a machine that does other work.


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
