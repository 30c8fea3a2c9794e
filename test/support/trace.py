# SPDX-License-Identifier: MIT
"""The system calls of keldoctl, as strace prints them."""

import pathlib
import re
import tempfile
from typing import NamedTuple

import panel as panel_module


class Call(NamedTuple):
    """One system call. `arguments` and `result` are strace's texts."""

    process: int
    name: str
    arguments: str
    result: str


CALL = re.compile(r"(\d+) +(\w+)\((.*)\) += (.*)")
UNFINISHED = re.compile(r"(\d+) (.*) <unfinished \.\.\.>")
RESUMED = re.compile(r"(\d+) +<\.\.\. \w+ resumed>(.*)")


def traced(panel, calls, *arguments, **options):
    """Runs keldoctl as panel.run() does, with its children, under strace. Returns the completed
    process and the list of its system calls of the names in `calls` (a list with commas)."""
    with tempfile.TemporaryDirectory() as directory:
        log = pathlib.Path(directory) / "trace"
        strace = ["strace", "-f", "-qq", "-s", "4096", "-e", "signal=none", "-e",
                  f"trace={calls}", "-o", log, panel_module.KELDOCTL]
        done = panel.run(*arguments, program=strace, **options)
        return done, _parse(log.read_text(encoding="utf-8", errors="surrogateescape"))


def whole(lines):
    """The lines of a trace, with each call in one line, where it began. strace splits a call if
    another process runs in between."""
    lines = list(lines)
    begun = {}  # the place of each process's call, in lines
    for place, line in enumerate(lines):
        if match := UNFINISHED.fullmatch(line):
            begun[match[1]] = place
        elif (match := RESUMED.fullmatch(line)) and match[1] in begun:
            start = begun.pop(match[1])
            lines[start] = lines[start].removesuffix(" <unfinished ...>") + match[2]
            lines[place] = ""
    return lines


def _parse(text):
    matches = map(CALL.fullmatch, whole(text.splitlines()))
    return [Call(int(match[1]), *match.groups()[1:]) for match in matches if match]


def own(calls):
    """The calls of keldoctl itself, without those of its children."""
    return [call for call in calls if call.process == calls[0].process]
