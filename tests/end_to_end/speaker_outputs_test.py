#!/usr/bin/env python3
"""Chapters, tags and captions of a scripted conference, judged by its pictures and by other programs.

Each camera shows one colour, and its person beeps in turn. So the pictures of the MP4 tell who is seen,
whatever the speaker timeline says.

usage: speaker_outputs_test.py KXRTC FOLDER [unittest options]
FOLDER gets the media, the record, the MP4 files and the captions, for other tests.
"""

import datetime
import json
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "testing"))
import json_outputs  # noqa: E402  Needs the path above.

KXRTC = Path(sys.argv[1]).resolve()
FOLDER = Path(sys.argv[2]).resolve()
TITLE = "Weekly & <b>more</b>"
TURN = 3  # Seconds that each person speaks.
SHARE_AT = 3 * TURN
SECONDS = SHARE_AT + TURN
# Name, colour, first second and last second of the beep.
PEOPLE = [("Anna", "red", 0, TURN), ("Ben <i>", "green", TURN, 2 * TURN),
          ("Carla 日", "blue", 2 * TURN, SECONDS)]
COLOURS = {"red": (255, 0, 0), "green": (0, 128, 0), "blue": (0, 0, 255), "white": (255, 255, 255)}
EXPECTED = [("Anna", "red"), ("Ben <i>", "green"), ("Carla 日", "blue"),
            ("Ben <i> (desktop share)", "white")]
FRAME = 1 / 24  # Of the encoded MP4; the cameras have 30 a second.
MODES = {"encode": [], "copy": ["--video", "copy"]}


def run(*arguments, **options):
    done = subprocess.run([str(a) for a in arguments], check=True, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
    json_outputs.keep(arguments, done.stdout)
    return done


def ffmpeg(*arguments):
    run("ffmpeg", "-v", "error", "-y", *arguments)


def make_media():
    for name, colour, first, last in PEOPLE:
        ffmpeg("-f", "lavfi", "-i", f"color={colour}:size=320x180:rate=30",
               "-f", "lavfi", "-i", "sine=frequency=500:sample_rate=48000",
               "-filter_complex", f"[1:a]volume='between(t,{first},{last})':eval=frame[a]",
               "-map", "0:v", "-map", "[a]", "-t", SECONDS, "-c:v", "libx264", "-preset", "ultrafast",
               "-bf", "0", "-g", "15", "-pix_fmt", "yuv420p", "-c:a", "aac", FOLDER / f"{colour}.mp4")
    ffmpeg("-f", "lavfi", "-i", "color=white:size=320x180:rate=30", "-t", SECONDS, "-c:v", "libx264",
           "-preset", "ultrafast", "-bf", "0", "-g", "15", "-pix_fmt", "yuv420p", FOLDER / "white.mp4")


def scenario():
    people = [{"user_id": i + 1, "name": name, "camera": f"{colour}.mp4"}
              for i, (name, colour, _, _) in enumerate(PEOPLE)]
    people[1].update(share="white.mp4", events=[{"at": 0, "do": "join"},
                                                {"at": SHARE_AT, "do": "share_on"}])
    return {"title": TITLE, "duration": SECONDS, "participants": people}


def colour_of(pixel):
    return min(COLOURS, key=lambda name: sum((a - b) ** 2 for a, b in zip(COLOURS[name], pixel)))


def colour_changes(mp4):
    """[(seconds, colour)] of the decoded pictures."""
    times = run("ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "frame=pts_time",
                "-of", "csv=p=0", mp4).stdout.decode().split()
    pixels = run("ffmpeg", "-v", "error", "-i", mp4, "-vf", "scale=1:1:flags=area", "-f", "rawvideo",
                 "-pix_fmt", "rgb24", "-fps_mode", "passthrough", "-").stdout
    assert len(pixels) == 3 * len(times)
    changes = []
    for i, time in enumerate(times):
        colour = colour_of(pixels[3 * i:3 * i + 3])
        if not changes or changes[-1][1] != colour:
            changes.append((float(time.strip(",")), colour))
    return changes


def seconds_of(clock):
    hours, minutes, seconds = clock.split(":")
    return 3600 * int(hours) + 60 * int(minutes) + float(seconds)


def setUpModule():
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    make_media()
    (FOLDER / "scenario.json").write_text(json.dumps(scenario()))
    record = FOLDER / "record"
    record.mkdir()
    run(KXRTC, "record", FOLDER / "scenario.json", record)


class SpeakerOutputsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.done = {}
        for mode, options in MODES.items():
            result = run(KXRTC, "transcode", FOLDER / "record", FOLDER / f"{mode}.mp4", *options, "--json",
                         "--chapter-min", 1, "--captions", FOLDER / f"{mode}.vtt")
            cls.done[mode] = json.loads(result.stdout.splitlines()[-1])

    def chapters(self, mode):
        probe = run("ffprobe", "-v", "error", "-show_chapters", "-of", "json", FOLDER / f"{mode}.mp4")
        return json.loads(probe.stdout)["chapters"]

    def test_chapters_start_with_the_pictures(self):
        for mode in MODES:
            with self.subTest(mode):
                chapters = self.chapters(mode)
                self.assertEqual([c["tags"]["title"] for c in chapters], [name for name, _ in EXPECTED])
                self.assertEqual(float(chapters[0]["start_time"]), 0)
                changes = colour_changes(FOLDER / f"{mode}.mp4")
                for chapter, (_, colour) in list(zip(chapters, EXPECTED))[1:]:
                    truth = min((time for time, c in changes if c == colour and time > TURN - 1),
                                key=lambda time: abs(time - float(chapter["start_time"])))
                    self.assertLessEqual(abs(truth - float(chapter["start_time"])), FRAME + 0.001,
                                         f"{chapter} {changes}")
                self.assertEqual(self.done[mode]["chapters"], len(EXPECTED))

    def test_title_and_time(self):
        for mode in MODES:
            with self.subTest(mode):
                probe = run("ffprobe", "-v", "error", "-show_entries", "format_tags", "-of", "json",
                            FOLDER / f"{mode}.mp4")
                tags = json.loads(probe.stdout)["format"]["tags"]
                self.assertEqual(tags["title"], TITLE)
                created = datetime.datetime.fromisoformat(tags["creation_time"].replace("Z", "+00:00"))
                age = datetime.datetime.now(datetime.timezone.utc) - created
                self.assertLess(age.total_seconds(), 600)
                self.assertGreater(age.total_seconds(), SECONDS - 1)

    def test_captions_tell_who_speaks(self):
        for mode in MODES:
            with self.subTest(mode):
                text = (FOLDER / f"{mode}.vtt").read_text(encoding="utf-8")
                cues = re.findall(r"^(\S+) --> (\S+)\n<v (.*)>(.*)</v>$", text, re.MULTILINE)
                self.assertEqual(text.count("-->"), len(cues))
                self.assertEqual([name for _, _, name, _ in cues], ["Anna", "Ben &lt;i&gt;", "Carla 日"])
                for (start, end, _, _), (_, _, first, last) in zip(cues, PEOPLE):
                    # The voice is detected a little after it begins, and held after it ends.
                    self.assertLess(abs(seconds_of(start) - first), 0.6)
                    self.assertLess(abs(seconds_of(end) - min(last + 0.5, SECONDS)), 0.6)
                self.assertEqual(self.done[mode]["captions"],
                                 {"output": str(FOLDER / f"{mode}.vtt"), "cues": len(cues)})

    def test_another_player_lists_the_chapters(self):
        if shutil.which("mpv") is None:
            self.skipTest("mpv is not installed (scripts/setup.sh browser)")
        for mode in MODES:
            with self.subTest(mode):
                shown = run("mpv", "--no-config", "--vo=null", "--ao=null", "--frames=1",
                            "--term-playing-msg=${chapter-list}", FOLDER / f"{mode}.mp4").stdout.decode(errors="replace")
                for name, _ in EXPECTED:
                    self.assertIn(name, shown)

    def test_decodes_without_a_message(self):
        for mode in MODES:
            for stream in ("v", "a"):
                with self.subTest(mode=mode, stream=stream):
                    result = run("ffmpeg", "-v", "warning", "-i", FOLDER / f"{mode}.mp4", "-map", f"0:{stream}",
                                 "-fps_mode", "passthrough", "-enc_time_base", "-1", "-f", "null", "-")
                    self.assertEqual(result.stderr, b"")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
