"""What `kxrtc --help` tells of the subcommands and options."""

import re
import subprocess


def help_of(kxrtc, *command):
    return subprocess.run([kxrtc, *command, "--help"], check=True, stdout=subprocess.PIPE, text=True).stdout


def section(text, title):
    return re.search(rf"^{title}:\n(.*?)(?:\n\n|\Z)", text, re.MULTILINE | re.DOTALL).group(1)


def subcommands(kxrtc):
    return re.findall(r"^  (\w+) ", section(help_of(kxrtc), "Subcommands"), re.MULTILINE)


def options(kxrtc, *command):
    """The names of its options, long ones and letters."""
    names = set()
    for shown in re.findall(r"^  (-\S+)", section(help_of(kxrtc, *command), "Options"), re.MULTILINE):
        names.update(shown.split(","))
    return names
