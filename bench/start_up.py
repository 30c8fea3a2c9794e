# SPDX-License-Identifier: MIT
"""Measures the start of keldoctl, and of common small programs beside it."""

import callgrind
from rounds import Command, alternate
from table import Count, compared, timed

BESIDE = {"xmllint --version": (["/usr/bin/xmllint", "--version"], 1.0),
          "true": (["/bin/true"], None)}


def time_rows(server, rounds):
    own, *others = alternate([Command([server.keldoctl, "--help"]),
                              *(Command(words) for words, _ in BESIDE.values())], rounds)
    rows = []
    for (name, (_, at_most)), other in zip(BESIDE.items(), others):
        rows += [timed("--help, wall", own.wall, other.wall, name, at_most),
                 timed("--help, CPU", own.cpu, other.cpu, name, at_most)]
    return rows


def instruction_rows(server):
    own = Count(callgrind.count([server.keldoctl, "--help"]).total())
    return [compared("Instructions, --help", own, Count(callgrind.count(words).total()), name)
            for name, (words, _) in BESIDE.items()]
