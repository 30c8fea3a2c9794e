# SPDX-License-Identifier: MIT
"""Many targets on one private host: real sshds at addresses of 127.0.0.0/8, and commands that answer
in the place of a server."""

import itertools
import pathlib
import shutil
import signal

import fleet

PORT = 2222
# A gate serves one caller at a time and its lock is in /run, so each sshd gets a /run of its own.
OWN_RUN = ["unshare", "--mount", "sh", "-c",
           'mount -t tmpfs run /run && mkdir -m 0755 /run/sshd && exec "$@"', "sh"]


class Targets:
    """The targets and the inventory of a controller that is allowed to ask them. Use it as a context
    manager: the sshds end with it."""

    def __init__(self, directory):
        self.directory = pathlib.Path(directory)
        self.directory.mkdir(parents=True, exist_ok=True)
        self.hosts = []
        self.sshds = []
        self._key = fleet.make_key(self.directory / "key")
        self._host_key = fleet.make_key(self.directory / "host_key")
        self._addresses = (f"127.1.{high}.{low}" for high, low in
                           itertools.product(range(256), range(1, 255)))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for sshd in self.sshds:
            sshd.send_signal(signal.SIGTERM)
        for sshd in self.sshds:
            sshd.wait()

    def add(self, names, command, variables="", within=()):
        """Starts an sshd for the targets with these names, at most 16. They all answer by the command,
        whatever they are asked."""
        hosts = [fleet.Host(name, next(self._addresses), PORT, variables=variables) for name in names]
        directory = self.directory / f"sshd{len(self.sshds)}"
        directory.mkdir()
        shutil.copy2(self.directory / "host_key", directory)
        fleet.accept_key(directory, self._key, command)
        self.sshds.append(fleet.start_sshd(directory, [host.address for host in hosts], PORT, within))
        self.hosts += hosts

    def add_absent(self, names):
        """Targets at addresses where nobody listens."""
        self.hosts += [fleet.Host(name, next(self._addresses), PORT) for name in names]

    def inventory(self):
        """Writes the inventory and returns its path."""
        fleet.write_inventory(self.directory, self.hosts, [self._host_key] * len(self.hosts))
        return self.directory / "inventory"
