#!/usr/bin/env python3
"""Makes the MP4s of an archive in a Slurm cluster while jobs, node and front are disturbed.

usage: batch_slurm_test.py KXRTC

Starts a cluster of its own (cluster.sh). After each case every MP4 is what kxrtc transcode makes of the
record, copied ones byte for byte, the manifest tells of each once, and no other file is left below
OUT_DIR. Ends with status 77 and the reason where there can be no cluster.
"""

import collections
import contextlib
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

HERE = Path(__file__).resolve().parent
CLUSTER = HERE / "cluster.sh"
sys.path.insert(0, str(HERE.parent / "reliability"))
from hostile_records import Record  # noqa: E402
from media import make_media, must_run, run, speaker_record  # noqa: E402

LIMIT_S = 60
ARRAY_TASKS = 5
# What a run leaves below OUT_DIR beside the MP4s.
KEPT = {"manifest.ndjson", ".kxrtc-batch/lock", ".kxrtc-batch/options"}
COPY = ("--video", "copy", "--no-sync")
# A long one takes seconds.
ENCODE = ("--preset", "veryfast", "--no-hardware", "--no-sync")
LONG_SESSIONS, SHORT_SESSIONS = 12, 1
LONGEST = "day 0/talk-0.mp4"


def wait_for(what, condition):
    end = time.monotonic() + LIMIT_S
    while not (result := condition()):
        if time.monotonic() > end:
            sys.exit(f"waited {LIMIT_S} s for {what}\n{run('squeue').stdout}")
        time.sleep(0.02)
    return result


def names_of_runs(out):
    """How the cluster names the arrays of the runs that work on OUT_DIR."""
    return [f"kxrtc-batch-{folder.name[4:]}" for folder in (out / ".kxrtc-batch").glob("run-*")]


def queue(names, *options):
    return run("squeue", "--noheader", f"--name={','.join(names)}", *options).stdout if names else ""


def running_tasks(out):
    return queue(names_of_runs(out), "--array", "--states=running", "--format=%i").split()


def encoders(out):
    """Process ids of what encodes the longest record into OUT_DIR."""
    found = []
    for folder in Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            words = (folder / "cmdline").read_bytes().split(b"\0")
            if b"--if-needed" in words and bytes(out / LONGEST) in words:
                found.append(int(folder.name))
    return found


def content(mp4):
    """What two encodings of a record have in common: all bytes of the sound and all times."""
    return (must_run("ffmpeg", "-v", "error", "-i", mp4, "-map", "0:a", "-c", "copy", "-f", "md5", "-"),
            must_run("ffprobe", "-v", "error", "-show_entries", "packet=stream_index,pts", "-of", "csv",
                     mp4))


class Archive:
    """Records, and the MP4s that a run over them must make."""

    def __init__(self, kxrtc, folder, sessions, options):
        self.kxrtc, self.options = kxrtc, options
        self.content = Path.read_bytes if options == COPY else content
        self.records = folder / "records"
        self.records.mkdir(parents=True)
        video, audio = make_media(folder)
        video = speaker_record.access_units(video.read_bytes())
        audio = speaker_record.adts_frames(audio.read_bytes())
        self.expected, contents = {}, {}
        for number, count in enumerate(sessions):
            name = f"day {number % 3}/talk-{number}"
            record, mp4 = self.records / name, folder / "serial.mp4"
            record.parent.mkdir(exist_ok=True)
            Record(video, audio, count).write(record)
            if count not in contents:
                must_run(kxrtc, "transcode", record, mp4, "--quiet", "--force", *options)
                contents[count] = self.content(mp4)
            self.expected[name + ".mp4"] = contents[count]

    def start(self, out, *options):
        return subprocess.Popen(
            [f"{self.kxrtc}-batch", self.records, out, "--engine", "slurm", *options, "--", *self.options],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def complaints(self, out, made=None):
        """What is wrong with OUT_DIR; `made`: how many MP4s there are, if not all."""
        found = {str(path.relative_to(out)): path for path in sorted(out.rglob("*")) if path.is_file()}
        mp4s = {name: path for name, path in found.items() if name in self.expected}
        if extra := found.keys() - mp4s.keys() - KEPT:
            yield f"left {sorted(extra)}"
        if len(mp4s) != (len(self.expected) if made is None else made):
            yield f"{len(mp4s)} MP4s: {sorted(mp4s)}"
        for name, path in mp4s.items():
            if self.content(path) != self.expected[name]:
                yield f"{name} is not what kxrtc transcode makes"
        lines = [json.loads(line) for line in (out / "manifest.ndjson").read_text().splitlines()]
        told = collections.Counter(line["output"] for line in lines if line["outcome"] == "made")
        if told != collections.Counter(mp4s.keys()):
            yield f"the manifest tells of {dict(told)}"


def finish(process, status=0):
    """Yields what is wrong with its end."""
    try:
        output, _ = process.communicate(timeout=LIMIT_S)
    except subprocess.TimeoutExpired:
        process.kill()
        sys.exit(f"did not end\n{run('squeue').stdout}\n{process.communicate()[0]}")
    if process.returncode != status:
        yield f"status {process.returncode}\n{output}"


def arrays_under_a_throttle(short, _, out):
    process, most = short.start(out, "--jobs", "2"), 0
    while process.poll() is None:
        most = max(most, len(running_tasks(out)))
    yield from finish(process)
    yield from short.complaints(out)
    if not 1 <= most <= 2:
        yield f"{most} tasks at the same time"
    arrays = set(re.findall(r"ArrayJobId=(\d+)", must_run("scontrol", "show", "job")))
    wanted = -(-len(short.expected) // ARRAY_TASKS)
    if len(arrays) != wanted:
        yield f"{len(arrays)} arrays instead of {wanted}"
    yield from nothing_to_do(short, out)


def nothing_to_do(archive, out):
    before = must_run("scontrol", "show", "job")
    yield from finish(archive.start(out))
    if must_run("scontrol", "show", "job").count("JobId=") != before.count("JobId="):
        yield "a second run submitted jobs"


def dry_run(short, _, out):
    process = short.start(out, "--dry-run", "--jobs", "3")
    output, _ = process.communicate(timeout=LIMIT_S)
    if process.returncode != 0 or not re.search(rf"^#SBATCH --array=1-{ARRAY_TASKS}%3$", output, re.M):
        yield f"status {process.returncode}\n{output}"
    if left := [path for path in out.rglob("*") if path.is_file()] if out.exists() else []:
        yield f"left {left}"


def requeue(_, long, out):
    process = long.start(out)
    wait_for("an encoder", lambda: encoders(out))
    task = next(task for task in running_tasks(out) if task.endswith("_1"))  # The most expensive.
    must_run("scontrol", "requeue", task)
    yield from finish(process)
    yield from long.complaints(out)
    if "Restarts=1" not in must_run("scontrol", "show", "job"):
        yield "no task was started again"


def killed_job(_, long, out):
    process = long.start(out)
    os.kill(wait_for("an encoder", lambda: encoders(out))[0], signal.SIGKILL)
    yield from finish(process)
    yield from long.complaints(out)


def two_runs_at_once(_, long, out):
    processes = [long.start(out), long.start(out)]
    for process in processes:
        yield from finish(process)
    yield from long.complaints(out)


def killed_front(_, long, out):
    """Its jobs go on, and the next run goes on beside them."""
    process = long.start(out)
    wait_for("an encoder", lambda: encoders(out))
    names = names_of_runs(out)
    process.kill()
    process.communicate()
    yield from finish(long.start(out))
    wait_for("the end of the first array", lambda: not queue(names))
    yield from long.complaints(out)


def drained_node(short, _, out):
    """The run says why nothing goes on, and goes on when it can."""
    must_run("scontrol", "update", "nodename=node", "state=drain", "reason=test")
    process = short.start(out)
    line = process.stdout.readline()
    must_run("scontrol", "update", "nodename=node", "state=resume")
    if "jobs wait in the cluster: " not in line:
        yield f"said: {line}"
    yield from finish(process)
    yield from short.complaints(out)


def killed_node_daemon(_, long, out):
    process = long.start(out)
    wait_for("an encoder", lambda: encoders(out))
    daemon = int(Path(os.environ["CLUSTER_FOLDER"], "slurmd.pid").read_text())
    os.kill(daemon, signal.SIGKILL)
    must_run(CLUSTER, "--node")
    yield from finish(process)
    yield from long.complaints(out)


def stopped_front(_, long, out):
    process = long.start(out)
    wait_for("an encoder", lambda: encoders(out))
    names = names_of_runs(out)
    process.terminate()
    yield from finish(process, 128 + signal.SIGTERM)
    if tasks := queue(names):
        yield f"left in the queue:\n{tasks}"
    yield from long.complaints(out, made=0)
    yield from finish(long.start(out))
    yield from long.complaints(out)


# Those that look at all jobs of the cluster, or stop it.
ALONE = (dry_run, arrays_under_a_throttle, drained_node, killed_node_daemon)
TOGETHER = (requeue, killed_job, stopped_front, killed_front, two_runs_at_once)


def main():
    if "CLUSTER_FOLDER" not in os.environ:
        os.environ["CLUSTER_MAX_ARRAY_SIZE"] = str(ARRAY_TASKS + 1)
        os.environ["CLUSTER_CPUS"] = "16"
        os.execv(CLUSTER, [CLUSTER, sys.executable, *sys.argv])
    with tempfile.TemporaryDirectory(dir=os.environ["CLUSTER_FOLDER"]) as folder:
        kxrtc, folder = Path(sys.argv[1]).resolve(), Path(folder)
        short = Archive(kxrtc, folder / "short", [SHORT_SESSIONS] * 12, COPY)
        long = Archive(kxrtc, folder / "long", [LONG_SESSIONS, SHORT_SESSIONS, SHORT_SESSIONS], ENCODE)

        def try_case(case):
            begin = time.monotonic()
            complaints = list(case(short, long, folder / case.__name__))
            print(f"{case.__name__}: {time.monotonic() - begin:.1f} s", *complaints, sep="\n  ", flush=True)
            return len(complaints)

        failures = sum(map(try_case, ALONE))
        with ThreadPoolExecutor(len(TOGETHER)) as threads:
            failures += sum(threads.map(try_case, TOGETHER))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
