#!/usr/bin/env python3
"""What kxrtc record opens: a source, and nothing that the content of a source names.

usage: kxrtc_source_test.py KXRTC [unittest options]
"""

import http.server
import json
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

KXRTC = Path(sys.argv[1]).resolve()
OK, SCENARIO_INVALID, SOURCE_UNREADABLE = 0, 9, 10
DESCRIPTION = ("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=-\nc=IN IP4 127.0.0.1\nt=0 0\n"
               "m=video 5004 RTP/AVP 33\n")
NOT_FOLLOWED = "which may name other files and addresses"


class Server:
    """Serves `pages` (path to bytes, or to an address that it redirects to) and counts."""

    def __init__(self):
        self.pages = {}
        self.asked = []

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(handler):
                self.asked.append(handler.path)
                page = self.pages.get(handler.path)
                if isinstance(page, str):
                    handler.send_response(302)
                    handler.send_header("Location", page)
                    handler.end_headers()
                    return
                handler.send_response(404 if page is None else 200)
                handler.send_header("Content-Length", str(len(page or b"")))
                handler.end_headers()
                handler.wfile.write(page or b"")

            def log_message(handler, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.address = f"http://127.0.0.1:{self.server.server_address[1]}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()


class SourceTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.media = Path(cls.folder.name) / "media.ts"
        subprocess.run(
            ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=s=64x48:r=25", "-f", "lavfi",
             "-i", "sine", "-t", "3", "-c:v", "libx264", "-bf", "0", "-g", "25", "-c:a", "aac",
             cls.media], check=True, stdin=subprocess.DEVNULL)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def setUp(self):
        self.work = tempfile.TemporaryDirectory()
        self.addCleanup(self.work.cleanup)
        self.record = Path(self.work.name) / "record"
        self.scenario = Path(self.work.name) / "scenario.json"
        self.server = Server()
        self.addCleanup(self.server.close)

    def start(self, source, **members):
        self.scenario.write_text(json.dumps({
            "participants": [{"user_id": 1, "camera": {"source": str(source), **members}}],
            "duration": 0.7}))
        process = subprocess.Popen([KXRTC, "record", self.scenario, self.record],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def try_to_record(self, source, **members):
        process = self.start(source, **members)
        _, errors = process.communicate(timeout=60)
        return process.returncode, errors

    def accept(self, source, **members):
        self.assertEqual(self.try_to_record(source, **members), (OK, ""))
        self.assertGreater((self.record / "SpeakeRecord.264").stat().st_size, 0)

    def refuse(self, status, message, source, **members):
        ended, errors = self.try_to_record(source, **members)
        self.assertIn(message, errors)
        self.assertEqual(ended, status)
        self.assertFalse(self.record.exists())

    def write(self, name, content):
        path = Path(self.work.name) / name
        path.write_text(content)
        return path

    def playlist(self, *media):
        """A media playlist of HLS."""
        lines = ["#EXTM3U", "#EXT-X-TARGETDURATION:3", "#EXT-X-MEDIA-SEQUENCE:0"]
        lines += [line for medium in media for line in ("#EXTINF:3,", str(medium))]
        return "\n".join([*lines, "#EXT-X-ENDLIST", ""])

    def concat(self, *media):
        return "ffconcat version 1.0\n" + "".join(f"file '{medium}'\n" for medium in media)

    def test_media_at_an_address_are_recorded(self):
        self.server.pages["/media.ts"] = self.media.read_bytes()
        self.accept(f"{self.server.address}/media.ts")

    def test_a_redirection_leads_to_the_web_only(self):
        self.server.pages["/media.ts"] = self.media.read_bytes()
        self.server.pages["/web"] = f"{self.server.address}/media.ts"
        self.server.pages["/file"] = f"file://{self.media}"
        self.accept(f"{self.server.address}/web")
        status, _ = self.try_to_record(f"{self.server.address}/file")
        self.assertNotEqual(status, OK)

    def test_a_playlist_is_followed_only_when_the_scenario_says_so(self):
        self.server.pages["/media.ts"] = self.media.read_bytes()
        self.server.pages["/list.m3u8"] = self.playlist("media.ts").encode()
        address = f"{self.server.address}/list.m3u8"
        self.refuse(SOURCE_UNREADABLE, f"is of the format hls, {NOT_FOLLOWED}", address)
        self.assertEqual(set(self.server.asked), {"/list.m3u8"})
        self.accept(address, format="hls")

    def test_a_playlist_names_no_file_and_no_nested_address(self):
        for medium in (self.media, f"file://{self.media}", f"file:{self.media}",
                       f"subfile,,start,0,end,0,,:{self.media}", f"concat:{self.media}",
                       f"crypto+file:{self.media}", "data:video/mp2t;base64,AAAA",
                       "udp://127.0.0.1:1", "tcp://" + self.server.address[len("http://"):]):
            self.server.asked.clear()
            self.server.pages["/list.m3u8"] = self.playlist(medium).encode()
            self.refuse(SOURCE_UNREADABLE, "list.m3u8: ", f"{self.server.address}/list.m3u8",
                        format="hls")
            # A name without a scheme is one of the server.
            self.assertLessEqual(set(self.server.asked), {"/list.m3u8", str(self.media)})

    def test_other_lists_at_an_address_are_never_followed(self):
        self.server.pages["/media.ts"] = self.media.read_bytes()
        self.server.pages["/list"] = self.concat("media.ts").encode()
        self.server.pages["/description.sdp"] = DESCRIPTION.encode()
        for page, members in (("/list", {}), ("/list", {"format": "concat"}),
                              ("/description.sdp", {}), ("/description.sdp", {"format": "sdp"})):
            self.server.asked.clear()
            self.refuse(SOURCE_UNREADABLE, NOT_FOLLOWED, self.server.address + page, **members)
            self.assertLessEqual(set(self.server.asked), {page})

    def test_local_files_name_nothing_else(self):
        self.server.pages["/media.ts"] = self.media.read_bytes()
        address = f"{self.server.address}/media.ts"
        files = [("list.m3u8", self.playlist(address), {}),
                 ("local.m3u8", self.playlist(self.media), {}),
                 ("named.sdp", self.playlist(address), {}),
                 ("named.ts", self.playlist(address), {}),
                 ("list.ffconcat", self.concat(address), {}),
                 ("local.ffconcat", self.concat("copy.ts"), {}),
                 ("live.ffconcat", self.concat(address), {"live": True}),
                 ("asked.ffconcat", self.concat(address), {"format": "concat"}),
                 ("asked.local", self.concat("copy.ts"), {"format": "concat"}),
                 ("description.txt", DESCRIPTION, {"live": True})]
        (Path(self.work.name) / "copy.ts").write_bytes(self.media.read_bytes())
        for name, content, members in files:
            with self.subTest(name):
                self.refuse(SOURCE_UNREADABLE, name + ": ", self.write(name, content),
                            **members)
        self.assertEqual(self.server.asked, [])
        self.accept(f"file:{self.media}")

    def test_nested_and_unknown_addresses_are_refused_with_the_scenario(self):
        for source in (f"concat:{self.media}", f"subfile,,start,0,end,9,,:{self.media}",
                       f"crypto:{self.media}", f"cache:{self.media}", f"async:{self.media}",
                       "data:text/plain,x", "pipe:0", "gopher://h/x", "ftp://h/x", "unix:x"):
            self.refuse(SCENARIO_INVALID, "scenario.json:1: participants[0].camera: \"", source)
        self.refuse(SCENARIO_INVALID, "only at an http or https address", self.media, format="hls")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
