#!/usr/bin/env python3
"""Kills kxrtc-batch and its jobs at random instants, runs it again until all is done, and compares
that with a serial run.

usage: batch_kills.py KXRTC_BATCH [--records N] [--kills N] [--seed N]

A kill hits the script, one or all jobs, or everything. Afterwards each MP4 is, byte for byte, that of
a serial run, nothing else is left, the manifest tells once of each MP4, and the command of --on-done
ran for each. Two runs at the same time do no work twice. Prints one line of figures.
"""

import argparse
import json
import random
import shutil
import sys
import tempfile
import time
from collections import Counter
from pathlib import Path

from batch import kill_all, make_archive, problems_of, processes_of, start, wait_until_gone
from media import must_run, run

KINDS = ("script", "job", "jobs", "everything")
JOBS = "2"
OPTIONS = ("--repair", "--", "--video", "copy", "--no-sync")


class Proof:
    def __init__(self, options, folder):
        self.kxrtc_batch = Path(options.kxrtc_batch).resolve()
        self.kxrtc = self.kxrtc_batch.with_name("kxrtc")
        self.generator = random.Random(options.seed)
        self.root, self.reference = folder / "records", folder / "reference"
        self.out, self.hooked = folder / "out", folder / "hooked"
        self.sessions, self.kills, self.runs, self.passes = [], Counter(), 0, 0
        self.longest_s = 0.5
        make_archive(self.root, options.records, self.generator)

    def transcode_one_by_one(self):
        listed = must_run(self.kxrtc, "list", self.root, "--out", self.reference, "--json")
        for record in map(json.loads, listed.splitlines()):
            if record["state"] == "empty":
                continue
            Path(record["output"]).parent.mkdir(parents=True, exist_ok=True)
            must_run(self.kxrtc, "transcode", "--quiet", "--accept-cut", "--repair", "--video", "copy",
                     "--no-sync", record["folder"], record["output"])

    def start(self):
        self.runs += 1
        process = start(self.kxrtc_batch, self.root, self.out, "--jobs", JOBS, "--on-done",
                        f'printf "%s\\0" "$KXRTC_OUTPUT" >> {self.hooked}', *OPTIONS)
        self.sessions.append(process.pid)
        return process

    def kill(self, process, kind):
        alive = processes_of(process.pid)
        jobs = [number for number, words in alive.items() if b"transcode" in words]
        if kind == "script":
            kill_all([process.pid])
        elif kind == "everything":
            kill_all(alive)
        elif jobs:
            kill_all(jobs if kind == "jobs" else [self.generator.choice(jobs)])
        else:
            return False
        self.kills[kind] += 1
        return True

    def run_with_a_kill(self):
        """True when the run ended before the kill, with everything done."""
        began, process = time.monotonic(), self.start()
        kind = self.generator.choice(KINDS)
        time.sleep(self.generator.uniform(0, self.longest_s))
        if process.poll() is None and self.kill(process, kind) and kind in ("job", "jobs"):
            # The run goes on with another try; it is not waited for every time.
            time.sleep(self.generator.uniform(0, self.longest_s / 2))
            if self.generator.random() < 0.5:
                self.kill(process, "everything")
        if process.returncode is None and kind not in ("job", "jobs"):
            kill_all(processes_of(process.pid) if kind == "everything" else [process.pid])
        output = process.communicate()[0]
        if process.returncode not in (0, -9):
            raise SystemExit(f"kxrtc-batch ended with {process.returncode}: {output}")
        if process.returncode == 0:
            self.longest_s = time.monotonic() - began
        return process.returncode == 0

    def check_pass(self):
        """The archive is done: compares, and begins again."""
        wait_until_gone(self.sessions)
        yield from problems_of(self.out, self.reference)
        hooked = Counter(self.hooked.read_bytes().split(b"\0")[:-1])
        for path in self.out.rglob("*.mp4"):
            if str(path).encode() not in hooked:
                yield f"no command ran for {path.name!r}"
        again = run(self.kxrtc_batch, self.root, self.out, "--repair", *OPTIONS[1:])
        if again.returncode != 0 or "nothing is due" not in again.stdout:
            yield f"it is not done: {again.stdout}{again.stderr}"
        self.passes += 1
        shutil.rmtree(self.out)
        self.hooked.unlink()
        self.sessions.clear()

    def check_two_at_once(self):
        runs = [self.start(), self.start()]
        for process in runs:
            output = process.communicate()[0]
            if process.returncode != 0:
                yield f"one of two runs ended with {process.returncode}: {output}"
        twice = [name for name, count in Counter(self.hooked.read_bytes().split(b"\0")[:-1]).items()
                 if count > 1]
        if twice:
            yield f"two runs did work twice: {twice}"
        yield from self.check_pass()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kxrtc_batch")
    parser.add_argument("--records", type=int, default=60)
    parser.add_argument("--kills", type=int, default=50)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    began, problems = time.monotonic(), []
    with tempfile.TemporaryDirectory() as folder:
        proof = Proof(options, Path(folder))
        proof.transcode_one_by_one()
        problems += proof.check_two_at_once()
        while not problems and sum(proof.kills.values()) < options.kills:
            if proof.run_with_a_kill():
                problems += proof.check_pass()
        if not problems and proof.out.exists():
            process = proof.start()
            output = process.communicate()[0]
            if process.returncode != 0:
                problems.append(f"the last run ended with {process.returncode}: {output}")
            problems += proof.check_pass()
    for problem in problems:
        print(problem)
    print(f"{options.records} records, seed {options.seed}: {dict(sorted(proof.kills.items()))} killed, "
          f"{proof.runs} runs, {proof.passes} times all done, {time.monotonic() - began:.0f} s")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
