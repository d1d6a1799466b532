#!/usr/bin/env python3
"""Builds small trees, each with one breach, and expects exactly that one to be found."""

import subprocess
import tempfile
import unittest
from pathlib import Path

import check_tree

GOOD_HEADER = ("// Example.\n#ifndef KX_UTILITY_A_H_\n#define KX_UTILITY_A_H_\n"
               "#endif  // KX_UTILITY_A_H_\n")
GOOD = {
    "kx_utility/CMakeLists.txt": "kx_add_module(kx_utility SOURCES a.cc PUBLIC_HEADERS a.h)\n",
    "kx_utility/a.h": GOOD_HEADER,
    "kx_utility/a.cc": '#include "kx_utility/a.h"\n',
    "kxrtc/recording/CMakeLists.txt":
        "kx_add_module(kxrtc_recording SOURCES b.cc PRIVATE_HEADERS b.h)\n",
    "kxrtc/recording/b.h": GOOD_HEADER.replace("KX_UTILITY_A", "KXRTC_RECORDING_B"),
    "host/h.h": GOOD_HEADER.replace("KX_UTILITY_A", "HOST_H"),
    "host/p.h": GOOD_HEADER.replace("KX_UTILITY_A", "HOST_P"),
    "tools/t.cc": '#include "host/h.h"\n',
    "examples/e.cc": '#include "host/p.h"\n',
    "kxrtc/recording/b.cc": '#include "kxrtc/recording/b.h"\n#include "kx_utility/a.h"\n',
}


def check(changes):
    with tempfile.TemporaryDirectory() as folder:
        root = Path(folder)
        subprocess.run(["git", "init", "-q", folder], check=True)
        for name, text in {**GOOD, **changes}.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text)
        return check_tree.check_tree(root, ["kx_utility/a.h", "host/p.h"])


class CheckTreeTest(unittest.TestCase):
    def test_a_good_tree_has_no_breach(self):
        self.assertEqual(check({}), ([], []))

    def test_finds_one_breach_each(self):
        cases = {
            "upward include": ("kx_utility/a.cc", '#include "kxrtc/recording/b.h"\n',
                               "kx_utility includes kxrtc/recording/b.h above it or beside it"),
            "include from outside the library": (
                "kx_utility/a.cc", '#include "host/h.h"\n', "the library includes host/h.h from outside"),
            "include of a missing file": (
                "kx_utility/a.cc", '#include "host/i.h"\n', "includes host/i.h, which is not in"),
            "include of a house above": (
                "record/r.cc", '#include "host/h.h"\n',
                "record includes host/h.h, which lies in a house above it"),
            "FFmpeg below the host": (
                "record/r.cc", "#include <libavutil/log.h>\n", "FFmpeg belongs into host/"),
            "private header in a tool": (
                "tools/t.cc", '#include "kxrtc/recording/b.h"\n', "which is not public"),
            "internal header in an example": (
                "examples/e.cc", '#include "host/h.h"\n', "host/h.h, which is not installed"),
            "internal header in an installed one": (
                "host/p.h", GOOD["host/p.h"].replace("#endif", '#include "host/h.h"\n#endif'),
                "host/h.h, which is not installed"),
            "FFmpeg in an installed header": (
                "host/p.h", GOOD["host/p.h"].replace("#endif", "#include <libavutil/log.h>\n#endif"),
                "an installed header names FFmpeg"),
            "wrong guard": ("kx_utility/a.h", GOOD_HEADER.replace("_A_H_", "_Z_H_"),
                            "the include guard is not KX_UTILITY_A_H_"),
            "no comment on top": ("kx_utility/a.h", GOOD_HEADER.split("\n", 1)[1],
                                  "does not begin with a comment"),
            "data in a library folder": ("kx_utility/a.bin", "x\n", "hold sources only"),
            "program in a library folder": ("kx_utility/a.cc", "int main() {}\n",
                                            "no tests and no programs"),
            "unlisted source": ("kx_utility/CMakeLists.txt", "a.h\n",
                                "kx_utility/a.cc: in a library folder but in no CMakeLists.txt"),
            "forbidden word": ("docs/x.md", "see our spe" + "c\n", "docs/x.md:1: forbidden word"),
            "numbered chapter": ("docs/x.md", "\nas Part 1" + ".2 says\n",
                                 "docs/x.md:2: numbered chapter: Part 1"),
            "namespace opened in a header": (
                "kx_utility/a.h", GOOD_HEADER.replace("A_H_\n#endif", "A_H_\nusing namespace a;\n#endif"),
                "namespace opened"),
            "left undone": ("tools/t.cc", "// TO" + "DO\n", "left undone"),
            "plural by hand": ("record/r.cc", 'Text("%u bytes", size);\n', "count without CountText"),
            "plural of a text": ("host/r.cc", 'std::to_string(count) +\n    " lost frames"\n',
                                 "count without CountText"),
            "broken link": ("docs/x.md", "[a](../kx_utility/a.h) [b](c.md#d)\n",
                            "docs/x.md:1: no such file: c.md"),
            "path of one machine": ("README.md", "cd /wor" + "k/x\n", "path of one machine"),
        }
        for name, (path, text, expected) in cases.items():
            with self.subTest(name):
                breaches, _ = check({path: text})
                self.assertEqual(len(breaches), 1, breaches)
                self.assertIn(expected, breaches[0])

    def test_lists_long_files_without_failing(self):
        breaches, long_files = check({"tests/t.cc": "\n" * 501})
        self.assertEqual((breaches, long_files), ([], ["tests/t.cc: 501 lines"]))


if __name__ == "__main__":
    unittest.main()
