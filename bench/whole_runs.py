# SPDX-License-Identifier: MIT
"""Measures whole runs of keldoctl and prints a table.

Usage: whole_runs [--quick], on a private host
"""

import contextlib
import os
import sys
from typing import NamedTuple

import beside_floor
import alternatives
import machine
import memory
import repetition
import start_up
from server import Server
from table import markdown

MOST_SERVICES = 600


class Plan(NamedTuple):
    """The number of rounds or runs of each measurement."""

    status: dict  # from numbers of services to numbers of rounds
    repair: dict  # from numbers of ids to numbers of rounds
    start_up: int  # rounds
    memory: int  # runs
    system_calls: tuple  # numbers of services
    instructions: tuple  # numbers of services
    adapter: int  # rounds
    inspection: dict  # from numbers of services to numbers of rounds
    hanging: tuple  # numbers of services
    inspection_memory: int  # runs


FULL = Plan(status={6: 151, 60: 51, 600: 15}, repair={1: 151, 100: 31}, start_up=501, memory=7,
            system_calls=(6, 60), instructions=(6, 60), adapter=101,
            inspection={6: 51, 60: 15, 600: 5}, hanging=(6, 60, 600), inspection_memory=7)
QUICK = Plan(status={6: 31, 60: 9}, repair={1: 21, 100: 5}, start_up=101, memory=3,
             system_calls=(6, 60), instructions=(6,), adapter=21, inspection={6: 5, 60: 3}, hanging=(),
             inspection_memory=3)


def rows(server, plan):
    """All rows. The rows of alternatives come last, since they change the panel's monitor."""
    yield from beside_floor.status_rows(server, plan.status)
    yield from beside_floor.repair_rows(server, plan.repair)
    yield from memory.rows(server, plan.memory)
    yield from start_up.time_rows(server, plan.start_up)
    yield from start_up.instruction_rows(server)
    yield from beside_floor.system_call_rows(server, plan.system_calls)
    yield from beside_floor.instruction_rows(server, plan.instructions)
    yield from alternatives.adapter_rows(server, plan.adapter)
    yield from alternatives.inspection_rows(server, plan.inspection, plan.hanging)
    yield alternatives.memory_row(server, 60, plan.inspection_memory)


def go_first():
    """Gives this process and all that it starts, the database server too, the highest priority if
    that is allowed, so that other work of the machine disturbs less."""
    with contextlib.suppress(PermissionError):
        os.setpriority(os.PRIO_PROCESS, 0, -20)


def main():
    go_first()
    plan = QUICK if "--quick" in sys.argv[1:] else FULL
    print(machine.description())
    with Server(MOST_SERVICES) as server:
        repeated = repetition.report(server)
        print(markdown(rows(server, plan)))
        print(repeated)


if __name__ == "__main__":
    main()
