"""Controls Firefox over its own protocol, so that Debian's one does without a driver."""

import json
import socket
import subprocess
import tempfile
import time
from pathlib import Path

START_LIMIT_S = 60


class Firefox:
    """A headless Firefox with a profile of its own, until the block ends."""

    def __init__(self, program):
        self.program = program

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory()
        profile = Path(self.folder.name)
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        preferences = {"marionette.port": port, "media.autoplay.default": 0,
                       "app.update.auto": False, "datareporting.policy.dataSubmissionEnabled": False}
        (profile / "user.js").write_text("".join(
            f"user_pref({json.dumps(name)}, {json.dumps(value)});\n"
            for name, value in preferences.items()))
        self.process = subprocess.Popen(
            [self.program, "--headless", "--no-remote", "--marionette", "--profile", profile],
            env={"HOME": str(profile), "PATH": "/usr/bin:/bin"},
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.number, self.unread = 0, b""
        try:
            self.connection = self.connect(port)
            self.receive()  # Its greeting.
            self.command("WebDriver:NewSession", {})
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.folder.cleanup()

    def connect(self, port):
        end = time.monotonic() + START_LIMIT_S
        while True:
            try:
                return socket.create_connection(("127.0.0.1", port), timeout=300)
            except OSError:
                if time.monotonic() > end or self.process.poll() is not None:
                    raise
                time.sleep(0.1)

    def receive(self):
        """A message: its length in decimal, a colon, JSON."""
        while b":" not in self.unread:
            self.unread += self.read_some()
        length, _, self.unread = self.unread.partition(b":")
        while len(self.unread) < int(length):
            self.unread += self.read_some()
        message, self.unread = self.unread[:int(length)], self.unread[int(length):]
        return json.loads(message)

    def read_some(self):
        data = self.connection.recv(65536)
        if not data:
            raise ConnectionError("Firefox has closed the connection")
        return data

    def command(self, name, parameters):
        self.number += 1
        message = json.dumps([0, self.number, name, parameters]).encode()
        self.connection.sendall(b"%d:%s" % (len(message), message))
        _, _, error, result = self.receive()
        if error:
            raise RuntimeError(f"{name}: {error['message']}")
        return result

    def evaluate(self, page, script, arguments, limit_s):
        """What `script` hands to its last argument, a function, on the page at that address."""
        self.command("WebDriver:SetTimeouts", {"script": int(limit_s * 1000)})
        self.command("WebDriver:Navigate", {"url": page})
        return self.command("WebDriver:ExecuteAsyncScript",
                            {"script": script, "args": arguments})["value"]
