"""Keeps what kxrtc prints with --json, so that it can be validated when the tests have ended.

The folder is that of the environment variable KXRTC_JSON_OUTPUTS; nothing is kept without it. Each file
has the command on its first line and the output behind it. tests/testing/json_outputs.cc does the same.
"""

import itertools
import os
import re
from pathlib import Path

ASKS_FOR_JSON = re.compile(r"(?:^| )(?:--json|-[a-z]*j[a-z]*)(?: |$)")
NUMBERS = itertools.count()
MOST_BYTES = 1 << 20  # More of the same would only take time.


def keep(command, output):
    folder = os.environ.get("KXRTC_JSON_OUTPUTS")
    words = " ".join(map(str, command))
    if not folder or not output or not ASKS_FOR_JSON.search(words):
        return
    text = output.encode() if isinstance(output, str) else output
    name = f"python-{os.getpid()}-{next(NUMBERS)}"
    (Path(folder) / name).write_bytes(words.replace("\n", " ").encode(errors="replace") + b"\n" + text[:MOST_BYTES])
