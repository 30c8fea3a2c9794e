# SPDX-License-Identifier: MIT
"""Counts the instructions of three fixed runs and prints how they differ from those in
instructions.txt.

Usage: instructions [--record], on a private host; --record writes the counts to the file instead
"""

import collections
import pathlib
import sys

import callgrind
import machine
from server import Server

RECORD = pathlib.Path(__file__).with_name("instructions.txt")
SERVICES = 6
DOWN = "web"
LIBRARIES = ("libc6", "libstdc++6", "libxml2", "libicu72", "libmariadb3", "libssl3")
HEADING = """\
# The instructions of keldoctl itself, without its children, in three runs on a panel with {services}
# services, by program and library. callgrind counted them. script/bench --instructions prints the
# changes since then, script/bench --record writes this file.
# {versions}
"""


def main():
    with Server(SERVICES) as server:
        counts = _count_all(server)
    versions = ", ".join([machine.compiler(), *machine.packages(LIBRARIES)])
    if "--record" in sys.argv[1:]:
        RECORD.write_text(record(counts, versions), encoding="utf-8")
    else:
        recorded = RECORD.read_text(encoding="utf-8")
        print(differences(parse(recorded), counts))
        if f"# {versions}\n" not in recorded:
            print(f"The file was made with other versions; this machine has {versions}.")


def _count_all(server):
    """Returns a Counter of the instructions by file for each of the three runs, by its name."""
    server.start_services(SERVICES)
    counts = {"--help": _count(server, "--help"), "--status": _count(server, "--status")}
    server.learn_german()
    server.shut_down(DOWN)
    german = ["--status", "--language=de-DE"]
    counts[f"{' '.join(german)}, {DOWN} is down"] = _count(server, *german)
    return counts


def _count(server, *arguments):
    """The smallest of three counts. The counts differ: libxml2 seeds its hash tables with the time,
    and the database server may answer in more or fewer pieces."""
    return min((callgrind.count([server.keldoctl, *arguments]) for _ in range(3)),
               key=collections.Counter.total)


def record(counts, versions):
    """The text of instructions.txt."""
    return (HEADING.format(services=SERVICES, versions=versions)
            + "".join(f"\n{run}\n{_listing(files)}" for run, files in counts.items()))


def _listing(files):
    """A line for each file with its number, the largest first."""
    by_size = sorted(files.items(), key=lambda item: (-item[1], item[0]))
    return "".join(f"{number:>12,}  {file}\n" for file, number in by_size)


def parse(text):
    """The counts in the text of instructions.txt: Counters by file, by run."""
    counts = {}
    for line in text.splitlines():
        if line.startswith("-"):
            files = counts[line] = collections.Counter()
        elif line and not line.startswith("#"):
            number, file = line.split()
            files[file] = int(number.replace(",", ""))
    return counts


def differences(before, now):
    """The change of each run and of each file in it, as text."""
    lines = []
    for run, files in now.items():
        old = before.get(run, collections.Counter())
        lines.append(f"{run}: {_change(old.total(), files.total())}")
        for file in sorted(old.keys() | files.keys(),
                           key=lambda file: -abs(files[file] - old[file])):
            if _is_notable(files[file] - old[file], old.total()):
                lines.append(f"    {file}: {_change(old[file], files[file])}")
    return "\n".join(lines)


def _change(old, new):
    relative = f", {100 * (new - old) / old:+.2f} %" if old else ""
    return f"{old:,} before, {new:,} now ({new - old:+,}{relative})"


def _is_notable(difference, total):
    """Whether a difference exceeds the noise between two counts of the same program."""
    return abs(difference) > 0.0005 * total


if __name__ == "__main__":
    main()
