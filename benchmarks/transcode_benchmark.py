#!/usr/bin/env python3
"""Times `kxrtc transcode`, `verify` and their peers at the same work: medians of interleaved runs.

usage: transcode_benchmark.py copy|encode|sound|verify|memory KXRTC RECORD_DIR [--runs N] [--preset P]

copy    against `ffmpeg -c copy -movflags +faststart` of the same elementary streams, and against
        two programs that put the two data files into one: `cat`, which lets the kernel copy, and
        `dd`, which reads and writes blocks of 256 KiB
encode  against the ffmpeg command line with the same encoder settings
sound   what it costs to try each audio frame with a decoder: in copy mode and in `kxrtc verify`
verify  `kxrtc verify` and `report` against one `cat` of the record's files
memory  the largest resident memory of both modes; run it on a short and on a long record

Warm: everything is read once before. What is written is removed each time. `kxrtc` is timed with
and without waiting for the disk, since its peers never wait.
"""

import argparse
import os
import statistics
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests" / "testing"))
import speaker_record  # noqa: E402  Needs the path above.


def timed(command, output):
    """Seconds of wall time and of processor time, and the largest resident memory in MB."""
    start = time.monotonic()
    child = os.posix_spawnp("sh", ["sh", "-c", command], os.environ)
    _, status, usage = os.wait4(child, 0)
    wall = time.monotonic() - start
    if status != 0:
        raise SystemExit(f"status {status}: {command}")
    size = Path(output).stat().st_size
    Path(output).unlink()
    return wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024, size


def commands(mode, kxrtc, record, output, preset):
    video, audio = (f"{record}/{speaker_record.FILES[kind]}" for kind in ("video", "audio"))
    ours = f"exec {kxrtc} transcode --quiet {record} {output}"
    inputs = f"exec ffmpeg -nostdin -v error -r 30 -i {video} -i {audio}"
    if mode == "copy":
        return {
            "kxrtc copy": f"{ours} --video copy --no-sync",
            "kxrtc copy, synced": f"{ours} --video copy",
            "ffmpeg -c copy +faststart": f"{inputs} -c copy -bsf:a aac_adtstoasc "
                                         f"-movflags +faststart {output}",
            "cat": f"exec cat {video} {audio} > {output}",
            "dd": f"for file in {video} {audio}; do dd bs=256K status=none < $file; done > {output}",
        }
    if mode == "encode":
        return {
            "kxrtc encode": f"{ours} --no-hardware --preset {preset} --no-sync",
            "ffmpeg encode": f"{inputs} -c:a copy -bsf:a aac_adtstoasc -vf "
                             f"scale=1280:720:flags=bicubic -r 24 -c:v libx264 -preset {preset} "
                             f"-b:v 1200k -maxrate 2400k -bufsize 4800k -g 96 "
                             f"-movflags +faststart {output}",
        }
    if mode == "sound":
        return {
            "kxrtc copy": f"{ours} --video copy --no-sync",
            "kxrtc copy, sound checked": f"{ours} --video copy --no-sync --check-sound",
            "kxrtc verify --quick": f"exec {kxrtc} verify --quick {record} > {output}",
            "kxrtc verify": f"exec {kxrtc} verify {record} > {output}",
        }
    if mode == "verify":
        return {
            "cat": f"cat {record}/{speaker_record.FILES['index']} {video} {audio} > /dev/null && "
                   f"> {output}",
            "kxrtc verify --quick": f"exec {kxrtc} verify --quick {record} > {output}",
            "kxrtc verify": f"exec {kxrtc} verify {record} > {output}",
            "kxrtc report": f"exec {kxrtc} report {record} {output}",
        }
    return {
        "kxrtc copy": f"{ours} --video copy --no-sync",
        "kxrtc encode": f"{ours} --no-hardware --preset ultrafast --no-sync",
    }


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("mode", choices=["copy", "encode", "sound", "verify", "memory"])
    parser.add_argument("kxrtc")
    parser.add_argument("record")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--preset", default="veryfast")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        output = f"{folder}/out.mp4"
        table = commands(options.mode, options.kxrtc, options.record, output, options.preset)
        results = {name: [] for name in table}
        for run in range(options.runs + 1):
            for name, command in table.items():
                result = timed(command, output)
                if run > 0:  # The first one warms the cache.
                    results[name].append(result)
    print(f"{'':28} {'wall s':>8} {'cpu s':>8} {'RSS MB':>8} {'file MB':>8}")
    for name, runs in results.items():
        wall, cpu, memory, size = (statistics.median(column) for column in zip(*runs))
        print(f"{name:28} {wall:8.3f} {cpu:8.3f} {memory:8.1f} {size / 1e6:8.1f}")


if __name__ == "__main__":
    main()
