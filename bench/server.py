# SPDX-License-Identifier: MIT
"""A panel's server with any number of services on a private host."""

import contextlib
import pathlib
import shutil
import socket
import subprocess
import sys
from typing import NamedTuple

from database import START, Database
from panel import BUILD, CORE_SERVICES, KELDOCTL, PROJECT, Panel

PROGRAMS = PROJECT / "build/bench/bench"
SILENT_PORT, UNUSED_PORT, FIRST_PORT = 19998, 19999, 20000


class Port(NamedTuple):
    """The port that a service's definition names, and its protocol, which may be empty."""

    number: int
    protocol: str = ""


class Server:
    """A panel whose services run. MariaDB is real; one process plays all other services: it listens
    on a port for each, and each pid file has its pid. keldoctl and keldoctl-inspect are at the
    panel's paths for them. The monitor answers at once, unless set_monitor() installs another one.
    `services` are all services with a definition; start_services() selects the ones to check,
    breaking() makes some of them fail. Use it as a context manager."""

    PROCESS = "listeners.py"  # the name in the process's arguments
    RESTART = "echo stopped\necho started"  # the shell commands of a repair

    def __init__(self, most_services):
        self.panel = Panel()
        self.floor = str(PROGRAMS / "floor")
        self.peak_memory = str(PROGRAMS / "peak_memory")
        self.keldoctl = self._install(KELDOCTL, "keldoctl")
        self.inspect = self._install(BUILD / "keldoctl-inspect", "keldoctl-inspect")
        self.monitor = str(self.panel.root / "admin/sbin/monit")
        self.set_monitor()
        self.upgrade_check = str(self.panel.root / "admin/sbin/noupgradecheck")
        further = range(len(CORE_SERVICES) + 1, most_services + 1)
        self.services = [*CORE_SERVICES, *(f"service{number}" for number in further)]
        self._listeners = self._listen()
        # The server never accepts a connection to this port, so a client gets no answer.
        self._silent = socket.create_server(("127.0.0.1", SILENT_PORT), backlog=1024)
        self._ports = {service: Port(FIRST_PORT + number)
                       for number, service in enumerate(self.services)}
        for service in self.services:
            self._define(service)
        self._database = Database("--general-log=0")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._database.stop()
        self._listeners.kill()
        self._listeners.wait()
        self._silent.close()

    def set_monitor(self, program=PROGRAMS / "monitor"):
        """Makes a program the panel's monitor, by default the one that answers at once."""
        self._install(program, "monit")

    def shut_down(self, service):
        """Makes the monitor report a service as down, until set_monitor() is called."""
        self.panel.fake_monitor({service: 1})

    def learn_german(self):
        """Installs the German message catalogue."""
        self.panel.catalogue((PROJECT / "po/de.po").read_text(encoding="utf-8"), "de")

    def start_services(self, count):
        """Makes keldoctl check the first `count` services: the core services, and others by the
        action log. Returns them. Raises unless keldoctl reports no problem."""
        self._database.reset()
        self._database.log_action(START, *self.services[len(CORE_SERVICES):count])
        report = self.panel.run("--status").stdout
        if not report.endswith(b"<keldoctl/>\n"):
            raise RuntimeError(f"not all services are up:\n{report.decode()}")
        return self.services[:count]

    @contextlib.contextmanager
    def breaking(self, down=(), hanging=()):
        """Within the context nobody listens on the port of the services `down`, and the port of the
        services `hanging` takes connections and never answers."""
        kept = dict(self._ports)
        self._ports |= dict.fromkeys(down, Port(UNUSED_PORT))
        self._ports |= dict.fromkeys(hanging, Port(SILENT_PORT, "http"))
        changed = (*down, *hanging)
        for service in changed:
            self._define(service)
        yield
        self._ports = kept
        for service in changed:
            self._define(service)

    def write_control_file(self, services, settings=""):
        """Writes a control file of the monitor: the settings, then for each service the text that
        keldoctl writes. Returns its path."""
        path = self.panel.root / "tmp/control"
        path.write_text(settings + "".join(map(self._control_text, services)), encoding="utf-8")
        path.chmod(0o600)
        return str(path)

    def port(self, service):
        return self._ports[service]

    def _listen(self):
        program = PROJECT / "bench" / self.PROCESS
        listeners = subprocess.Popen([sys.executable, program, str(FIRST_PORT),
                                      str(len(self.services))], stdout=subprocess.PIPE)
        if not listeners.stdout.readline():
            raise RuntimeError("nothing listens on the services' ports")
        return listeners

    def _define(self, service):
        pid_file = pathlib.Path(self._pid_file(service))
        pid_file.write_text(f"{self._listeners.pid}\n", encoding="ascii")
        stop, start = self.RESTART.splitlines()
        number, protocol = self._ports[service]
        self.panel.write_service(service, pid_file=str(pid_file), stop=stop, start=start,
                                 ports=[(number, {"protocol": protocol} if protocol else {})])

    def _control_text(self, service):
        number, protocol = self._ports[service]
        test = f"port {number}" + (f" protocol {protocol}" if protocol else "")
        return (f'check process {service}\n\twith pidfile "{self._pid_file(service)}"\n'
                f"\tif failed {test} then alert\n")

    @staticmethod
    def _pid_file(service):
        return f"/run/{service}.pid"

    def _install(self, program, name):
        return str(shutil.copy(program, self.panel.root / "admin/sbin" / name))
