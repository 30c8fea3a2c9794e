# SPDX-License-Identifier: MIT
"""Which system calls a program makes, as strace counts them."""

import collections
import pathlib
import subprocess
import tempfile

from rounds import ENVIRONMENT


def count(words, with_children, only="all"):
    """Runs a command, its path and arguments. Returns a Counter of its system calls by their names,
    its own alone or those of its children as well; `only` names the one to look at."""
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
