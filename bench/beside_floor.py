# SPDX-License-Identifier: MIT
"""Runs of keldoctl beside the floor, which runs the same commands and nothing else."""

import callgrind
import system_calls
from rounds import Command, alternate
from table import Count, compared, timed

STATUS_TARGETS = {6: 1.5, 60: 1.15, 600: 1.15}


def status_rows(server, rounds):
    """Rows of --status. `rounds` maps numbers of services to numbers of rounds."""
    rows = []
    for count, number in rounds.items():
        rows += _timed(f"--status, {count} services", *_status_and_floor(server, count), number,
                       STATUS_TARGETS[count])
    return rows


def repair_rows(server, rounds):
    """Rows of --repair with 6 services. `rounds` maps numbers of ids to numbers of rounds."""
    services = server.start_services(6)
    rows = []
    for count, number in rounds.items():
        repaired = server.services[-count:]
        ids = [f"restart-service:{service}" for service in repaired]
        commands = [server.RESTART] * count + _status_commands(server, services)
        rows += _timed(f"--repair, {count} id{'s' * (count > 1)}",
                       Command([server.keldoctl, "--repair", *ids]), _floor(server, commands),
                       number)
    return rows


def system_call_rows(server, counts):
    """Rows of --status, for these numbers of services."""
    rows = []
    for count in counts:
        commands = _status_and_floor(server, count)
        for what, with_children in (("itself", False), ("with all children", True)):
            calls = [Count(system_calls.count(each.words, with_children).total())
                     for each in commands]
            rows.append(compared(f"System calls, --status, {count} services, {what}", *calls,
                                 "floor"))
    return rows


def instruction_rows(server, counts):
    """Rows of --status without its children, for these numbers of services."""
    return [compared(f"Instructions, --status, {count} services, itself",
                     *(Count(callgrind.count(each.words).total())
                       for each in _status_and_floor(server, count)), "floor")
            for count in counts]


def _status_and_floor(server, count):
    services = server.start_services(count)
    return (Command([server.keldoctl, "--status"]),
            _floor(server, _status_commands(server, services)))


def _status_commands(server, services):
    """The shell commands of --status: the upgrade check, and one for each service except mysql."""
    control = server.write_control_file(["web"])
    check = f"{server.monitor} -c {control} -x check-status"
    return [server.upgrade_check] + [check] * (len(services) - 1)


def _floor(server, commands):
    """The floor of a run with these shell commands."""
    path = server.panel.root / "tmp/commands"
    path.write_text("".join(f"{command}\0" for command in commands), encoding="utf-8")
    return Command([server.floor, str(path)])


def _timed(what, command, floor, rounds, at_most=None):
    _require_same_children(command, floor)
    own, least = alternate([command, floor], rounds)
    return [timed(f"{what}, wall", own.wall, least.wall, "floor", at_most),
            timed(f"{what}, CPU", own.cpu, least.cpu, "floor", at_most)]


def _require_same_children(command, floor):
    """Raises unless both start the same number of programs; otherwise they are not comparable."""
    started = [system_calls.count(each.words, with_children=True, only="execve").total()
               for each in (command, floor)]
    if started[0] != started[1]:
        raise RuntimeError(f"keldoctl starts {started[0]} programs, the floor {started[1]}")
