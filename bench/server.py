# SPDX-License-Identifier: MIT
"""A panel's server with as many services as wanted, all of them well, on a private host."""

import pathlib
import shutil
import subprocess
import sys

from database import START, Database
from panel import CORE_SERVICES, KELDOCTL, PROJECT, Panel

PROGRAMS = PROJECT / "build/bench/bench"
FIRST_PORT = 20000


class Server:
    """A panel whose services run: a real MariaDB, and one process for all others, which listens on
    a port for each and stands in each pid file. keldoctl is at the panel's own place for it, and
    the monitor is one that answers at once, unless set_monitor() takes another. Use it as a context
    manager. `services` are all that have a definition; start_services() says which to check."""

    PROCESS = "listeners.py"  # the name in the process's arguments
    RESTART = "echo stopped\necho started"  # what a repair has the shell run

    def __init__(self, most_services):
        self.panel = Panel()
        self.floor = str(PROGRAMS / "floor")
        self.peak_memory = str(PROGRAMS / "peak_memory")
        self.keldoctl = self._install(KELDOCTL, "keldoctl")
        self.monitor = str(self.panel.root / "admin/sbin/monit")
        self.set_monitor()
        self.upgrade_check = str(self.panel.root / "admin/sbin/noupgradecheck")
        further = range(len(CORE_SERVICES) + 1, most_services + 1)
        self.services = [*CORE_SERVICES, *(f"service{number}" for number in further)]
        self._listeners = self._listen()
        for service in self.services:
            self._define(service)
        self._database = Database("--general-log=0")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._database.stop()
        self._listeners.kill()
        self._listeners.wait()

    def set_monitor(self, program=PROGRAMS / "monitor"):
        """Makes another program the panel's monitor, or the first one again."""
        self._install(program, "monit")

    def shut_down(self, service):
        """Has a service reported as down, until set_monitor() is called."""
        self.panel.fake_monitor({service: 1})

    def learn_german(self):
        """Installs the German message catalogue."""
        self.panel.catalogue((PROJECT / "po/de.po").read_text(encoding="utf-8"), "de")

    def start_services(self, count):
        """Makes the first so many services those to check: the core services, and the others by
        the action log. Returns them. Raises unless keldoctl finds them well."""
        self._database.reset()
        self._database.log_action(START, *self.services[len(CORE_SERVICES):count])
        report = self.panel.run("--status").stdout
        if not report.endswith(b"<keldoctl/>\n"):
            raise RuntimeError(f"not all services are well:\n{report.decode()}")
        return self.services[:count]

    def write_control_file(self, services, settings=""):
        """Writes a control file of the monitor for those services, as keldoctl does it for each
        one, after the settings. Returns its path."""
        path = self.panel.root / "tmp/control"
        path.write_text(settings + "".join(map(self._control_text, services)), encoding="utf-8")
        path.chmod(0o600)
        return str(path)

    def port(self, service):
        return FIRST_PORT + self.services.index(service)

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
        self.panel.write_service(service, pid_file=str(pid_file), stop=stop, start=start,
                                 ports=[(self.port(service), {})])

    def _control_text(self, service):
        return (f'check process {service}\n\twith pidfile "{self._pid_file(service)}"\n'
                f"\tif failed port {self.port(service)} then alert\n")

    @staticmethod
    def _pid_file(service):
        return f"/run/{service}.pid"

    def _install(self, program, name):
        return str(shutil.copy(program, self.panel.root / "admin/sbin" / name))
