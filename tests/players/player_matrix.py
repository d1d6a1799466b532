#!/usr/bin/env python3
"""Plays the outputs of kxrtc transcode to their end in each player that is installed, and writes the
table of docs/players.md.

usage: player_matrix.py KXRTC [--node FOLDER] [--only WORD] [--write]

--node: where scripts/setup.sh has put its node packages; --only: the lines with that word; --write:
replace the table and the versions in docs/players.md. Ends with 1 if a player did not play to the end.
"""

import argparse
import shutil
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from outputs import all_outputs, make_output, must_run
from players import PLAYERS

ROOT = Path(__file__).resolve().parents[2]
PAGE = ROOT / "docs" / "players.md"
BEGIN, END = "<!-- player_matrix.py writes this -->\n", "<!-- until here -->\n"


def version_of(command):
    return must_run(*command).splitlines()[0].split(" Copyright")[0].strip()


def make_files(kxrtc, folder, outputs):
    """The MP4s, with different names, readable for a player that may not run as root."""
    media, films = folder / "media", folder / "films"
    folder.chmod(0o755)
    media.mkdir()
    films.mkdir(mode=0o755)
    files = []
    for number, output in enumerate(outputs):
        made = make_output(kxrtc, folder / str(number), media, output)
        files.append(films / f"{number}{made.suffix}")
        made.rename(files[-1])
        files[-1].chmod(0o644)
    return files


def table_of(players, outputs, outcomes):
    notes = []
    lines = ["| | " + " | ".join(players) + " |", "|---" * (len(players) + 1) + "|"]
    for number, output in enumerate(outputs):
        cells = []
        for name in players:
            fault = outcomes[name][number]
            if fault and fault not in notes:
                notes.append(fault)
            cells.append(f"no ({notes.index(fault) + 1})" if fault else "yes")
        lines.append(f"| {output.what} | " + " | ".join(cells) + " |")
    return "\n".join(lines + [""] + [f"{number}. {note}" for number, note in enumerate(notes, 1)]) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kxrtc", type=Path)
    parser.add_argument("--node", type=Path, default=ROOT / "build" / "node")
    parser.add_argument("--only", default="")
    parser.add_argument("--write", action="store_true")
    options = parser.parse_args()
    outputs = [output for output in all_outputs() if options.only in output.what]
    outcomes, versions = {}, []
    with tempfile.TemporaryDirectory() as folder:
        files = make_files(options.kxrtc.resolve(), Path(folder), outputs)
        # They wait more than they work.
        with ThreadPoolExecutor() as pool:
            plays = {}
            for name, program, play, version in PLAYERS:
                if shutil.which(program):
                    versions.append(version_of(version))
                    plays[name] = pool.submit(lambda play=play: list(play(files, options.node)))
                else:
                    print(f"{name}: not installed (scripts/setup.sh browser players)")
        for name, play in plays.items():
            outcomes[name] = play.result()
            for output, fault in zip(outputs, outcomes[name]):
                print(f"{name}: {output.what}: {fault or 'played to its end'}")
    text = table_of(list(outcomes), outputs, outcomes) + "\nWith " + ", ".join(versions) + ".\n"
    if options.write:
        before, _, rest = PAGE.read_text().partition(BEGIN)
        PAGE.write_text(before + BEGIN + "\n" + text + "\n" + END + rest.partition(END)[2])
    sys.exit(1 if any(any(faults) for faults in outcomes.values()) else 0)


if __name__ == "__main__":
    main()
