"""Media and commands that the reliability programs share."""

import subprocess
import sys
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(TESTS / "independent"), str(TESTS / "testing")]
# For those who import this module:
from read_record import read_record  # noqa: E402,F401
import json_outputs  # noqa: E402,F401
import speaker_record  # noqa: E402,F401


def run(*command, **options):
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True,
                            **options)
    json_outputs.keep(command, result.stdout)
    return result


def must_run(*command):
    result = run(*command)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: status {result.returncode}\n{result.stderr}")
    return result.stdout


def make_media(folder):
    """A small camera picture and a tone, as elementary streams; returns their two paths."""
    video = Path(folder) / "video.264"
    must_run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=size=320x180:rate=24",
             "-frames:v", "48", "-pix_fmt", "yuv420p", "-c:v", "libx264", "-bf", "0", "-g", "12",
             "-x264-params", "aud=1:scenecut=0", "-f", "h264", video)
    return video, make_audio(folder, 2)


def make_audio(folder, channels):
    """A tone of two seconds with ADTS headers; returns its path."""
    audio = Path(folder) / f"audio{channels}.adts"
    must_run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=sample_rate=48000",
             "-t", "2", "-ac", str(channels), "-c:a", "aac", "-f", "adts", audio)
    return audio


def decode_messages(mp4):
    """What ffmpeg has to say about every picture and sound of the file: nothing, if all is well."""
    result = run("ffmpeg", "-v", "warning", "-i", mp4, "-fps_mode", "passthrough",
                 "-enc_time_base", "-1", "-f", "null", "-")
    return result.stderr if result.returncode == 0 else f"status {result.returncode}\n{result.stderr}"
