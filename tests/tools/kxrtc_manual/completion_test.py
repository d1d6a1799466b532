#!/usr/bin/env python3
"""Completes command lines of kxrtc in a real shell. Ends with status 77 where the shell is missing.

usage: completion_test.py SHELL KXRTC MANUAL_FOLDER
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import kxrtc_help

SHELL, KXRTC, MANUAL = sys.argv.pop(1), sys.argv.pop(1), Path(sys.argv.pop(1)).resolve()
HERE = Path(__file__).parent.resolve()
SKIPPED = 77
NEEDED = {"bash": Path("/usr/share/bash-completion/bash_completion"), "fish": None, "zsh": None}
COMMON = {"--version", "--log-file", "--log-level"}


def command_for(words):
    if SHELL == "bash":
        return ["bash", "--norc", HERE / "complete.bash", MANUAL / "bash-completion/completions/kxrtc", *words]
    if SHELL == "zsh":
        return ["zsh", "-f", HERE / "complete.zsh", MANUAL / "zsh/vendor-completions", " ".join(words)]
    script = MANUAL / "fish/vendor_completions.d/kxrtc.fish"
    return ["fish", "--no-config", "-c", 'source $argv[1]; complete --do-complete "$argv[2]"', script,
            " ".join(words)]


def offers(*words):
    """What the shell offers for the last word, without descriptions."""
    env = {"PATH": "/usr/bin:/bin", "HOME": os.getcwd(), "TERM": "dumb", "LC_ALL": "C.UTF-8"}
    result = subprocess.run([str(part) for part in command_for(["kxrtc", *words])], stdout=subprocess.PIPE,
                            text=True, env=env, stdin=subprocess.DEVNULL, timeout=60, check=False)
    found = {line.split("\t")[0] for line in result.stdout.splitlines()}
    # fish tells the whole word; of a value after "=" only the value counts here.
    return {one.split("=", 1)[1] if "=" in one else one for one in found if one}


class CompletionTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        os.chdir(cls.folder.name)
        os.mkdir("records")
        Path("scenario.json").touch()

    @classmethod
    def tearDownClass(cls):
        os.chdir("/")
        cls.folder.cleanup()

    def test_offers_every_subcommand(self):
        self.assertEqual(offers(""), set(kxrtc_help.subcommands(KXRTC)))
        self.assertEqual(offers("tr"), {"transcode"})
        self.assertEqual(offers("nothing"), set())

    def test_offers_every_option_of_each_subcommand(self):
        for command in kxrtc_help.subcommands(KXRTC):
            with self.subTest(command):
                long_options = {name for name in kxrtc_help.options(KXRTC, command) if name.startswith("--")}
                offered = {name.rstrip("=") for name in offers(command, "--")}
                self.assertLessEqual(long_options, offered)
                self.assertLessEqual(offered, long_options | COMMON)

    def test_offers_the_values_of_an_option(self):
        self.assertEqual(offers("transcode", "--still-share", ""), {"icon", "picture"})
        self.assertEqual(offers("transcode", "--video=c"), {"copy"})
        self.assertEqual(offers("repair", "--channels", ""), {"1", "2", "3", "4", "5", "6", "8"})
        self.assertEqual(offers("info", "--log-level", "w"), {"warning"})
        self.assertEqual(offers("dump", "--from", ""), set())
        self.assertIn("verify", offers("help", ""))

    def test_offers_files_and_folders_where_they_belong(self):
        for words in (("info", ""), ("transcode", "--video", "copy", ""), ("list", "records", "--out", ""),
                      ("--log-level", "info", "verify", "--quick", "")):
            self.assertEqual({name.rstrip("/") for name in offers(*words)}, {"records"}, words)
        self.assertIn("scenario.json", offers("record", "sc"))
        self.assertIn("scenario.json", offers("transcode", "records", "sc"))
        self.assertIn("scenario.json", offers("info", "--log-file", "sc"))
        self.assertEqual(offers("version", "sc"), set())


if __name__ == "__main__":
    if shutil.which(SHELL) is None or not (NEEDED[SHELL] or HERE).exists():
        print(f"SKIPPED: {SHELL} or its completion is not installed; scripts/setup.sh checks installs it")
        sys.exit(SKIPPED)
    unittest.main()
