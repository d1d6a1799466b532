#!/usr/bin/env python3
"""Compares what the built library exports with the checked-in list.

usage: exported_symbols.py LIBRARY LIST [--update]

Listed are the names of strong symbols and of vtables. Weak symbols (inline functions, type
information) come and go with the compiler's inlining and are left out.
"""

import difflib
import re
import subprocess
import sys
from pathlib import Path


def exported(library):
    lines = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library], check=True,
                           stdout=subprocess.PIPE, text=True).stdout.splitlines()
    names = set()
    for line in lines:
        _, kind, name = line.split(" ", 2)
        if name.startswith("vtable for ") or (kind in "TDRB" and not name.startswith("typeinfo")):
            names.add(re.sub(r"\[abi:\w+\]", "", name))
    return sorted(names)


def main():
    library, listed = sys.argv[1], Path(sys.argv[2])
    names = exported(library)
    if sys.argv[3:] == ["--update"]:
        listed.write_text("".join(name + "\n" for name in names))
        return 0
    expected = listed.read_text().splitlines()
    difference = list(difflib.unified_diff(expected, names, "listed", "exported", lineterm="", n=0))
    for line in difference:
        print(line)
    if difference:
        print("When the change is wanted: scripts/update_exported_symbols.sh")
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main())
