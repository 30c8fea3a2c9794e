# SPDX-License-Identifier: MIT
"""The processes of this host, to see what a run leaves behind."""

import collections
import os
import pathlib
import select
import time


def running():
    """The running processes: the pid, the start and the name of each."""
    found = set()
    for entry in filter(str.isdecimal, os.listdir("/proc")):
        try:
            stat = pathlib.Path("/proc", entry, "stat").read_text(encoding="utf-8", errors="replace")
        except (FileNotFoundError, ProcessLookupError):
            continue
        name, _, fields = stat.partition("(")[2].rpartition(")")
        if fields.split()[0] != "Z":
            found.add((int(entry), fields.split()[19], name))
    return found


def wait_until_gone(processes, seconds):
    """Returns those that have not ended after these seconds."""
    deadline = time.monotonic() + seconds
    left = set()
    for process in processes:
        try:
            descriptor = os.pidfd_open(process[0])
        except ProcessLookupError:
            continue
        if not select.select([descriptor], [], [], max(0, deadline - time.monotonic()))[0]:
            left.add(process)
        os.close(descriptor)
    return left


def names_of(processes):
    counts = collections.Counter(name for _, _, name in processes)
    return ", ".join(f"{count} {name}" for name, count in sorted(counts.items())) or "none"
