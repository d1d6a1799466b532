#!/usr/bin/env python3
"""kxrtc-batch with jobs on machines that ssh reaches, which are this one under other names.

usage: batch_ssh_test.py KXRTC_BATCH

ssh starts a server for each connection, and nothing listens to a network. Ends with status 77 and the
reason where there can be no server.
"""

import os
import random
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
COPY = ("--repair", "--", "--video", "copy", "--no-sync")
STOPPED = 143
# A server of root wants this empty folder. Debian makes it where it starts the server itself.
SERVER_FOLDER = Path("/run/sshd")


def skip(why):
    print(f"skipped: {why}", file=sys.stderr)
    sys.exit(77)


def ssh_command(folder):
    """ssh that knows the machines "one" and "two", each of which tells its name to the jobs."""
    server = shutil.which("sshd", path=os.environ["PATH"] + ":/usr/sbin")
    if not server or not shutil.which("ssh-keygen"):
        skip("no sshd: install it with scripts/setup.sh ssh")
    if os.geteuid() == 0:
        SERVER_FOLDER.mkdir(mode=0o755, exist_ok=True)
    for key in ("host", "user"):
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / key], check=True)
    (folder / "sshd_config").write_text(
        f"HostKey {folder}/host\nAuthorizedKeysFile {folder}/user.pub\n"
        "StrictModes no\nUsePAM no\nPidFile none\nAcceptEnv MACHINE\n")
    machines = "".join(
        f"Host {name}\n  SetEnv MACHINE={name}\n"
        f"  ProxyCommand {server} -i -f {folder}/sshd_config\n" for name in ("one", "two"))
    (folder / "config").write_text(
        f"{machines}Host *\n  IdentityFile {folder}/user\n  IdentitiesOnly yes\n  BatchMode yes\n"
        "  StrictHostKeyChecking no\n  UserKnownHostsFile /dev/null\n  LogLevel ERROR\n"
        "  ProxyCommand false\n")
    command = f"ssh -F {folder}/config"
    trial = subprocess.run([*command.split(), "one", "true"], stdin=subprocess.DEVNULL,
                           capture_output=True, text=True)
    if trial.returncode != 0:
        skip(f"no login: {trial.stderr.strip()}")
    return command


class BatchSshTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sample = tempfile.TemporaryDirectory()
        cls.root = Path(cls.sample.name) / "records"
        batch.make_archive(cls.root, RECORDS, random.Random(1))

    @classmethod
    def tearDownClass(cls):
        cls.sample.cleanup()

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.out = Path(self.folder.name) / "my\nfilms"

    def run_batch(self, *options, out=None):
        result = subprocess.run([KXRTC_BATCH, self.root, out or self.out, *options, *COPY],
                                stdin=subprocess.DEVNULL, capture_output=True, text=True)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertIn("6 of 6 records done", result.stdout)
        return result

    def test_makes_the_same_as_this_machine(self):
        told = Path(self.folder.name) / "told"
        self.run_batch("--jobs", "1", "--sshlogin", "one,1/two", "--on-done",
                       f"echo $MACHINE >> {told}; sleep 0.1")
        machines = told.read_text().split()
        self.assertEqual((set(machines), len(machines)), ({"one", "two"}, RECORDS))
        reference = Path(self.folder.name) / "reference"
        self.run_batch("--jobs", "2", out=reference)
        for name in batch.KEPT:
            (reference / name).unlink()
        self.assertEqual(list(batch.problems_of(self.out, reference)), [])

    def test_a_machine_that_does_not_answer_takes_no_jobs(self):
        result = self.run_batch("--jobs", "2", "--sshlogin", "away,one")
        self.assertIn("away takes no jobs: it does not answer, or has no ", result.stderr)
        self.assertNotIn(": one takes no jobs", result.stderr)

    def test_a_signal_stops_the_jobs_of_all_machines(self):
        process = batch.start(KXRTC_BATCH, self.root, self.out, "--jobs", "1", "--sshlogin", "one,two",
                              "--on-done", "sleep 30", *COPY)
        end = time.monotonic() + batch.DEADLINE_S
        while len(list(self.out.rglob("*.mp4"))) < 2:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)
        process.terminate()
        process.communicate()
        self.assertEqual(process.returncode, STOPPED)
        while left := [name for name in batch.files_below(self.out) - batch.KEPT
                       if not name.endswith(".mp4")]:
            self.assertLess(time.monotonic(), end, left)
            time.sleep(0.01)
        self.run_batch("--jobs", "2")


if __name__ == "__main__":
    KXRTC_BATCH = str(Path(sys.argv.pop(1)).resolve())
    with tempfile.TemporaryDirectory() as ssh_folder:
        os.environ["PARALLEL_SSH"] = ssh_command(Path(ssh_folder))
        unittest.main()
