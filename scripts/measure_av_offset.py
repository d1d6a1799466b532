#!/usr/bin/env python3
"""Measures the offsets between flashes and beeps in a media file.

usage: measure_av_offset.py FILE [--limit-ms MS]

FILE shows white flashes on black and plays a beep at the instant of each flash. Prints the offsets as
JSON: beep time minus flash time, in milliseconds; positive means that the sound is late. With --limit-ms
the exit status is 1 when an offset is larger, or when a flash has no beep within half a second.
"""

import argparse
import array
import json
import subprocess
import sys

RATE = 48000
WINDOW = 48  # Samples, one millisecond.
LOUD = 0.05
BRIGHT = 128
QUIET_SECONDS = 0.3  # A beep begins after so much silence.


def rising_edges(levels, threshold, quiet):
    """Times at which (time, level) pairs rise above the threshold after `quiet` seconds below it. What is
    above it from the first pair on is no edge: the first picture may be shown before its time."""
    edges, last_high, was_low = [], None, False
    for time, level in levels:
        if level >= threshold:
            if was_low and (last_high is None or time - last_high > quiet):
                edges.append(time)
            last_high = time
        else:
            was_low = True
    return edges


def flash_times(path):
    listing = subprocess.run(
        ["ffprobe", "-v", "error", "-f", "lavfi", "-i", f"movie=filename='{path}',scale=64:36,signalstats",
         "-show_entries", "frame=pts_time:frame_tags=lavfi.signalstats.YAVG", "-of", "json"],
        check=True, stdout=subprocess.PIPE).stdout
    levels = [(float(frame["pts_time"]), float(frame["tags"]["lavfi.signalstats.YAVG"]))
              for frame in json.loads(listing)["frames"]]
    return rising_edges(levels, BRIGHT, QUIET_SECONDS)


def beep_times(path):
    raw = subprocess.run(
        ["ffmpeg", "-v", "error", "-copyts", "-i", path, "-vn", "-af", "aresample=async=1:first_pts=0", "-ac", "1",
         "-ar", str(RATE), "-f", "f32le", "-"], check=True, stdout=subprocess.PIPE).stdout
    samples = array.array("f", raw)
    levels = ((start / RATE, max(abs(s) for s in samples[start:start + WINDOW]))
              for start in range(0, len(samples) - WINDOW, WINDOW))
    return rising_edges(levels, LOUD, QUIET_SECONDS)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("file")
    parser.add_argument("--limit-ms", type=float)
    options = parser.parse_args()
    flashes, beeps = flash_times(options.file), beep_times(options.file)
    offsets, alone = [], []
    for flash in flashes:
        nearest = min(beeps, key=lambda beep: abs(beep - flash), default=None)
        if nearest is None or abs(nearest - flash) > 0.5:
            alone.append(flash)
        else:
            offsets.append((nearest - flash) * 1000)
    ordered = sorted(offsets)
    result = {"flashes": len(flashes), "beeps": len(beeps), "flashes_without_beep": alone}
    if ordered:
        result.update(min_ms=round(ordered[0], 1), median_ms=round(ordered[len(ordered) // 2], 1),
                      max_ms=round(ordered[-1], 1),
                      first_ms=round(offsets[0], 1), last_ms=round(offsets[-1], 1))
    print(json.dumps(result))
    failed = not ordered or alone or (
        options.limit_ms is not None and max(abs(o) for o in ordered) > options.limit_ms)
    return 1 if options.limit_ms is not None and failed else 0


if __name__ == "__main__":
    sys.exit(main())
