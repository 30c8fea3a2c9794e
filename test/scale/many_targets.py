# SPDX-License-Identifier: MIT
"""Asks a thousand targets behind real sshds and gates; some are absent, and some hang. Prints a table
of the kinds of targets and their states in the fleet document, and the processes that are left. Fails if
any target is in a wrong state or a process is left.

Usage: many_targets.py [NUMBER]      on a private host in namespaces, with the packages for fleets
"""

import collections
import contextlib
import dataclasses
import os
import pathlib
import random
import socket
import sys
import tempfile
import time

import fleet
import playbooks
from processes import names_of, running, wait_until_gone
from sshds import OWN_RUN, PORT, Targets

HANGS = "#!/bin/sh\nexec sleep infinity\n"
STOPS = f"#!/bin/sh\nhead -c 2000 '{fleet.INSPECTIONS}/all_well.xml'\nexec sleep infinity\n"
# The gate ends keldoctl-inspect after 90 s, and gives it 5 s to tidy up.
GATE_SECONDS = 110
WAIT = "keldoctl_timeout=10"


@dataclasses.dataclass
class Kind:
    """Targets of one kind: how many there are in a thousand, and what must be found out."""

    title: str
    share: int
    state: str
    code: str = ""  # of the reason, if they give no inspection
    inspect: str = None  # the program behind their gates
    variables: str = ""

    def name(self):
        return self.title.replace(" ", "-").replace(",", "")


KINDS = (
    Kind("answers well", 860, "well", inspect=fleet.answer("all_well", "well")),
    Kind("has a service down", 40, "problems", inspect=fleet.answer("one_down", "problems")),
    Kind("has a full disk", 15, "unknown", inspect=fleet.answer("disk_full", "unknown")),
    Kind("is upgraded", 15, "upgrade", inspect=fleet.answer("upgrade", "upgrade")),
    Kind("nobody listens", 30, "unreachable", "unreachable"),
    Kind("accepts and never speaks", 10, "unreachable", "unreachable"),
    Kind("knows another key", 10, "unreachable", "unreachable"),
    Kind("hangs", 10, "failed", "timed_out", HANGS, WAIT),
    Kind("says well, then hangs", 10, "failed", "timed_out", STOPS, WAIT),
)


def add(targets, kind, names, stack):
    """Starts the targets of a kind. Their listeners close with the stack."""
    if kind.title == "nobody listens":
        targets.add_absent(names)
    elif kind.title == "accepts and never speaks":
        targets.add_absent(names)
        for host in targets.hosts[-len(names):]:
            stack.enter_context(socket.create_server((host.address, PORT)))
    else:
        command = "false"
        if kind.inspect:
            command = fleet.install_gate(targets.directory / "gates" / kind.name(), kind.inspect)
        for first in range(0, len(names), fleet.MOST_ADDRESSES):
            targets.add(names[first:first + fleet.MOST_ADDRESSES], command, kind.variables, OWN_RUN)
            if not kind.inspect:
                (targets.directory / f"sshd{len(targets.sshds) - 1}/authorized_keys").write_text("")


def main():
    number = int(sys.argv[1]) if len(sys.argv) > 1 else 1000
    if os.environ.get("KELDO_HOST") != "namespaces":
        sys.exit("needs a private host in namespaces: a gate's lock is in /run")
    with contextlib.ExitStack() as stack:
        directory = stack.enter_context(tempfile.TemporaryDirectory())
        targets = stack.enter_context(Targets(pathlib.Path(directory, "t")))
        expected = {}
        for kind in KINDS:
            count = max(1, kind.share * number // 1000)
            names = [f"{kind.name()}-{n:03}" for n in range(1, count + 1)]
            expected |= dict.fromkeys(names, kind)
            add(targets, kind, names, stack)
        random.Random(1).shuffle(targets.hosts)
        inventory = targets.inventory()
        before = running()
        began = time.monotonic()
        run = playbooks.play("ask", inventory, pathlib.Path(directory, "asked"))
        seconds = time.monotonic() - began
        after = running() - before
        left = wait_until_gone(after, GATE_SECONDS) | (running() - before - after)
        show(run, expected, seconds)
        print(f"\nProcesses before: {len(before)}; at the end of the run also: {names_of(after)};"
              f" after the gates' time limit also: {names_of(left)}")
    wrong = [name for name, kind in expected.items() if not is_right(run, name, kind)]
    for name in wrong[:20]:
        print(f"wrong: {name}: {run.states().get(name)}", run.hosts[name].findtext("reason"))
    if wrong or left or set(run.states()) != set(expected):
        sys.exit(f"{len(wrong)} targets are in a wrong state, and {len(left)} processes are left")


def is_right(run, name, kind):
    return run.states().get(name) == kind.state and (not kind.code or run.reason(name) == kind.code)


def show(run, expected, seconds):
    print(f"\n{len(expected)} targets, {seconds:.1f} s\n\n| The target | Targets | Must be | Found as |"
          " Well by mistake |\n|---|--:|---|---|--:|")
    for kind in KINDS:
        names = [name for name, each in expected.items() if each is kind]
        found = collections.Counter(
            " ".join(filter(None, (run.states()[name], kind.code and run.reason(name))))
            for name in names)
        well = 0 if kind.state == "well" else sum(run.states()[name] == "well" for name in names)
        print(f"| {kind.title} | {len(names)} | {kind.state} {kind.code} |",
              ", ".join(f"{count} {state}" for state, count in found.items()), f"| {well} |")


main()
