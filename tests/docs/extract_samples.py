#!/usr/bin/env python3
"""Writes each block of a document that is fenced as cpp into a source of its own.

usage: extract_samples.py FOLDER DOCUMENT...

Prints the sources' names as a CMake list. A #line directive makes the compiler name the document.
"""

import re
import sys
from pathlib import Path

BLOCK = re.compile(r"^```cpp\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def main():
    folder = Path(sys.argv[1])
    sources = []
    for document in sys.argv[2:]:
        text = Path(document).read_text(encoding="utf-8")
        for number, block in enumerate(BLOCK.finditer(text), 1):
            line = text.count("\n", 0, block.start(1)) + 1
            source = folder / f"{Path(document).stem}_{number}.cc"
            content = f'#line {line} "{document}"\n{block.group(1)}'
            if not source.exists() or source.read_text(encoding="utf-8") != content:
                source.write_text(content, encoding="utf-8")
            sources.append(str(source))
    print(";".join(sources))


if __name__ == "__main__":
    main()
