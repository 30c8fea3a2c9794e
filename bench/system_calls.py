# SPDX-License-Identifier: MIT
"""Counts the system calls of a program, by strace."""

import collections
import pathlib
import subprocess
import tempfile

from rounds import ENVIRONMENT


def count(words, with_children, only="all"):
    """Runs a command, given as its path and arguments. Returns a Counter of its system calls by
    name, with or without its children's. `only` names a single call to count."""
    with tempfile.NamedTemporaryFile() as summary:
        follow = ["--follow-forks", "--seccomp-bpf"] if with_children else []
        subprocess.run(["strace", *follow, f"--trace={only}", "--summary-only",
                        "--summary-columns=calls,name", "--quiet=all",
                        f"--output={summary.name}", *words],
                       env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=True)
        return by_name(pathlib.Path(summary.name).read_text(encoding="utf-8"))


def by_name(summary):
    """Reads a summary of two columns, calls and names, whose last line is the total."""
    calls = collections.Counter()
    for line in summary.splitlines():
        number, _, name = line.strip().partition(" ")
        if number.isdigit() and name.strip() != "total":
            calls[name.strip()] += int(number)
    return calls
