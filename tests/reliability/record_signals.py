#!/usr/bin/env python3
"""Sends each signal that ends a program to kxrtc record, at random instants: the record gets its end.

usage: record_signals.py KXRTC RUNS [SEED]

RUNS is the number of recordings for each signal. A signal during the start may find nothing recorded
yet; the status then tells that. Later the status is 0, and an independent reader finds a record that
ends with its stop and a descriptor that agrees with it. The closed pipe of a reader counts as a signal.
"""

import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from media import make_media, read_record, speaker_record

LATEST_S = 1.2
OBEYED_WITHIN_S = 4  # Two, and as much again on a machine that does other work.
READER_GONE = 128 + signal.SIGPIPE
SIGNALS = [signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGUSR1,
           signal.SIGUSR2, signal.SIGALRM, signal.SIGVTALRM, signal.SIGPROF, signal.SIGXCPU,
           signal.SIGPOLL, signal.SIGPWR, signal.SIGRTMIN, signal.SIGRTMAX]


def check_finished(folder):
    record = read_record(f"{folder}/", with_frames=True)
    index = (folder / speaker_record.FILES["index"]).read_bytes()
    kinds = [kind for kind, _, _ in speaker_record.decode(index)]
    if record["problems"]:
        yield f"unreadable: {record['problems']}"
    if kinds.count(speaker_record.START) != 1 or kinds[-1] != speaker_record.STOP:
        yield f"no session with an end: {kinds}"
    names = sorted(path.name for path in folder.iterdir())
    if names != speaker_record.RECORDED:
        yield f"files: {names}"


def start(kxrtc, scenario, folder, *options, before=(), stdout=subprocess.PIPE):
    # A program that was started in the background ignores SIGINT, and so do its children.
    return subprocess.Popen([*before, kxrtc, "record", scenario, folder, "--json", *options],
                            stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE,
                            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))


def signal_at(kxrtc, scenario, folder, number, delay_s):
    """Sends the signal twice, as a terminal or timeout(1) may."""
    process = start(kxrtc, scenario, folder, stdout=subprocess.DEVNULL)
    time.sleep(delay_s)
    sent = time.monotonic()
    for _ in range(2):
        process.send_signal(number)
    try:
        _, errors = process.communicate(timeout=30)
    except subprocess.TimeoutExpired:
        process.kill()
        yield "does not stop"
        return
    if time.monotonic() - sent > OBEYED_WITHIN_S:
        yield f"stops after {time.monotonic() - sent:.1f} s"
    if process.returncode == 0:
        yield from check_finished(folder)
    elif process.returncode not in (-number, 128 + number) or folder.exists():
        yield f"status {process.returncode}: {errors.decode()}, files {list(folder.glob('*'))}"


def close_pipe(kxrtc, scenario, folder):
    process = start(kxrtc, scenario, folder)
    process.stdout.readline()
    process.stdout.close()
    _, errors = process.communicate(timeout=30)
    if process.returncode != READER_GONE or errors:
        yield f"status {process.returncode}: {errors.decode()}"
    yield from check_finished(folder)


def hang_up_what_ignores_it(kxrtc, scenario, folder):
    process = start(kxrtc, scenario, folder, "--duration", "2", before=["nohup"])
    process.stdout.readline()
    process.send_signal(signal.SIGHUP)
    output, _ = process.communicate(timeout=30)
    end = json.loads(output.splitlines()[-1])
    if process.returncode != 0 or end["time"] < 2:
        yield f"status {process.returncode}, {end}"
    yield from check_finished(folder)


def main(kxrtc, runs, seed=None):
    seed = int(seed) if seed else random.randrange(1 << 32)
    print(f"seed {seed}")
    randomly = random.Random(seed)
    with tempfile.TemporaryDirectory() as parent:
        video, audio = make_media(parent)
        scenario = Path(parent) / "scenario.json"
        scenario.write_text(json.dumps({"participants": [
            {"user_id": 1, "camera": {"source": str(video), "loop": True, "frame_rate": 24},
             "microphone": {"source": str(audio), "loop": True}}]}))
        jobs = {"closed pipe": close_pipe, "nohup": hang_up_what_ignores_it}
        for run in range(int(runs)):
            for number in SIGNALS:
                delay_s = randomly.uniform(0, LATEST_S)
                jobs[f"{number.name if hasattr(number, 'name') else number} run {run} after "
                     f"{delay_s:.3f} s"] = (
                    lambda *arguments, number=number, delay_s=delay_s:
                    signal_at(*arguments, number, delay_s))
        with ThreadPoolExecutor(os.cpu_count() * 2) as pool:
            results = {name: pool.submit(lambda job=job, place=place: list(
                job(kxrtc, scenario, Path(parent) / f"record{place}")))
                for place, (name, job) in enumerate(jobs.items())}
            failures = [f"{name}: {failure}" for name, result in results.items()
                        for failure in result.result()]
    print("\n".join(failures) or f"{len(jobs)} recordings, all finished")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
