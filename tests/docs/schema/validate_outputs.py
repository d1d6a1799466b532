#!/usr/bin/env python3
"""Validates what the tests kept of the JSON that kxrtc printed (tests/testing/json_outputs.py).

usage: validate_outputs.py begin FOLDER   empties the folder
       validate_outputs.py end FOLDER     validates what is in it
"""

import collections
import json
import shutil
import sys
from pathlib import Path

import schemas

MOST_SHOWN = 30
DECODER = json.JSONDecoder()


def values_of(text):
    """Each JSON object that begins a line, and the problems. The last one may be cut: its reader went away."""
    values, problems, at = [], [], 0
    while at < len(text):
        if text[at] == "{":
            try:
                value, at = DECODER.raw_decode(text, at)
                values.append(value)
            except json.JSONDecodeError as error:
                if error.pos < len(text.rstrip()) and not error.msg.startswith("Unterminated"):
                    problems.append(f"not JSON: {text[at:at + 200]}")
        at = text.find("\n", at) + 1 or len(text)
    return values, problems


def main():
    mode, folder = sys.argv[1], Path(sys.argv[2])
    if mode == "begin":
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        return 0
    validators = schemas.Validators()
    counts, wrong = collections.Counter(), []
    for path in sorted(folder.iterdir()):
        command, _, text = path.read_text(errors="replace").partition("\n")
        values, problems = values_of(text)
        for value in values:
            counts[value.get("document") or f"event {value.get('event')}"] += 1
            problems += validators.problems_of_output(command, value)
        wrong += [f"{problem}\n    printed by {command[:300]}" for problem in problems]
    print(", ".join(f"{count} {name}" for name, count in sorted(counts.items())))
    for line in wrong[:MOST_SHOWN]:
        print(line)
    if len(wrong) > MOST_SHOWN:
        print(f"and {len(wrong) - MOST_SHOWN} more")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
