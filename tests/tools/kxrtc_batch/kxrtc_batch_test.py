#!/usr/bin/env python3
"""kxrtc-batch as its user sees it.

usage: kxrtc_batch_test.py KXRTC_BATCH [TEST...]
"""

import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "reliability"))
import batch  # noqa: E402  Needs the path above.

RECORDS = 6
COPY = ("--", "--video", "copy", "--no-sync")
STOPPED = 143


class KxrtcBatchTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sample = tempfile.TemporaryDirectory()
        batch.make_archive(Path(cls.sample.name) / "records", RECORDS, random.Random(1))

    @classmethod
    def tearDownClass(cls):
        cls.sample.cleanup()

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = Path(self.folder.name) / "records"
        self.out = Path(self.folder.name) / "films"
        shutil.copytree(Path(self.sample.name) / "records", self.root)

    def run_batch(self, *options, status=0):
        result = subprocess.run([KXRTC_BATCH, self.root, self.out, "--jobs", "2", *options],
                                stdin=subprocess.DEVNULL, capture_output=True, text=True)
        self.assertEqual(result.returncode, status, result.stdout + result.stderr)
        return result

    def outcomes(self):
        return sorted(line["outcome"] for line in batch.manifest_of(self.out))

    def mp4s(self):
        return {path: path.stat().st_mtime_ns for path in self.out.rglob("*.mp4")}

    def test_makes_what_is_due_and_only_that(self):
        first = self.run_batch("--repair", *COPY)
        self.assertRegex(first.stdout, r"^6 of 6 records done, in 0:\d\d:\d\d\n$")
        self.assertEqual(first.stderr, "")
        self.assertEqual(self.outcomes(), ["made"] * RECORDS)
        made = self.mp4s()
        self.assertEqual(len(made), RECORDS)
        self.assertEqual(self.run_batch("--repair", *COPY).stdout, "nothing is due\n")
        self.assertEqual(self.mp4s(), made)
        # Other options make other MP4s.
        self.run_batch("--repair", *COPY, "--check-sound")
        self.assertFalse(set(self.mp4s().items()) & set(made.items()))
        self.assertEqual(self.run_batch("--repair", *COPY, "--check-sound").stdout,
                         "nothing is due\n")

    def test_leaves_the_records_as_they_are(self):
        before = {name: (self.root / name).read_bytes() for name in batch.files_below(self.root)}
        self.run_batch("--repair", *COPY)
        after = {name: (self.root / name).read_bytes() for name in batch.files_below(self.root)}
        self.assertEqual(before, after)

    def test_takes_folders_of_any_name(self):
        for name in ("my films", "{} 'of' $(touch x){#}\n%", "-\\\"\xe9*"):
            folder = Path(self.folder.name) / name
            folder.mkdir()
            self.root, self.out = self.root.rename(folder / "records"), folder / "films"
            self.assertIn("6 of 6 records done", self.run_batch("--repair", *COPY).stdout)
            self.assertEqual(len(self.mp4s()), RECORDS)

    def test_a_full_disk_is_not_tried_with_every_record(self):
        program = Path(self.folder.name) / "tool" / KXRTC_BATCH.name
        shutil.copytree(KXRTC_BATCH.parent.parent / "lib", program.parent.parent / "lib",
                        ignore=shutil.ignore_patterns("*.so"))
        program.parent.mkdir()
        shutil.copy(KXRTC_BATCH, program)
        tries = Path(self.folder.name) / "tries"
        kxrtc = program.with_name("kxrtc")
        kxrtc.write_text(f"""#!/bin/sh
case "$*" in *--if-needed*)
  echo >> '{tries}'
  echo "cannot write: No space left on device"
  exit 4 ;;
esac
exec '{KXRTC_BATCH.with_name("kxrtc")}' "$@"
""")
        kxrtc.chmod(0o755)
        process = batch.start(program, self.root, self.out, "--jobs", "2", "--repair", *COPY)
        said = ""
        while "the disk of" not in said:
            line = process.stdout.readline()
            self.assertTrue(line, said)
            said += line
        process.terminate()
        process.communicate()
        self.assertIn(len(tries.read_text()), (1, 2), said)
        # With room again all go on.
        self.assertIn("6 of 6 records done", self.run_batch("--repair", *COPY).stdout)

    def test_tells_what_failed_and_goes_on(self):
        result = self.run_batch(*COPY, status=1)  # One record lacks its descriptor.
        self.assertIn("5 of 6 records done, 1 failed, in ", result.stdout)
        self.assertIn("SpeakeRecord.desc", result.stderr)
        self.assertIn("manifest.ndjson tells why\n", result.stderr)
        self.assertEqual(self.outcomes(), ["failed"] + ["made"] * 5)
        self.run_batch(*COPY, "--check-sound", status=1)
        # With these options, only what failed is due.
        self.assertIn("0 of 1 records", self.run_batch(*COPY, "--check-sound", status=1).stdout)
        self.run_batch("--repair", *COPY)
        self.assertEqual(self.outcomes(), ["failed"] * 3 + ["made"] * (5 + 5 + 6))

    def test_a_command_that_failed_is_run_again_alone(self):
        self.run_batch("--repair", "--on-done", "exit 7", *COPY, status=14)
        self.assertEqual(self.outcomes(), ["hook_failed"] * RECORDS)
        made = self.mp4s()
        told = self.out / "told"
        self.run_batch("--repair", "--on-done", f'echo "$KXRTC_OUTCOME" >> {told}', *COPY)
        self.assertEqual(told.read_text(), "found\n" * RECORDS)
        self.assertEqual(self.mp4s(), made)
        self.assertEqual(self.run_batch("--on-done", "exit 7", "--repair", *COPY).stdout,
                         "nothing is due\n")

    def test_a_command_may_leave_something_running(self):
        begin = time.monotonic()
        self.run_batch("--repair", "--on-done", "sleep 60 & echo $! >> " + str(self.root / "left"), *COPY)
        self.assertLess(time.monotonic() - begin, 60)
        batch.kill_all(map(int, (self.root / "left").read_text().split()))

    def test_the_status_is_that_of_the_records_where_nobody_reads(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            result = subprocess.run([KXRTC_BATCH, self.root, self.out, "--repair", *COPY], stdout=full,
                                    check=False)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(self.run_batch("--repair", *COPY).stdout, "nothing is due\n")

    def test_refuses_a_manifest_that_it_cannot_read(self):
        (self.out / "manifest.ndjson").mkdir(parents=True)
        result = self.run_batch("--repair", *COPY, status=5)
        self.assertIn("manifest.ndjson is no file that can be read", result.stderr)
        self.assertEqual(result.stdout, "")

    def test_a_dry_run_leaves_nothing(self):
        result = self.run_batch("--dry-run", *COPY)
        self.assertRegex(result.stdout, r"^6 records are due\nparallel ")
        self.assertFalse(self.out.exists())

    def test_a_signal_stops_all_and_the_next_run_goes_on(self):
        process = batch.start(KXRTC_BATCH, self.root, self.out, "--jobs", "2", "--repair", "--on-done",
                              "sleep 30", *COPY)
        end = time.monotonic() + batch.DEADLINE_S
        while not self.mp4s():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)
        other = self.run_batch(*COPY, status=75)
        self.assertIn("another run works on", other.stderr)
        process.terminate()
        output = process.communicate()[0]
        self.assertEqual(process.returncode, STOPPED)
        self.assertIn("stopped after 0 of 6; the same command goes on", output)
        self.assertFalse(batch.processes_of(process.pid))
        self.assertEqual({name for name in batch.files_below(self.out) if not name.endswith(".mp4")},
                         batch.KEPT)
        self.assertIn("6 of 6 records done", self.run_batch("--repair", *COPY).stdout)

    def test_a_signal_leaves_no_process_that_waits_for_the_cluster(self):
        cluster, submitted = Path(self.folder.name) / "cluster", Path(self.folder.name) / "submitted"
        cluster.mkdir()
        for name, does in (("sbatch", f"touch {submitted}; echo 1"), ("scancel", f"rm {submitted}"),
                           ("scontrol", "echo MaxArraySize = 9"),
                           ("squeue", f"[ ! -e {submitted} ] || echo RUNNING None")):
            (cluster / name).write_text(f"#!/bin/sh\n{does}\n")
            (cluster / name).chmod(0o755)
        process = batch.start("env", f"PATH={cluster}:{os.environ['PATH']}", KXRTC_BATCH, self.root,
                              self.out, "--engine", "slurm", *COPY)
        end = time.monotonic() + batch.DEADLINE_S
        while not any(words[0] == b"sleep" for words in batch.processes_of(process.pid).values()
                      if submitted.exists()):
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)
        process.terminate()
        process.wait()
        self.assertFalse(batch.processes_of(process.pid))
        self.assertEqual(process.returncode, STOPPED)
        process.stdout.close()

    def test_stops_an_engine_that_misses_the_first_signals(self):
        started = Path(self.folder.name) / "started"
        engine = Path(self.folder.name) / "bin" / "parallel"
        engine.parent.mkdir()
        engine.write_text("#!/bin/bash\nsignals=0\ntrap '[ $((++signals)) -lt 3 ] || exit 1' TERM\n"
                          f"touch '{started}'\nwhile :; do sleep 0.05; done\n")
        engine.chmod(0o755)
        process = batch.start("env", f"PATH={engine.parent}:{os.environ['PATH']}", KXRTC_BATCH,
                              self.root, self.out, *COPY)
        end = time.monotonic() + batch.DEADLINE_S
        while not started.exists():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)
        process.terminate()
        output = process.communicate(timeout=batch.DEADLINE_S)[0]
        self.assertEqual(process.returncode, STOPPED, output)
        self.assertFalse(batch.processes_of(process.pid))

    def test_writes_metrics(self):
        metrics = Path(self.folder.name) / "kxrtc.prom"
        self.run_batch("--metrics", metrics, *COPY, status=1)
        text = metrics.read_text()
        for state, count in (("done", 5), ("failed", 1), ("hook_failed", 0), ("pending", 0),
                             ("empty", 1)):
            self.assertRegex(text, rf'kxrtc_batch_records{{archive="[^"]+",state="{state}"}} {count}\n')
        for line in text.splitlines():
            self.assertRegex(line, r'^(# (HELP|TYPE) kxrtc_batch_\w+ .+|kxrtc_batch_\w+{.*} \d+)$')
        self.assertEqual(re.findall(r"^# TYPE (\w+)", text, re.MULTILINE),
                         re.findall(r"^# HELP (\w+)", text, re.MULTILINE))
        self.assertEqual([path.name for path in metrics.parent.glob("kxrtc.prom*")], [metrics.name])
        if shutil.which("promtool"):
            subprocess.run(["promtool", "check", "metrics"], input=text, text=True, check=True)

    def test_refuses_what_makes_no_sense(self):
        for options, why in (
                (("--engine", "make"), "it is parallel or slurm"),
                (("--jobs", "0"), "it is a number from 1 to 999999"),
                (("--jobs",), "--jobs needs a value"),
                (("--fast",), "unknown option --fast"),
                (("third",), "give two folders"),
                (("--engine", "slurm", "--sshlogin", "one"), "--sshlogin is for --engine parallel"),
                (("--", "--force"), "--force is not for many records at once"),
                (("--", "--captions=x.vtt"), "is not for many records at once"),
                (("--", "--repair"), "leave it out behind --"),
                (("--", "--preset", "quick"), "kxrtc transcode does not take these options"),
                (("--", "name"), "kxrtc transcode does not take these options")):
            self.assertIn(why, self.run_batch(*options, status=2).stderr)
        self.assertFalse(self.out.exists())
        shutil.rmtree(self.root)
        self.assertIn("is no folder", self.run_batch(status=3).stderr)

    def test_says_what_it_is(self):
        for option, begin in (("--help", "Make an MP4 of each record"), ("--version", "kxrtc 0.")):
            result = subprocess.run([KXRTC_BATCH, option], capture_output=True, text=True)
            self.assertEqual(result.returncode, 0)
            self.assertTrue(result.stdout.startswith(begin), result.stdout)


if __name__ == "__main__":
    KXRTC_BATCH = Path(sys.argv.pop(1)).resolve()
    unittest.main()
