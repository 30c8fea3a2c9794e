# SPDX-License-Identifier: MIT
"""System calls of keldoctl, as strace saw them."""

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


def traced(panel, calls, *arguments, **options):
    """Runs keldoctl as panel.run() does, with its children, under strace. Returns the completed
    process and the list of its system calls of the names in `calls` (a list with commas)."""
    with tempfile.TemporaryDirectory() as directory:
        log = pathlib.Path(directory) / "trace"
        strace = ["strace", "-f", "-qq", "-s", "4096", "-e", "signal=none", "-e",
                  f"trace={calls}", "-o", log, panel_module.KELDOCTL]
        done = panel.run(*arguments, program=strace, **options)
        return done, _parse(log.read_text(encoding="utf-8", errors="surrogateescape"))


def _parse(text):
    unfinished = {}
    calls = []
    for line in text.splitlines():
        process, _, rest = line.partition(" ")
        rest = rest.lstrip()
        if rest.endswith("<unfinished ...>"):
            unfinished[process] = rest.removesuffix("<unfinished ...>").rstrip()
            continue
        resumed = re.match(r"<\.\.\. \w+ resumed>(.*)", rest)
        if resumed:
            rest = unfinished.pop(process) + resumed[1]
        match = CALL.fullmatch(f"{process} {rest}")
        if match:
            calls.append(Call(int(match[1]), match[2], match[3], match[4]))
    return calls


def own(calls):
    """The calls of keldoctl itself, without those of its children."""
    return [call for call in calls if call.process == calls[0].process]
