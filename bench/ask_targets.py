# SPDX-License-Identifier: MIT
"""Measures what it costs to ask many targets by Ansible, beside a plain loop of ssh, and prints a table.

The targets are real sshds and gates on this host, with recorded inspections behind them.

Usage: ask_targets.py RUNS NUMBER...    on a private host in namespaces, with the packages for fleets
"""

import os
import pathlib
import select
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from typing import NamedTuple

import fleet
import machine
import playbooks
import table
from sshds import OWN_RUN, Targets

FORKS = playbooks.FORKS
# One of 20 targets has a problem.
KINDS = (("well", fleet.answer("all_well", "well"), 19), ("down", fleet.answer("one_down", "problems"), 1))
LOOP = f"""
running=0
while read -r name address port; do
    ssh -F none -T -i {{directory}}/key -o UserKnownHostsFile={{directory}}/known_hosts \\
        -o BatchMode=yes -p "$port" "root@$address" keldoctl-gate inspect </dev/null >"$name" &
    ((++running < {FORKS})) || wait -n
done <{{directory}}/list
wait
"""
# Peak memory is read this often.
SAMPLE_SECONDS = 0.1


class Cost(NamedTuple):
    """What a run has cost: milliseconds for each target, and the peak memory of the largest process of
    the controller in KiB."""

    wall: float
    controller: float
    targets: float
    memory: int


class Fleet:
    """Targets and the two ways to ask them."""

    def __init__(self, directory, number):
        self.number = number
        self.directory = directory
        self.targets = Targets(directory / "targets")
        for name, inspect, share in KINDS:
            gate = fleet.install_gate(directory / name, inspect)
            names = [f"{name}{n:04}" for n in range(number * share // 20)]
            for first in range(0, len(names), fleet.MOST_ADDRESSES):
                self.targets.add(names[first:first + fleet.MOST_ADDRESSES], gate, within=OWN_RUN)
        # A gate serves one caller at a time. Targets with the same sshd share a lock, so neighbours
        # must not have the same sshd.
        self.targets.hosts.sort(key=lambda host: (int(host.address.rpartition(".")[2]) % 16, host.name))
        self.inventory = self.targets.inventory()
        (self.targets.directory / "list").write_text("".join(
            f"{host.name} {host.address} {host.port}\n" for host in self.targets.hosts))

    def ask_by_loop(self):
        directory = self.directory / "loop"
        directory.mkdir(exist_ok=True)
        cost = self._measured(["bash", "-c", LOOP.format(directory=self.targets.directory)], directory,
                              {"PATH": os.defpath}, 0)
        answers = [(directory / host.name).read_text() for host in self.targets.hosts]
        if not all("</inspection>" in answer for answer in answers):
            raise RuntimeError("the loop got no answer from some targets")
        return cost

    def ask_by_ansible(self, watch=None):
        directory = self.directory / "ansible"
        directory.mkdir(exist_ok=True)
        cost = self._measured(playbooks.command("ask", self.inventory), directory,
                              playbooks.environment(directory), 2, watch)
        states = list(playbooks.Run(directory, 2, "").states().values())
        if states.count("well") != self.number * 19 // 20 or len(states) != self.number:
            raise RuntimeError(f"wrong states: {states.count('well')} are well")
        return cost

    def _measured(self, command, directory, environment, status, watch=None):
        before = self._cpu_of_targets()
        begin = time.perf_counter()
        with open(directory / "output", "wb") as output:
            process = subprocess.Popen(command, cwd=directory, env=environment, stdout=output,
                                       stderr=output, stdin=subprocess.DEVNULL)
            if watch:
                watch(process.pid)
            _, wait_status, usage = os.wait4(process.pid, 0)
        wall = time.perf_counter() - begin
        process.returncode = os.waitstatus_to_exitcode(wait_status)
        if process.returncode != status:
            raise RuntimeError(f"status {process.returncode}: {(directory / 'output').read_text()}")
        targets = self._cpu_of_targets() - before
        return Cost(*(1000 * seconds / self.number for seconds in (
            wall, usage.ru_utime + usage.ru_stime, targets)), usage.ru_maxrss)

    def _cpu_of_targets(self):
        """The CPU seconds of the sshds and of all their descendants. Waits until the descendants end."""
        for sshd in self.targets.sshds:
            for child in _children(sshd.pid):
                _wait_for(child)
        stats = [pathlib.Path(f"/proc/{sshd.pid}/stat").read_text().rpartition(")")[2].split()
                 for sshd in self.targets.sshds]
        return sum(int(field) for stat in stats for field in stat[11:15]) / os.sysconf("SC_CLK_TCK")


def _children(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    except FileNotFoundError:
        return []


def _wait_for(pid):
    try:
        descriptor = os.pidfd_open(int(pid))
    except ProcessLookupError:
        return
    select.select([descriptor], [], [])
    os.close(descriptor)


def peak_memory(targets):
    """The most memory in KiB that Ansible and all its descendants had at one time. Memory that several
    processes share counts once (PSS)."""
    samples = [0]

    def watch(pid):
        def sample():
            while pathlib.Path(f"/proc/{pid}").exists():
                samples.append(sum(map(_memory, _tree(pid))))
                time.sleep(SAMPLE_SECONDS)
        threading.Thread(target=sample, daemon=True).start()

    targets.ask_by_ansible(watch)
    return max(samples)


def _tree(pid):
    found = [str(pid)]
    for each in found:
        found += _children(each)
    return found


def _memory(pid):
    try:
        text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    except (FileNotFoundError, ProcessLookupError):
        return 0
    return sum(int(line.split()[1]) for line in text.splitlines() if line.startswith("Pss:"))


def rows(runs, numbers):
    controller = {}
    for number in numbers:
        with tempfile.TemporaryDirectory() as directory:
            targets = Fleet(pathlib.Path(directory), number)
            with targets.targets:
                costs = [(targets.ask_by_loop(), targets.ask_by_ansible()) for _ in range(runs)]
                together = peak_memory(targets)
        loop, ansible = (Cost(*zip(*each)) for each in zip(*costs))
        controller[number] = ansible.controller
        for what, name, at_most in (("CPU of the controller", "controller", 4.5),
                                    ("CPU of the targets", "targets", 1.3), ("Wall time", "wall", 3.5)):
            yield table.timed(f"{what} for each target, {number}", getattr(ansible, name),
                              getattr(loop, name), "loop of ssh", at_most)
        yield table.alone(f"CPU of the controller for each target, {number}",
                          table.Milliseconds(statistics.median(ansible.controller)), runs, 100)
        yield table.alone(f"Peak memory of the controller's largest process, {number}",
                          table.Kibibytes(statistics.median(ansible.memory)), runs, 160 * 1024)
        yield table.alone(f"Peak memory of the controller's processes together, {number}",
                          table.Kibibytes(together), 1)
    first, *_, last = numbers
    yield table.timed(f"CPU of the controller for each target, {last}", controller[last], controller[first],
                      f"{first}", 1.15)


def main():
    runs, *numbers = map(int, sys.argv[1:])
    print(machine.description())
    print(table.markdown(list(rows(runs, numbers))))


if __name__ == "__main__":
    main()
