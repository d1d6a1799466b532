"""When a program has begun to handle its signals."""

import re
import time
from pathlib import Path


def wait_until_blocked(process, number):
    """Waits until the program blocks the signal, as one does that reads its signals from a file, or
    ends. Before that the signal ends it as it ends any program."""
    status = Path(f"/proc/{process.pid}/status")
    while process.poll() is None:
        blocked = re.search(r"^SigBlk:\s*(\w+)", status.read_text(), re.MULTILINE)
        if int(blocked[1], 16) >> (number - 1) & 1:
            return
        time.sleep(0.01)
