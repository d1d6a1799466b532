#!/usr/bin/env python3
"""Checks the rules of the tree that no compiler checks.

usage: check_tree.py ROOT PUBLIC_HEADER...

Prints one line a breach and ends with status 1 if there is any. Files over their size limit are only
listed: a limit may be passed where the code reads better for it.
"""

import re
import subprocess
import sys
from pathlib import Path

# What each library folder may include, itself beside it. Everything points downwards.
FOUNDATION = {"kx_utility"}
MAY_INCLUDE = {
    "rtc_transcoder/api": {"kxrtc/recording", "kxrtc/media", "kxrtc/config"} | FOUNDATION,
    "kxrtc/recording": {"kxrtc/media", "kxrtc/config"} | FOUNDATION,
    "kxrtc/media": FOUNDATION,
    "kxrtc/config": FOUNDATION,
    "kx_utility": set(),
}
LIBRARY_FILES = re.compile(r"(\.cc|\.h|\.map|/CMakeLists\.txt)$")
# The houses around the library, lowest first: each may include those before it. All of them use the
# library's public headers only.
HOUSES = ["files", "record", "host", "tools"]
OUTSIDE_PROGRAMS = tuple(house + "/" for house in HOUSES) + ("examples/",)
PROJECT_INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
FFMPEG_INCLUDE = re.compile(r'^\s*#\s*include\s+<lib(av|sw)', re.MULTILINE)
FFMPEG_FOLDERS = ("host/", "tests/", "benchmarks/")
LINK = re.compile(r"\]\((?!\w+:)([^)\s]+)\)")
MAIN = re.compile(r"^\s*(int|auto)\s+main\s*\(", re.MULTILINE)
CODE = (".cc", ".h", ".sh", ".cmake", ".py", ".mjs", ".js")
MAX_LINES = {".h": 250, ".cc": 500}

# Spelt with gaps so that this file passes its own check.
TEXT_RULES = [
    ("numbered chapter", r"\b[Pp]arts? [0-9]+(\.[0-9]+)\b"),
    ("forbidden word", r"\b[Ss]pecification" + r"s?\b"),
    ("forbidden word", r"\b(the|our|this) spe" + r"c\b"),
    ("forbidden word", r"spec" + r"\.md"),
    ("path of one machine", r"/(?:wor" + r"k|far" + r"m)/|/tmp/w" + r"t\b"),
    ("path of one machine", r"bash_job" + r"s"),
    ("path of one machine", r"/home/[a-z]"),
]
CODE_RULES = [
    ("left undone", r"\b(TO" + r"DO|FIX" + r"ME|XX" + r"X|HA" + r"CK)\b"),
    ("code switched off", r"^\s*#\s*if 0\b"),
]
HEADER_RULES = [("namespace opened", r"^\s*using namespace ")]
# A number in front of a plural: CountText() writes "1 frame" too.
COUNT_FOLDERS = ("record/", "host/", "tools/")
COUNT_RULES = [
    ("count without CountText", r'(?:%(?:z?u|" PRIu64 ")|to_string\([^"]*\+\s*") ?(?:[a-z]+ ){0,2}'
     r"(?:bytes|channels|errors|frames|pictures|records|samples|sessions|switches|times|timestamps|"
     r"warnings)\b"),
]


def tracked_files(root):
    """Names of all files that belong to the tree, new ones included, ignored ones not."""
    listed = subprocess.run(
        ["git", "-C", str(root), "ls-files", "--cached", "--others", "--exclude-standard", "-z"],
        check=True, stdout=subprocess.PIPE).stdout.decode()
    return sorted(name for name in listed.split("\0") if name and (root / name).is_file())


def library_folder(name):
    """The library folder that file `name` belongs to, or None."""
    for folder in MAY_INCLUDE:
        if name.startswith(folder + "/"):
            return folder
    return None


def house_above(name, header):
    """The house that `header` lies in, where `name` lies in a lower one; else None."""
    own, other = name.split("/")[0], header.split("/")[0]
    if own in HOUSES and other in HOUSES and HOUSES.index(other) > HOUSES.index(own):
        return other
    return None


def line_of(text, position):
    return text.count("\n", 0, position) + 1


def check_text(name, text):
    rules = list(TEXT_RULES)
    if name.endswith(CODE):
        rules += CODE_RULES
    if name.endswith(".h"):
        rules += HEADER_RULES
    if name.startswith(COUNT_FOLDERS) and name.endswith(".cc"):
        rules += COUNT_RULES
    for what, pattern in rules:
        for match in re.finditer(pattern, text, re.MULTILINE):
            yield f"{name}:{line_of(text, match.start())}: {what}: {match.group(0).strip()}"


def check_includes(name, text, public_headers, root):
    if not name.endswith((".cc", ".h")):
        return
    for match in FFMPEG_INCLUDE.finditer(text):
        where = f"{name}:{line_of(text, match.start())}"
        if not name.startswith(FFMPEG_FOLDERS):
            yield f"{where}: FFmpeg belongs into host/"
        elif name in public_headers:
            yield f"{where}: an installed header names FFmpeg"
    own = library_folder(name)
    for match in PROJECT_INCLUDE.finditer(text):
        header = match.group(1)
        where = f"{name}:{line_of(text, match.start())}"
        target = library_folder(header)
        if not (root / header).is_file():
            yield f"{where}: includes {header}, which is not in the tree under that path"
        elif house_above(name, header):
            yield f"{where}: {name.split('/')[0]} includes {header}, which lies in a house above it"
        elif own is not None and target is None:
            yield f"{where}: the library includes {header} from outside"
        elif own is not None and target != own and target not in MAY_INCLUDE[own]:
            yield f"{where}: {own} includes {header} above it or beside it"
        elif (name.startswith(OUTSIDE_PROGRAMS) and target is not None
              and header not in public_headers):
            yield f"{where}: includes {header}, which is not public"
        elif (name in public_headers or name.startswith("examples/")) and header not in public_headers:
            yield f"{where}: includes {header}, which is not installed"


def check_guard(name, text):
    if not name.endswith(".h"):
        return
    guard = re.sub(r"[^A-Za-z0-9]", "_", name).upper() + "_"
    code = [line for line in text.splitlines() if line and not line.startswith("//")]
    if code[:2] != [f"#ifndef {guard}", f"#define {guard}"] or code[-1:] != [f"#endif  // {guard}"]:
        yield f"{name}: the include guard is not {guard} from the first line to the last"
    if not text.startswith("//"):
        yield f"{name}: does not begin with a comment on what it is for"


def check_links(name, text, root):
    if not name.endswith(".md"):
        return
    for match in LINK.finditer(text):
        target = match.group(1).split("#")[0]
        if target and not (root / Path(name).parent / target).exists():
            yield f"{name}:{line_of(text, match.start())}: no such file: {target}"


def check_library_file(name, text):
    if library_folder(name) is None:
        return
    if not LIBRARY_FILES.search(name):
        yield f"{name}: library folders hold sources only"
    elif re.search(r"_(test|fuzzer|benchmark)\.cc$", name) or MAIN.search(text):
        yield f"{name}: library folders hold no tests and no programs"


def check_tree(root, public_headers):
    """Returns the breaches and the list of files over their size limit."""
    breaches, long_files = [], []
    for name in tracked_files(root):
        try:
            text = (root / name).read_text(encoding="utf-8")
        except UnicodeDecodeError:  # Media and corpus files have no text to check.
            text = ""
        breaches += check_text(name, text)
        breaches += check_includes(name, text, public_headers, root)
        breaches += check_links(name, text, root)
        breaches += check_guard(name, text)
        breaches += check_library_file(name, text)
        lines = text.count("\n")
        if lines > MAX_LINES.get(Path(name).suffix, lines):
            long_files.append(f"{name}: {lines} lines")
    for name in public_headers:
        if not (root / name).is_file():
            breaches.append(f"{name}: listed in CMake but not in the tree")
    listed_sources = set()
    for name in tracked_files(root):
        if name.endswith("CMakeLists.txt"):
            folder = Path(name).parent
            for source in re.findall(r"[\w./-]+\.(?:cc|h)\b", (root / name).read_text()):
                listed_sources.add((folder / source).as_posix())
    for name in tracked_files(root):
        if library_folder(name) and name.endswith((".cc", ".h")) and name not in listed_sources:
            breaches.append(f"{name}: in a library folder but in no CMakeLists.txt")
    return breaches, long_files


def main():
    breaches, long_files = check_tree(Path(sys.argv[1]), set(sys.argv[2:]))
    for line in long_files:
        print("long:", line)
    for line in breaches:
        print(line)
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
