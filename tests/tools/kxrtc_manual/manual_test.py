#!/usr/bin/env python3
"""Checks that the man pages, the completions and docs/ tell of every option that kxrtc has, and that
mandoc and man accept the pages.

usage: manual_test.py KXRTC MANUAL_FOLDER DOCS_FOLDER
"""

import gzip
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import kxrtc_help

KXRTC, MANUAL, DOCS = sys.argv.pop(1), Path(sys.argv.pop(1)), Path(sys.argv.pop(1))
PAGES = MANUAL / "man" / "man1"
SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"]


def page_of(command):
    return gzip.decompress((PAGES / f"kxrtc-{command}.1.gz").read_bytes()).decode("ascii")


class ManualTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.options = {command: kxrtc_help.options(KXRTC, command) for command in kxrtc_help.subcommands(KXRTC)}

    def test_there_is_a_page_for_each_subcommand_and_no_other(self):
        self.assertIn("transcode", self.options)
        self.assertEqual({page.name for page in PAGES.iterdir()},
                         {"kxrtc.1.gz", "kxrtc-batch.1.gz"} | {f"kxrtc-{command}.1.gz" for command in self.options})

    def test_each_page_has_the_options_and_sections_of_its_subcommand(self):
        for command, options in self.options.items():
            with self.subTest(command):
                page = page_of(command)
                shown = set(re.findall(r"\\fB(-[^\s\\]*)\\fR", page.replace("\\-", "-")))
                self.assertEqual(shown, options | {"-V", "--version", "--log-file", "--log-level"})
                sections = re.findall(r"^\.SH (.*)$", page, re.MULTILINE)
                self.assertEqual([name for name in SECTIONS if name in sections], sections)
                self.assertLessEqual(set(SECTIONS) - set(sections), {"EXAMPLES"})

    def test_the_page_of_the_program_has_every_exit_status(self):
        page = gzip.decompress((PAGES / "kxrtc.1.gz").read_bytes()).decode("ascii")
        for status in ("0", "1", "13", "75", "141"):
            self.assertRegex(page, rf"\\fB(\d+, )?{status}\\fR\n\w")
        self.assertNotIn("`", page)

    def test_each_completion_has_every_option(self):
        scripts = [MANUAL / "bash-completion/completions/kxrtc", MANUAL / "fish/vendor_completions.d/kxrtc.fish",
                   MANUAL / "zsh/vendor-completions/_kxrtc"]
        for script in scripts:
            text = script.read_text()
            for command, options in self.options.items():
                self.assertRegex(text, rf"\b{command}\b")
                for option in options:
                    name = option.lstrip("-")
                    self.assertRegex(text, rf"(--?|-[ls] ){name}\b", f"{script.name}: {command}")

    def test_a_page_of_the_documents_tells_of_every_option(self):
        for_all = (DOCS / "tool.md").read_text().split("## With every subcommand\n")[1].split("\n## ")[0]
        pages = [page.read_text() for page in DOCS.glob("*.md")]
        for command, options in self.options.items():
            of_command = for_all + "".join(page for page in pages if f"kxrtc {command}" in page)
            missing = [option for option in options
                       if not re.search(rf"(?<![\w-]){option}(?![\w-])", of_command)]
            self.assertEqual(missing, [], command)

    @unittest.skipIf(shutil.which("mandoc") is None, "there is no mandoc")
    def test_mandoc_has_nothing_to_say(self):
        for page in PAGES.iterdir():
            with tempfile.NamedTemporaryFile() as plain:
                plain.write(gzip.decompress(page.read_bytes()))
                plain.flush()
                result = subprocess.run(["mandoc", "-T", "lint", plain.name], stdout=subprocess.PIPE, text=True,
                                        check=False)
                # It finds the other pages only where they are installed.
                told = [line for line in result.stdout.splitlines() if "referenced manual not found" not in line]
                self.assertEqual(told, [], page.name)

    @unittest.skipIf(shutil.which("man") is None, "there is no man")
    def test_man_shows_each_page_without_a_warning(self):
        for page in PAGES.iterdir():
            result = subprocess.run(["man", "--warnings", "--local-file", str(page)], check=True, text=True,
                                    stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                    env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "MANWIDTH": "80"})
            self.assertEqual(result.stderr, "", page.name)
            self.assertIn("SYNOPSIS", result.stdout)


if __name__ == "__main__":
    unittest.main()
