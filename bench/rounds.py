# SPDX-License-Identifier: MIT
"""Times of programs, measured in alternation."""

import os
import time
from typing import NamedTuple

ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}
TO_NOTHING = [(os.POSIX_SPAWN_OPEN, descriptor, "/dev/null", os.O_RDWR, 0)
              for descriptor in range(3)]


class Command(NamedTuple):
    """A program's path and arguments, and its expected exit status."""

    words: list
    status: int = 0


class Times(NamedTuple):
    """The times of a run in milliseconds, or of several runs as lists. The CPU time is user and
    system time, of the program and of all descendants that were waited for."""

    wall: float
    cpu: float


def alternate(commands, rounds):
    """Runs all commands one after another in each round. One more round comes first and is
    dropped. Returns the Times of each command, as lists."""
    samples = [[] for _ in commands]
    for number in range(rounds + 1):
        for command, taken in zip(commands, samples):
            times = run_once(command)
            if number > 0:
                taken.append(times)
    return [Times(*map(list, zip(*taken))) for taken in samples]


def run_once(command):
    """Runs a command in ENVIRONMENT, with /dev/null as its three streams, and returns its Times.
    Raises if its exit status is not the expected one."""
    begin = time.perf_counter()
    child = os.posix_spawn(command.words[0], command.words, ENVIRONMENT, file_actions=TO_NOTHING)
    _, wait_status, usage = os.wait4(child, 0)
    wall = time.perf_counter() - begin
    status = os.waitstatus_to_exitcode(wait_status)
    if status != command.status:
        raise RuntimeError(f"{command.words[:6]} has ended with {status}")
    return Times(1000 * wall, 1000 * (usage.ru_utime + usage.ru_stime))
