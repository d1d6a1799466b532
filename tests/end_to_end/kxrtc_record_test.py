#!/usr/bin/env python3
"""Records real media with kxrtc record and checks the result with programs that nobody here wrote.

usage: kxrtc_record_test.py KXRTC SOURCE_DIR [TEST...]
"""

import json
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

KXRTC, SOURCE = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
sys.path[:0] = [str(SOURCE / "tests" / "independent"), str(SOURCE / "tests" / "testing")]
import json_outputs  # noqa: E402  Needs the path above.
import read_record  # noqa: E402  Likewise.
import speaker_record  # noqa: E402  Likewise.
from concurrent_tests import run_concurrently  # noqa: E402  Likewise.
from process_signals import wait_until_blocked  # noqa: E402  Likewise.

OK, OUTPUT_FAILED, OUTPUT_REFUSED, SCENARIO_INVALID, SOURCE_UNREADABLE, SOURCE_REFUSED = (
    0, 4, 5, 9, 10, 11)
START_CODE = b"\0\0\1"
RECORDS = ("kxrtc", "record", "--json")  # What a process that is waited for was started as.


def run(*command, check=True, **options):
    options.setdefault("timeout", 120)
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, stdin=subprocess.DEVNULL, **options)
    json_outputs.keep(command, done.stdout)
    if check and done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}: {done.stderr.decode()}")
    return done


def make_video(path, picture, seconds, *options, sound=None):
    """One participant's media; `sound` is an expression of time for ffmpeg's aevalsrc."""
    inputs = ["-f", "lavfi", "-i", picture]
    if sound is not None:
        inputs += ["-f", "lavfi", "-i", f"aevalsrc='{sound}':s=44100"]
    run("ffmpeg", "-v", "error", "-y", *inputs, "-t", seconds, "-c:v", "libx264", "-preset",
        "veryfast", "-bf", "0", "-pix_fmt", "yuv420p", *options, path)


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Index:
    """The records of an index as (type, recorder time, fields of the payload)."""

    def __init__(self, record):
        data = (record / speaker_record.FILES["index"]).read_bytes()
        self.records = list(speaker_record.decode(data))

    def of(self, kind):
        return [fields for found, _, fields in self.records if found == kind]

    def stretches(self, video):
        """The video of each channel in a row, frame by frame."""
        stretches = []
        for kind, _, fields in self.records:
            if kind == speaker_record.CHANNEL:
                stretches.append([])
            elif kind == speaker_record.VIDEO:
                stretches[-1].append(video[fields[0]:fields[0] + fields[1]])
        return [stretch for stretch in stretches if stretch]


class RecordTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.media = Path(cls.folder.name)
        beat = "0.4*sin(2*PI*{}*t)*{}"
        make_video(cls.media / "ada.mp4", "testsrc2=s=640x360:r=30", 8, "-profile:v", "high", "-g",
                   "30", "-c:a", "aac", sound=beat.format(440, "lt(t,2.5)"))
        make_video(cls.media / "flat.mkv", "testsrc=s=320x480:r=25", 8, "-profile:v", "main", "-g",
                   "12", "-c:a", "libmp3lame", sound=beat.format(660, "gt(t,2.5)*lt(t,5)"))
        run("ffmpeg", "-v", "error", "-y", "-i", cls.media / "flat.mkv", "-c", "copy", "-metadata:s:v",
            "rotate=90", cls.media / "ben.mp4")
        make_video(cls.media / "cleo.ts", "testsrc2=s=176x144:r=24", 8, "-profile:v", "baseline",
                   "-g", "12", "-c:a", "aac", sound=beat.format(880, "gt(t,5)"))
        make_video(cls.media / "slides.264", "smptebars=s=1280x720:r=10", 8, "-g", "10")
        run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=s=320x240:r=25", "-t", 1,
            "-c:v", "mpeg4", cls.media / "other.mp4")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def setUp(self):
        self.work = tempfile.TemporaryDirectory()
        self.addCleanup(self.work.cleanup)
        self.record = Path(self.work.name) / "record"
        self.scenario = Path(self.work.name) / "scenario.json"

    def write_scenario(self, *participants, **members):
        self.scenario.write_text(json.dumps({"participants": participants, **members}))

    def one_camera(self, source="ada.mp4", **members):
        self.write_scenario({"user_id": 1, "camera": str(self.media / source)}, **members)

    def start(self, *options, under=()):
        """Starts kxrtc record, through the program `under` if there is one."""
        return subprocess.Popen(
            [*under, KXRTC, "record", self.scenario, self.record, "--json", *options],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def record_all(self, *options):
        done = run(KXRTC, "record", self.scenario, self.record, "--json", *options)
        return [json.loads(line) for line in done.stdout.decode().splitlines()]

    def refuse(self, status, message, *options):
        done = run(KXRTC, "record", self.scenario, self.record, *options, check=False)
        self.assertIn(message, done.stderr.decode())
        self.assertEqual(done.returncode, status)

    def independent(self):
        done = run(sys.executable, SOURCE / "tests/independent/read_record.py", f"{self.record}/",
                   check=False)
        return json.loads(done.stdout)

    def file(self, name):
        return self.record / speaker_record.FILES[name]

    def check_whole(self, end):
        """The counts of the tool are those that an independent reader finds; no breach is found."""
        found = self.independent()
        self.assertEqual(found["problems"], [])
        for own, theirs in (("video_frames", "video_frames"), ("audio_frames", "audio_frames"),
                            ("video_bytes", "video_bytes"), ("audio_bytes", "audio_bytes"),
                            ("index_bytes", "index_bytes"), ("switches", "channel_changes")):
            self.assertEqual(end[own], found[theirs], own)
        self.assertTrue(end["complete"])
        run(sys.executable, "-m", "json.tool", self.file("descriptor"))
        return found

    def annex_b(self, source, *options):
        return run("ffmpeg", "-v", "error", "-i", self.media / source, "-c", "copy", "-an", *options,
                   "-f", "h264", "-").stdout

    def record_conference(self):
        def camera(user_id, source, *events, **members):
            return {"user_id": user_id, "camera": str(self.media / source), "events": events,
                    **members}

        self.write_scenario(
            camera(1, "ada.mp4", local=True),
            camera(2, "ben.mp4", {"at": 4.5, "do": "mute"}),
            camera(3, "cleo.ts", {"at": 6, "do": "share_on"},
                   share={"source": str(self.media / "slides.264"), "frame_rate": 10}),
            duration=7.5, title="Weekly")
        return self.record_all()

    def test_round_trip(self):
        events = self.record_conference()
        found = self.check_whole(events[-1])
        self.assertGreater(found["video_frames"], 100)
        self.assertAlmostEqual(found["audio_frames"], 7.5 * 48000 / 1024, delta=6)
        self.assertEqual([event["user_id"] for event in events if event["event"] == "recorded"],
                         [1, 2, 3, 3])
        index, video = Index(self.record), self.file("video").read_bytes()
        sources = [self.annex_b("ada.mp4", "-bsf:v", "h264_mp4toannexb"),
                   self.annex_b("ben.mp4", "-bsf:v", "h264_mp4toannexb"),
                   self.annex_b("cleo.ts"), (self.media / "slides.264").read_bytes()]
        stretches = index.stretches(video)
        self.assertEqual(len(stretches), len(sources))
        for stretch, source in zip(stretches, sources):
            # What was sent, from a key frame on, without a frame lost, doubled or changed.
            self.assertIn(b"".join(stretch), source)
            self.assertTrue(read_record.is_key_frame(stretch[0]))
        # ffmpeg's option turns to the left, the record's angle to the right.
        self.assertEqual(index.of(speaker_record.ATTRIBUTES),
                         [(0, 640, 360), (270, 320, 480), (0, 176, 144), (0, 1280, 720)])
        self.check_audio(found["audio_frames"])
        self.check_decodes(self.file("video"))
        self.check_mp4(stretches)
        self.check_timeline(index)

    def check_audio(self, frames):
        probe = run("ffprobe", "-v", "error", "-count_packets", "-show_entries",
                    "stream=codec_name,profile,sample_rate,channels,nb_read_packets", "-of", "json",
                    self.file("audio"))
        self.assertEqual(json.loads(probe.stdout)["streams"], [{
            "codec_name": "aac", "profile": "LC", "sample_rate": "48000", "channels": 2,
            "nb_read_packets": str(frames)}])

    def check_timeline(self, index):
        """The people beside the record are those of the scenario, at the times of the index."""
        lines = (self.record / speaker_record.TIMELINE).read_text().splitlines()
        header, *entries = map(json.loads, lines)
        self.assertEqual(header, {"speaker_timeline": 1, "title": "Weekly"})
        self.assertEqual([entry["user_id"] for entry in entries if entry["event"] == "selected"],
                         [1, 2, 3, 3])
        of_index = [time for kind, time, _ in index.records if kind == speaker_record.CHANNEL]
        self.assertEqual([entry["us"] for entry in entries if entry["event"] == "selected"], of_index)
        people = json.loads(run(KXRTC, "info", "--json", self.record).stdout)["speaker_timeline"]["people"]
        self.assertEqual([person["user_id"] for person in people], [1, 2, 3])
        self.assertGreater(people[1]["heard_us"], 500000)  # Ben is heard until he is muted.
        self.assertLess(people[1]["heard_us"], 5300000)

    def check_decodes(self, path):
        done = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:v", "-enc_time_base", "-1",
                   "-fps_mode", "passthrough", "-f", "null", "-")
        self.assertEqual(done.stderr.decode(), "")

    def check_mp4(self, stretches):
        """The copied MP4 holds every slice of the record in order, and what it shows decodes."""
        mp4 = self.record / "copy.mp4"
        run(KXRTC, "transcode", self.record, mp4, "--video", "copy", "--quiet")
        stream = run("ffmpeg", "-v", "error", "-i", mp4, "-map", "0:v", "-c", "copy", "-bsf:v",
                     "h264_mp4toannexb", "-f", "h264", "-").stdout
        position = 0
        for frame in (frame for stretch in stretches for frame in stretch):
            last_nal = frame[frame.rindex(START_CODE) + len(START_CODE):].rstrip(b"\0")
            position = stream.find(last_nal, position)
            self.assertGreaterEqual(position, 0)
            position += len(last_nal)
        encoded = self.record / "encoded.mp4"
        run(KXRTC, "transcode", self.record, encoded, "--quiet")
        self.check_decodes(encoded)

    def stream_live(self, scenario_source, *sender_options):
        """Records a stream that ffmpeg sends in real time."""
        sender = subprocess.Popen(
            ["ffmpeg", "-v", "error", "-re", "-stream_loop", "3", "-i", str(self.media / "ada.mp4"),
             *sender_options], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        try:
            self.write_scenario({"user_id": 5, "camera": scenario_source}, duration=2.5)
            for _ in range(100):  # The sender writes the session description as it starts.
                if not scenario_source.endswith(".sdp") or Path(scenario_source).exists():
                    break
                time.sleep(0.05)
            return self.record_all()
        finally:
            sender.kill()
            sender.wait()

    def check_live(self, events):
        found = self.check_whole(events[-1])
        self.assertGreater(found["video_frames"], 25)
        self.check_decodes(self.file("video"))

    def test_live_rtp_through_a_session_description(self):
        description = str(Path(self.work.name) / "stream.sdp")
        events = self.stream_live(description, "-map", "0:v", "-c", "copy", "-f", "rtp", "-sdp_file",
                                  description, f"rtp://127.0.0.1:{free_port()}?pkt_size=1200")
        self.check_live(events)

    def test_live_transport_stream_over_udp(self):
        address = f"udp://127.0.0.1:{free_port()}"
        events = self.stream_live(address, "-c", "copy", "-f", "mpegts", address + "?pkt_size=1316")
        self.check_live(events)
        self.check_audio(events[-1]["audio_frames"])

    def test_interrupt_completes_the_record(self):
        self.write_scenario({"user_id": 1, "camera": {"source": str(self.media / "ada.mp4"),
                                                      "loop": True}})
        process = self.start()
        lines = []
        for line in process.stdout:
            lines.append(json.loads(line))
            if lines[-1]["event"] == "progress" and lines[-1]["video_frames"] > 10:
                process.send_signal(signal.SIGINT)
                break
        rest, errors = process.communicate(timeout=30)
        json_outputs.keep(RECORDS, rest)
        self.assertEqual((process.returncode, errors), (OK, ""))
        end = json.loads(rest.splitlines()[-1])
        self.assertEqual((end["event"], end["reason"]), ("end", "stopped by a signal"))
        self.check_whole(end)

    def test_ends_with_its_media_and_begins_again_after_leaving(self):
        self.write_scenario({
            "user_id": 1, "camera": str(self.media / "slides.264"),
            "events": [{"at": 0, "do": "join"}, {"at": 0.8, "do": "leave"}, {"at": 1, "do": "join"},
                       {"at": 2, "do": "leave"}]})
        events = self.record_all()
        self.check_whole(events[-1])
        self.assertLess(events[-1]["time"], 4)
        stretches = Index(self.record).stretches(self.file("video").read_bytes())
        source = (self.media / "slides.264").read_bytes()
        self.assertEqual([source.startswith(stretch[0]) for stretch in stretches], [True, True])

    def test_full_disk_keeps_what_was_recorded(self):
        self.write_scenario({"user_id": 1, "camera": {"source": str(self.media / "ada.mp4"),
                                                      "loop": True}}, duration=20)
        limit = 100000
        process = self.start(under=["prlimit", f"--fsize={limit}"])
        output, errors = process.communicate(timeout=60)
        json_outputs.keep(RECORDS, output)
        self.assertEqual(process.returncode, OUTPUT_FAILED)
        self.assertIn("cannot write the rest of the record", errors)
        self.assertIn("everything before that is recorded", errors)
        end = json.loads(output.splitlines()[-1])
        self.assertFalse(end["complete"])
        video = self.file("video").read_bytes()
        self.assertLessEqual(len(video), limit)
        frames = Index(self.record).stretches(video)[0]
        self.assertGreater(len(frames), 3)
        self.assertIn(b"".join(frames), self.annex_b("ada.mp4", "-bsf:v", "h264_mp4toannexb"))
        self.assertEqual(Index(self.record).records[-1][0], speaker_record.STOP)

    def test_refuses_what_it_cannot_record(self):
        self.one_camera("none.mp4")
        self.refuse(SOURCE_UNREADABLE, "none.mp4: cannot be opened: No such file or directory")
        self.one_camera("other.mp4")
        self.refuse(SOURCE_REFUSED, "the video is mpeg4, only h264 can be recorded")
        self.write_scenario()
        self.refuse(SCENARIO_INVALID, "a conference needs at least one participant")
        self.scenario.write_text('{\n"participants": [{"user_id": 0}]}')
        self.refuse(SCENARIO_INVALID, "scenario.json:2: participants[0].user_id: must be")
        self.write_scenario({"user_id": 1, "microphone": str(self.media / "slides.264")})
        self.refuse(SOURCE_UNREADABLE, "slides.264: contains no sound")
        self.one_camera()
        self.assertFalse(self.record.exists())
        self.record.write_text("a file")
        self.refuse(OUTPUT_REFUSED, "/record/: is not a folder")

    def test_replaces_a_record_only_when_asked(self):
        self.one_camera(duration=0.5)
        self.record_all()
        before = self.file("index").read_bytes()
        self.refuse(OUTPUT_REFUSED, "already contains a record; --force replaces it")
        self.assertEqual(self.file("index").read_bytes(), before)
        self.check_whole(self.record_all("--force", "--duration", "0.7")[-1])

    def start_looping(self, *options):
        """A recording without end that runs already."""
        self.write_scenario({"user_id": 1, "camera": {"source": str(self.media / "ada.mp4"),
                                                      "loop": True}})
        process = self.start(*options)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        self.wait_for_pictures(process)
        return process

    def wait_for_pictures(self, process):
        for line in process.stdout:
            event = json.loads(line)
            if event["event"] == "progress" and event["video_frames"] > 10:
                return
        self.fail(f"ended early: {process.stderr.read()}")

    def end(self, process, number=signal.SIGINT):
        process.send_signal(number)
        output, errors = process.communicate(timeout=30)
        json_outputs.keep(RECORDS, output)
        return process.returncode, json.loads(output.splitlines()[-1]), errors

    def test_keeps_a_second_recorder_away_until_the_first_one_dies(self):
        first = self.start_looping()
        for options in ([], ["--force"]):
            self.refuse(OUTPUT_REFUSED, f"/record/: process {first.pid} records into this folder; "
                        "wait for its end or use another folder", *options)
        names = sorted(path.name for path in self.record.iterdir())
        self.assertEqual(names, speaker_record.RECORDED)
        status, end, errors = self.end(first)
        self.assertEqual((status, errors), (OK, ""))
        self.check_whole(end)
        killed = self.start_looping("--force")
        killed.kill()
        killed.wait()
        self.check_whole(self.record_all("--force", "--duration", "0.7")[-1])

    def test_two_recorders_at_once_leave_one_whole_record(self):
        self.one_camera(duration=1.5)
        for _ in range(3):
            shutil.rmtree(self.record, ignore_errors=True)
            both = [self.start("--force"), self.start("--force")]
            ended = [process.communicate(timeout=60) for process in both]
            self.assertEqual(sorted(process.returncode for process in both), [OK, OUTPUT_REFUSED])
            winner = ended[[process.returncode for process in both].index(OK)]
            self.check_whole(json.loads(winner[0].splitlines()[-1]))

    def test_tells_what_became_of_the_files(self):
        def replace():
            self.file("index").unlink()
            self.file("index").write_bytes(b"")

        accidents = [(lambda: shutil.rmtree(self.record), "was removed while it was recorded"),
                     (lambda: self.record.rename(f"{self.record}.old"),
                      "was moved while it was recorded"),
                     (replace, "was replaced by another file while it was recorded")]
        for happen, message in accidents:
            process = self.start_looping("--force")
            happen()
            for line in process.stdout:  # It is told at once.
                event = json.loads(line)
                if event["event"] == "warning":
                    self.assertIn(message, event["text"])
                    break
            status, end, errors = self.end(process)
            self.assertEqual(status, OUTPUT_FAILED)
            self.assertIn(message, errors)
            self.assertNotIn("everything before that is recorded", errors)
            self.assertFalse(end["complete"])

    def test_gives_up_a_live_source_that_nobody_sends_to(self):
        self.write_scenario({"user_id": 1, "camera": f"udp://127.0.0.1:{free_port()}"})
        process = self.start()
        wait_until_blocked(process, signal.SIGINT)
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=30)
        self.assertEqual((process.returncode, errors), (130, ""))

    def test_documents_show_scenarios_that_are_valid(self):
        text = (SOURCE / "docs/scenario.md").read_text()
        for document in (text.split("```json")[1].split("```")[0],
                         (SOURCE / "examples/scenario.json").read_text()):
            self.scenario.write_text(document)
            self.refuse(SOURCE_UNREADABLE, "cannot be opened: No such file or directory")


if __name__ == "__main__":
    sys.exit(run_concurrently(RecordTest, sys.argv[3:]))
