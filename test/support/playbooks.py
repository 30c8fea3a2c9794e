# SPDX-License-Identifier: MIT
"""Runs of the collection's playbooks, and the fleet documents that they write."""

import os
import pathlib
import subprocess
import xml.etree.ElementTree as ET

import schemas
from panel import BUILD

FORKS = 20


class Run:
    """A run of a playbook: its exit status, its output, and the hosts of its document by name."""

    def __init__(self, directory, status, output):
        self.directory = directory
        self.status = status
        self.output = output
        try:
            document = (directory / "fleet.xml").read_bytes()
        except FileNotFoundError:
            raise AssertionError(f"no fleet document:\n{output}") from None
        schemas.require_fleet(document)
        self.document = ET.fromstring(document)
        self.hosts = {host.get("name"): host for host in self.document.iter("host")}

    def states(self):
        return {name: host.get("state") for name, host in self.hosts.items()}

    def reason(self, name):
        """The code of the reason why the host gave no inspection; empty if it gave one."""
        reason = self.hosts[name].find("reason")
        return "" if reason is None else reason.get("code")

    def outcomes(self):
        """The state of each repair that was asked for, by host and id."""
        return {(name, outcome.get("id")): outcome.get("state")
                for name, host in self.hosts.items() for outcome in host.iter("outcome")}


def play(name, inventory, directory, *options):
    """Runs a playbook of the collection. Its files go to the directory."""
    directory.mkdir(parents=True, exist_ok=True)
    done = subprocess.run(command(name, inventory, *options), check=False, cwd=directory,
                          env=environment(directory), stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8",
                          errors="replace")
    return Run(directory, done.returncode, done.stdout)


def command(name, inventory, *options):
    return ["ansible-playbook", f"--inventory={inventory}", *options, f"keldo.keldoctl.{name}"]


def environment(directory):
    """The environment of Ansible, which then neither reads nor writes files of the user."""
    home = pathlib.Path(directory, ".ansible")
    return {
        "PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(directory),
        "ANSIBLE_HOME": str(home), "ANSIBLE_LOCAL_TEMP": str(home / "tmp"),
        "ANSIBLE_SSH_CONTROL_PATH_DIR": str(home / "cp"),
        "ANSIBLE_COLLECTIONS_PATH": str(BUILD / "fleet"), "ANSIBLE_FORKS": str(FORKS),
        "ANSIBLE_CALLBACKS_ENABLED": "keldo.keldoctl.fleet",
        "ANSIBLE_LOCALHOST_WARNING": "False", "ANSIBLE_INVENTORY_UNPARSED_WARNING": "False",
        "KELDOCTL_FLEET_DIRECTORY": str(directory)}
