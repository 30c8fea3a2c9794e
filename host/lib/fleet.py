# SPDX-License-Identifier: MIT
"""The hosts of a fleet: their gates and sshds, and the files that describe them to the controller.

Programs on the controller use it with this directory in PYTHONPATH.
"""

import dataclasses
import os
import pathlib
import select
import signal
import socket
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("KELDO_BUILD", PROJECT / "build/release"))
DIRECTORY = pathlib.Path(os.environ.get("KELDO_FLEET", "/run/kvr/fleet"))
INSTALLED = DIRECTORY / "installed"  # on a host: where its gate is
INSPECTIONS = PROJECT / "test/product/inspections"
# The exit status of keldoctl-inspect for each verdict.
STATUSES = {"well": 0, "problems": 1, "unknown": 2, "upgrade": 4}
MOST_ADDRESSES = 16  # of one sshd
START_SECONDS = 60  # only an sshd that fails takes that long
# The default key exchange of Debian 12's ssh takes five times the processor time of this one.
SSHD_CONFIGURATION = """\
KexAlgorithms curve25519-sha256
Port {port}
HostKey {directory}/host_key
AuthorizedKeysFile {directory}/authorized_keys
PidFile {directory}/pid
StrictModes no
UsePAM no
UseDNS no
PasswordAuthentication no
PermitRootLogin forced-commands-only
MaxStartups 1000
LogLevel ERROR
"""
INVENTORY = """\
[panels]
{hosts}

[panels:vars]
ansible_user=root
ansible_ssh_private_key_file={directory}/key
ansible_ssh_common_args=-F none -o UserKnownHostsFile={directory}/known_hosts
"""


@dataclasses.dataclass
class Host:
    """A host of the fleet, as the controller sees it."""

    name: str
    address: str
    port: int
    # The host's first process; 0 if the controller itself is the host. None if the host is only an
    # sshd with a recorded inspection.
    pid: int = None
    # Further variables of the inventory, such as "keldoctl_timeout=3".
    variables: str = ""

    def enter(self, *command):
        """The command that runs a command on this host."""
        if self.pid is None:
            raise ValueError(f"{self.name} is only an sshd")
        if self.pid == 0:
            return list(command)
        return ["nsenter", f"--target={self.pid}", "--mount", "--net", "--pid", "--uts", "--ipc",
                "--root", "--wd", *command]

    def run(self, *command, **options):
        """Runs a command on this host; it must succeed. Returns its output."""
        return subprocess.run(self.enter(*command), check=True, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, text=True, **options).stdout

    def take_away(self):
        """Makes this host unreachable."""
        if self.pid:
            subprocess.run(["ip", "link", "set", bridge_port(self.address), "down"], check=True)
            return
        process = os.pidfd_open(int((DIRECTORY / self.name / "pid").read_text(encoding="ascii")))
        signal.pidfd_send_signal(process, signal.SIGTERM)
        select.select([process], [], [])
        os.close(process)

    def line(self):
        """The line of the inventory."""
        return f"{self.name} ansible_host={self.address} ansible_port={self.port} {self.variables}"

    def known_host(self, host_key):
        """The line of known_hosts."""
        return (self.address if self.port == 22 else f"[{self.address}]:{self.port}") + " " + host_key


def bridge_port(address):
    """The name of the controller's network interface to the host with this address."""
    return "fleet" + address.rpartition(".")[2]


def make_key(path):
    """Makes a key without a passphrase. Returns the line of its public half."""
    subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "fleet", "-f", path],
                   check=True)
    return pathlib.Path(f"{path}.pub").read_text(encoding="ascii")


def install_gate(prefix, inspect):
    """Installs the gate below a directory. `inspect` is its keldoctl-inspect: a program, or the text of
    a script. Returns the path of the gate."""
    for component in ("gate", "views"):
        subprocess.run(["cmake", "--install", BUILD, "--prefix", prefix, "--component", component],
                       check=True, stdout=subprocess.DEVNULL)
    program = prefix / "sbin/keldoctl-inspect"
    if isinstance(inspect, pathlib.Path):
        program.symlink_to(inspect)
    else:
        program.write_text(inspect, encoding="utf-8")
        program.chmod(0o755)
    return prefix / "sbin/keldoctl-gate"


def answer(name, verdict):
    """A script that prints a recorded inspection with this verdict."""
    return f"#!/bin/sh\ncat '{INSPECTIONS / name}.xml'\nexit {STATUSES[verdict]}\n"


def accept_key(directory, key, command):
    """Makes the sshd of a directory accept a key, with `command` as its forced command."""
    line = f'restrict,command="{command}" {key}'
    (directory / "authorized_keys").write_text(line, encoding="utf-8")


def start_sshd(directory, addresses, port, within=()):
    """Starts an sshd, by the command `within` if there is one. Returns its process when it listens."""
    if len(addresses) > MOST_ADDRESSES:
        raise ValueError("an sshd listens on at most 16 addresses")
    pathlib.Path("/run/sshd").mkdir(mode=0o755, exist_ok=True)
    directory.mkdir(parents=True, exist_ok=True)
    if not (directory / "host_key").exists():
        make_key(directory / "host_key")
    text = SSHD_CONFIGURATION.format(port=port, directory=directory)
    text += "".join(f"ListenAddress {address}\n" for address in addresses)
    (directory / "sshd_config").write_text(text, encoding="ascii")
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notifications:
        address = directory / "notify"
        address.unlink(missing_ok=True)
        notifications.bind(str(address))
        process = subprocess.Popen(
            [*within, "/usr/sbin/sshd", "-D", "-E", directory / "log",
             "-f", directory / "sshd_config"],
            env={"PATH": os.defpath, "NOTIFY_SOCKET": str(address)},
            start_new_session=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        end = os.pidfd_open(process.pid)
        events = select.select([notifications, end], [], [], START_SECONDS)[0]
        os.close(end)
        if notifications not in events:
            raise RuntimeError(f"sshd did not start: {(directory / 'log').read_text()}")
    return process


def write_inventory(directory, hosts, host_keys):
    """Writes the inventory and the host keys. The key is in the same directory."""
    text = INVENTORY.format(hosts="\n".join(host.line() for host in hosts), directory=directory)
    (directory / "inventory").write_text(text, encoding="utf-8")
    (directory / "known_hosts").write_text(
        "".join(host.known_host(key) for host, key in zip(hosts, host_keys)), encoding="ascii")


def describe(hosts, host_keys):
    """Writes what the controller knows about its hosts."""
    write_inventory(DIRECTORY, hosts, host_keys)
    (DIRECTORY / "hosts").write_text(
        "".join(f"{host.name} {host.address} {host.port} {'-' if host.pid is None else host.pid}\n"
                for host in hosts), encoding="ascii")


def hosts():
    """The hosts of the fleet, by name."""
    fleet = {}
    for line in (DIRECTORY / "hosts").read_text(encoding="ascii").splitlines():
        name, address, port, pid = line.split()
        fleet[name] = Host(name, address, int(port), None if pid == "-" else int(pid))
    return fleet
