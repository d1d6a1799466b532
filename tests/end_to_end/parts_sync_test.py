#!/usr/bin/env python3
"""Sound and picture of parts of a record: a flash and a beep twice a second, at the same instants.

The offset of each beep is compared with that in the MP4 of the whole record, so that neither the delay
of an encoder nor the load of the machine counts.

usage: parts_sync_test.py KXRTC SOURCE_DIR [unittest options]
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

KXRTC, SOURCE = sys.argv[1], Path(sys.argv[2])
sys.path[:0] = [str(SOURCE / "tests" / "testing"), str(SOURCE / "scripts")]
import measure_av_offset  # noqa: E402
import speaker_record  # noqa: E402

SECONDS = 12
FLASH = "lt(mod(t,0.5),0.1)"
# Between flashes, at no whole picture and at no whole audio frame.
PARTS = ["--from", "1.31", "--to", "10.42", "--cut", "3.33-4.38", "--cut", "5.81-6.3", "--cut", "7.23-8.34"]
# Milliseconds that parts may move sound and picture apart. Frames of the decoded sound are not cut finer
# than one millisecond.
LIMITS = {"copy": 2, "encode": 25}


def make(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments], check=True)


def write_record(folder):
    """Pictures and sound at their exact times."""
    make("-f", "lavfi", "-i", f"color=black:s=160x96:r=24,drawbox=c=white:t=fill:enable='{FLASH}'", "-t", str(SECONDS),
         "-c:v", "libx264", "-preset", "ultrafast", "-bf", "0", "-g", "24", "-x264-params", "aud=1:repeat-headers=1",
         "-pix_fmt", "yuv420p", "-f", "h264", folder / "video")
    make("-f", "lavfi", "-i", f"aevalsrc='0.5*sin(2*PI*1000*t)*{FLASH}':s=48000", "-ac", "2", "-t", str(SECONDS),
         "-c:a", "aac", "-f", "adts", folder / "audio")
    pictures = speaker_record.access_units((folder / "video").read_bytes())
    sounds = speaker_record.adts_frames((folder / "audio").read_bytes())
    frames = sorted([(i * 1000000 // 24 + 5, speaker_record.VIDEO, unit) for i, unit in enumerate(pictures)] +
                    [(i * 64000 // 3 + 6, speaker_record.AUDIO, unit) for i, unit in enumerate(sounds)])
    index = [speaker_record.encode(speaker_record.START, 0),
             speaker_record.encode(speaker_record.CHANNEL, 1, speaker_record.CAMERA),
             speaker_record.encode(speaker_record.ATTRIBUTES, 2, 0, 160, 96)]
    data = {speaker_record.VIDEO: bytearray(), speaker_record.AUDIO: bytearray()}
    for time_us, kind, frame in frames:
        index.append(speaker_record.encode(kind, time_us, len(data[kind]), len(frame)))
        data[kind] += frame
    end_us = frames[-1][0] + 1
    index.append(speaker_record.encode(speaker_record.STOP, end_us))
    record = folder / "record"
    record.mkdir()
    (record / speaker_record.FILES["index"]).write_bytes(b"".join(index))
    (record / speaker_record.FILES["video"]).write_bytes(data[speaker_record.VIDEO])
    (record / speaker_record.FILES["audio"]).write_bytes(data[speaker_record.AUDIO])
    speaker_record.write_descriptor(record, speaker_record.descriptor(
        [speaker_record.session(0, end_us, len(pictures), len(sounds))]))
    return record


def offsets(path):
    """Milliseconds from each flash to the beep that is nearest, flashes at the start of the file left out."""
    beeps = measure_av_offset.beep_times(path)
    return [1000 * (min(beeps, key=lambda beep: abs(beep - flash)) - flash)
            for flash in measure_av_offset.flash_times(path) if flash > 0.2]


class PartsSyncTest(unittest.TestCase):
    def test_sound_stays_with_the_picture(self):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            record = write_record(folder)
            for mode, limit in LIMITS.items():
                measured = {}
                for parts in ([], PARTS):
                    path = folder / f"{mode}{len(parts)}.mp4"
                    subprocess.run([KXRTC, "transcode", record, path, "--video", mode, "--quiet", *parts], check=True,
                                   stderr=subprocess.DEVNULL)
                    measured[len(parts)] = offsets(str(path))
                whole, cut = measured[0], measured[len(PARTS)]
                print(f"{mode}: whole {min(whole):.1f} to {max(whole):.1f} ms, parts {min(cut):.1f} to {max(cut):.1f} ms")
                self.assertGreater(len(cut), 8)
                self.assertLess(len(cut), len(whole) - 6)
                for offset in cut:
                    self.assertLess(min(abs(offset - other) for other in whole), limit, mode)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
