"""The players, each as a function from files to what went wrong with them: empty where the file was
played to its end."""

import json
import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

from marionette import Firefox

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "reliability"))
from media import must_run, run  # noqa: E402

PLAYBACK = Path(__file__).resolve().parent.parent / "browser" / "playback.mjs"
QUICKTIME_RULES = Path(__file__).resolve().parent / "quicktime_rules.mjs"
LIMIT_S = 120  # For one file.
NEAR_S = 0.2  # Of the end.
HELD_S = 0.6  # Firefox may show the last picture for so long (docs/players.md).

# At normal speed: without a device for sound, Firefox loses its place if it has to be faster.
PLAY_SCRIPT = """
const [source, done] = arguments;
const video = document.createElement('video');
document.body.append(video);
const tell = () => done({
  error: video.error && `${video.error.code} ${video.error.message}`, ended: video.ended,
  time: video.currentTime, duration: video.duration, width: video.videoWidth, height: video.videoHeight,
  frames: video.getVideoPlaybackQuality().totalVideoFrames });
video.addEventListener('ended', tell);
video.addEventListener('error', tell);
video.muted = true;
video.src = source;
video.play();
"""


def duration_of(mp4):
    return float(must_run("ffprobe", "-v", "error", "-show_entries", "format=duration", "-of",
                          "csv=p=0", mp4))


def has_pictures(mp4):
    return "video" in must_run("ffprobe", "-v", "error", "-show_entries", "stream=codec_type", "-of",
                               "csv=p=0", mp4)


def last_picture_of(mp4):
    """Seconds to the beginning of the last picture, 0 where there is none."""
    times = must_run("ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                     "packet=pts_time", "-of", "csv=p=0", mp4)
    return max((float(time) for time in times.replace(",", " ").split()), default=0)


def in_browser(outcome, mp4):
    """What a browser's outcome lacks."""
    if outcome["error"]:
        return outcome["error"]
    if not outcome["ended"]:
        return "did not end"
    if not -NEAR_S < outcome["time"] - duration_of(mp4) < HELD_S:
        return f"ended at {outcome['time']:.1f} s"
    if has_pictures(mp4) and not outcome["frames"]:
        return "no picture was shown"
    return ""


def chromium(files, node_folder):
    result = run("node", PLAYBACK, node_folder, "screenshots", *files)
    outcomes = dict(re.findall(r"^(\S+) (\{.*\})", result.stdout, re.MULTILINE))
    for mp4 in files:
        outcome = outcomes.get(mp4.name)
        yield (in_browser(json.JSONDecoder().raw_decode(outcome)[0], mp4) if outcome
               else result.stderr.strip()[-80:])


def firefox(files, _):
    with Firefox(shutil.which("firefox-esr")) as browser:
        for mp4 in files:
            page = mp4.with_suffix(".html")
            page.write_text("<!doctype html><title>player</title><body></body>")
            try:
                yield in_browser(browser.evaluate(page.as_uri(), PLAY_SCRIPT, [mp4.name], LIMIT_S), mp4)
            except RuntimeError as error:
                yield str(error)


def played_until(seconds, complaints, mp4):
    """What is wrong with a player that stopped there and printed that."""
    if complaints:
        return complaints.splitlines()[0]
    if seconds is None:
        return "did not play"
    return "" if abs(seconds - duration_of(mp4)) < NEAR_S else f"ended at {seconds:.1f} s"


def mpv(files, _):
    for mp4 in files:
        result = run("mpv", "--no-config", "--vo=null", "--ao=null", "--ao-null-untimed=yes", "--untimed",
                     "--framedrop=no", "--hwdec=no", "--vf=lavfi=[showinfo]", "--af=lavfi=[ashowinfo]",
                     "--msg-level=all=warn,ffmpeg=v", mp4, timeout=LIMIT_S)
        lines = re.split(r"[\r\n]+", result.stdout + result.stderr)
        shown = [line for line in lines if "Parsed_" in line]
        complaints = [line for line in lines if line.startswith("[") and line not in shown]
        times = re.findall(r"pts_time:([\d.]+)", "\n".join(shown))
        yield played_until(max(map(float, times), default=None), "\n".join(complaints), mp4)


def vlc(files, _):
    for mp4 in files:
        # It refuses to run as root.
        command = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if os.getuid() == 0 else []
        command += ["env", "HOME=/nonexistent", "cvlc", "-vv", "--no-color", "--vout=dummy",
                    "--aout=dummy", "--no-metadata-network-access", "--play-and-exit", mp4]
        process = subprocess.Popen(["timeout", str(LIMIT_S), *map(str, command)], text=True,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        begin, lines = None, []
        for line in process.stderr:
            if "Stream buffering done" in line:
                begin = time.monotonic()
            lines.append(line.strip())
        # It tells no time; but it shows pictures no faster than it should. Sound takes no time without
        # a loudspeaker.
        seconds = time.monotonic() - begin if begin else None
        text = "\n".join(lines)
        # The first frame of sound gives none: its decoder only warms up.
        complaints = re.findall(r"(?:demux|decoder|packetizer|stream) error: .*|"
                                r"(?:faad|avcodec) .*warning: (?!decoded zero sample).*", text)
        if process.wait() != 0:
            complaints.append(f"status {process.returncode}")
        if has_pictures(mp4) and "Received first picture" not in text:
            complaints.append("no picture was shown")
        if seconds and seconds > last_picture_of(mp4) - NEAR_S and "EOF reached" in text:
            seconds = duration_of(mp4)
        yield played_until(seconds, "\n".join(complaints), mp4)


def gstreamer(files, _):
    for mp4 in files:
        result = run("gst-launch-1.0", "-v", "playbin", f"uri={mp4.as_uri()}",
                     "video-sink=fakesink name=pictures sync=false silent=false",
                     "audio-sink=fakesink name=sound sync=false silent=false", timeout=LIMIT_S)
        # A hidden beginning has times too: what is shown starts with the segment.
        starts = dict(re.findall(r"\((\w+):sink\) E \(type: segment.*? start=\(guint64\)(\d+)",
                                 result.stdout))
        ends = [float(h) * 3600 + float(m) * 60 + float(s) + float(d) - int(starts[sink]) / 1e9
                for sink, h, m, s, d in re.findall(
                    r"chain .*?\((\w+):sink\).*?pts: (\d+):(\d\d):(\d\d\.\d+), "
                    r"duration: 0:00:0(\d\.\d+)", result.stdout)]
        complaints = "\n".join(re.findall(r"^(?:ERROR|WARNING).*", result.stdout + result.stderr,
                                          re.MULTILINE))
        if not complaints and "Got EOS" not in result.stdout:
            complaints = "did not reach the end"
        yield played_until(max(ends, default=None), complaints, mp4)


def quicktime_rules(files, node_folder):
    for mp4 in files:
        result = run("node", QUICKTIME_RULES, node_folder, mp4)
        broken = result.stdout.strip()
        yield broken.splitlines()[0] if broken else "" if result.returncode == 0 else result.stderr[-80:]


# Name in the table, program, function, how its version is asked for.
PLAYERS = (
    ("Chromium", "chromium", chromium, ("chromium", "--version")),
    ("Firefox", "firefox-esr", firefox, ("firefox-esr", "--version")),
    ("mpv", "mpv", mpv, ("mpv", "--version")),
    ("VLC", "cvlc", vlc, ("dpkg-query", "-W", "-f", "VLC ${Version}", "vlc-bin")),
    ("GStreamer", "gst-launch-1.0", gstreamer, ("gst-launch-1.0", "--version")),
    ("QuickTime's rules", "node", quicktime_rules,
     ("node", "-p", "'Node.js ' + process.version")),
)
