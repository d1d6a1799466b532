#!/usr/bin/env python3
"""Packs the Debian packages twice and checks what each holds and needs, by lintian too where it is."""

import argparse
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

# For each package: patterns of files that it holds, and packages that it needs.
EXPECTED = {
    "librtc-transcoder0": (
        [r"/usr/lib/librtc_transcoder\.so\.0", r"/usr/lib/librtc_transcoder\.so\.0\.[0-9.]+"],
        ["libc6", "libjsoncpp25", "libstdc++6"]),
    "librtc-transcoder-dev": (
        [r"/usr/lib/librtc_transcoder\.so", r"/usr/lib/pkgconfig/rtc_transcoder\.pc",
         r"/usr/lib/cmake/rtc_transcoder/rtc_transcoder-config\.cmake",
         r"/usr/lib/cmake/rtc_transcoder/rtc_transcoder-config-version\.cmake",
         r"/usr/lib/cmake/rtc_transcoder/rtc_transcoder_targets(-\w+)?\.cmake",
         r"/usr/include/(rtc_transcoder|kxrtc|kx_utility)/[\w/]+\.h"],
        ["librtc-transcoder0", "libjsoncpp-dev"]),
    "librtc-transcoder-mp4-writer0": (
        [r"/usr/lib/librtc_transcoder_mp4_writer\.so\.0",
         r"/usr/lib/librtc_transcoder_mp4_writer\.so\.0\.[0-9.]+"],
        ["librtc-transcoder0", "libavcodec59", "libavformat59", "libc6"]),
    "librtc-transcoder-mp4-writer-dev": (
        [r"/usr/lib/librtc_transcoder_mp4_writer\.so",
         r"/usr/lib/pkgconfig/rtc_transcoder_mp4_writer\.pc",
         r"/usr/lib/cmake/rtc_transcoder/rtc_transcoder_mp4_writer_targets(-\w+)?\.cmake",
         r"/usr/include/(host/(ffmpeg|mp4)/\w+|record/(parts/part_request|predict/picture_choice|speakers/chapter))\.h"],
        ["librtc-transcoder-mp4-writer0", "librtc-transcoder-dev"]),
    "librtc-transcoder-speaker-timeline0": (
        [r"/usr/lib/librtc_transcoder_speaker_timeline\.so\.0",
         r"/usr/lib/librtc_transcoder_speaker_timeline\.so\.0\.[0-9.]+"],
        ["librtc-transcoder0", "libjsoncpp25", "libc6"]),
    "librtc-transcoder-speaker-timeline-dev": (
        [r"/usr/lib/librtc_transcoder_speaker_timeline\.so",
         r"/usr/lib/pkgconfig/rtc_transcoder_speaker_timeline\.pc",
         r"/usr/lib/cmake/rtc_transcoder/rtc_transcoder_speaker_timeline_targets(-\w+)?\.cmake",
         r"/usr/include/record/speakers/(speaker_timeline(_writer)?|timeline_format)\.h"],
        ["librtc-transcoder-speaker-timeline0", "librtc-transcoder-dev"]),
    "kxrtc": (
        [r"/usr/bin/kxrtc", r"/usr/bin/kxrtc-batch", r"/usr/lib/kxrtc/kxrtc_media\.so",
         r"/usr/lib/kxrtc-batch/(engine_\w+|job|telling)\.sh",
         r"/usr/share/man/man1/kxrtc(-[a-z0-9]+)?\.1\.gz",
         r"/usr/share/bash-completion/completions/kxrtc", r"/usr/share/zsh/vendor-completions/_kxrtc",
         r"/usr/share/fish/vendor_completions\.d/kxrtc\.fish", r"/usr/share/kxrtc/schema/kxrtc\.\w+\.json"],
        ["librtc-transcoder0", "libarchive13", "libavformat59", "libc6"]),
}


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def check(package, problems):
    name = output("dpkg-deb", "--field", package, "Package").strip()
    if name not in EXPECTED:
        problems.append(f"unexpected package {name}")
        return name
    patterns, needs = EXPECTED[name]
    patterns = patterns + [rf"/usr/share/doc/{name}/(changelog\.gz|copyright)",
                           rf"/usr/share/lintian/overrides/{name}"]
    files = [re.sub(r" -> .*", "", line.split(None, 5)[5]).lstrip(".")
             for line in output("dpkg-deb", "--contents", package).splitlines()]
    files = [file for file in files if not file.endswith("/")]
    for file in files:
        if not any(re.fullmatch(pattern, file) for pattern in patterns):
            problems.append(f"{name} holds {file}")
    for pattern in patterns:
        if not any(re.fullmatch(pattern, file) for file in files):
            problems.append(f"{name} lacks {pattern}")
    depends = output("dpkg-deb", "--field", package, "Depends")
    for need in needs:
        if not re.search(rf"(^|[ ,]){re.escape(need)}($|[ ,(])", depends):
            problems.append(f"{name} does not ask for {need}, only for {depends.strip()}")
    return name


def pack(cpack, config, folder):
    """The bytes of each package."""
    shutil.rmtree(folder, ignore_errors=True)
    subprocess.run([cpack, "--config", config, "-B", str(folder)], check=True,
                   env=dict(os.environ, SOURCE_DATE_EPOCH="1700000000"))
    return {package.name: package.read_bytes() for package in folder.glob("*.deb")}


def what_lintian_says(packages):
    """Its errors and warnings, as far as packaging/lintian_overrides does not explain them."""
    if shutil.which("lintian") is None:
        return []
    allow_root = ["--allow-root"] if os.geteuid() == 0 else []
    result = subprocess.run(["lintian", *allow_root, "--tag-display-limit", "0", *packages],
                            stdout=subprocess.PIPE, text=True, check=False)
    return result.stdout.splitlines()


def main():
    parser = argparse.ArgumentParser()
    for option in ("--cpack", "--config", "--folder"):
        parser.add_argument(option, required=True)
    parser.add_argument("packages", nargs="+", help="the names of those that are to be made")
    options = parser.parse_args()
    folder = Path(options.folder)
    first = pack(options.cpack, options.config, folder)
    second = pack(options.cpack, options.config, folder)
    problems = [f"{name} is another one when packed again" for name in sorted(first.keys() | second.keys())
                if first.get(name) != second.get(name)]
    found = {check(str(package), problems) for package in folder.glob("*.deb")}
    if found != set(options.packages):
        problems.append(f"made {sorted(found)}")
    problems += what_lintian_says([str(package) for package in folder.glob("*.deb")])
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
