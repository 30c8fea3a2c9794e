# SPDX-License-Identifier: MIT
"""Times of programs, measured in alternation."""

import os
import time
from typing import NamedTuple

ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}
TO_NOTHING = [(os.POSIX_SPAWN_OPEN, descriptor, "/dev/null", os.O_RDWR, 0)
              for descriptor in range(3)]


class Command(NamedTuple):
    """A program's path and its arguments, and the exit status that it is expected to have."""

    words: list
    status: int = 0


class Times(NamedTuple):
    """What a run took, in milliseconds; or several runs, as lists in their order. The CPU time is
    the user's and the system's together, of the program and all its descendants that were waited
    for."""

    wall: float
    cpu: float


def alternate(commands, rounds):
    """Runs the commands, one after another in each of so many rounds, after a round that does not
    count. Returns the Times of each, as lists."""
    samples = [[] for _ in commands]
    for number in range(rounds + 1):
        for command, taken in zip(commands, samples):
            times = run_once(command)
            if number > 0:
                taken.append(times)
    return [Times(*map(list, zip(*taken))) for taken in samples]


def run_once(command):
    """Runs a command in ENVIRONMENT, on /dev/null alone, and returns its Times. Raises when it ends
    otherwise than expected."""
    begin = time.perf_counter()
    child = os.posix_spawn(command.words[0], command.words, ENVIRONMENT, file_actions=TO_NOTHING)
    _, wait_status, usage = os.wait4(child, 0)
    wall = time.perf_counter() - begin
    status = os.waitstatus_to_exitcode(wait_status)
    if status != command.status:
        raise RuntimeError(f"{command.words[:6]} has ended with {status}")
    return Times(1000 * wall, 1000 * (usage.ru_utime + usage.ru_stime))
