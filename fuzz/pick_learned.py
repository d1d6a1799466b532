#!/usr/bin/env python3
"""Keeps the most useful inputs that long fuzz runs found.

usage: fuzz/pick_learned.py [TARGET...]     (all targets; after scripts/fuzz.sh)

Of the inputs of up to 1 KiB in build/fuzz/corpus/<target>/ it picks the fewest and smallest, as far
as a greedy choice finds them, that reach every edge of theirs which the named inputs of
fuzz/corpus/<target>/ miss, and makes them the new content of fuzz/corpus/<target>/learned/.
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "fuzz"
MAX_SIZE = 1024


def edges(target, file):
    """The edges that a fresh process reaches with `file`; empty for an empty file."""
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        for name in ("in", "out"):
            (work / name).mkdir()
        shutil.copy(file, work / "in")
        control = work / "control"
        run = subprocess.run(
            [BUILD / "fuzz" / target, "-set_cover_merge=1", f"-merge_control_file={control}",
             work / "out", work / "in"], capture_output=True, text=True)
        if run.returncode != 0:
            sys.exit(f"{file}: {run.stderr}")
        if not control.exists():
            return set()
        lines = (line.split() for line in control.read_text().splitlines())
        return {edge for words in lines if words[:1] == ["COV"] for edge in words[2:]}


def pick(target):
    kept = ROOT / "fuzz" / "corpus" / target
    reached = set()
    for file in kept.iterdir():
        if file.is_file():
            reached |= edges(target, file)
    named = len(reached)
    found = [file for folder in (BUILD / "corpus" / target, kept / "learned") if folder.is_dir()
             for file in folder.iterdir() if file.stat().st_size <= MAX_SIZE]
    reach = {file: edges(target, file) for file in sorted(found)}
    chosen = []
    while reach:
        best = max(reach, key=lambda file: (len(reach[file] - reached), -file.stat().st_size))
        if reach[best] <= reached:
            break
        reached |= reach.pop(best)
        chosen.append((best.name, best.read_bytes()))
    shutil.rmtree(kept / "learned", ignore_errors=True)
    if chosen:
        (kept / "learned").mkdir()
    for name, content in chosen:
        (kept / "learned" / name).write_bytes(content)
    print(f"{target}: {named} edges by name, {len(reached)} with {len(chosen)} learned inputs")


targets = sys.argv[1:] or sorted(folder.name for folder in (ROOT / "fuzz" / "corpus").iterdir())
for each in targets:
    pick(each)
