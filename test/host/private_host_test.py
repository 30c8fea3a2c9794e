# SPDX-License-Identifier: MIT
"""The state of a private host as its commands see it. Run by host/run."""

import contextlib
import fcntl
import os
import pathlib
import select
import signal
import socket
import stat
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

from panel import PROJECT
from services import PORTS, service_control

PANEL = pathlib.Path("/usr/local/kvr")
SBIN = PANEL / "admin/sbin"


def accepts_connections(port):
    with socket.socket() as client:
        return client.connect_ex(("127.0.0.1", port)) == 0


def main_process(service):
    return int(pathlib.Path(f"/run/kvr/{service}.started").read_text().split()[0])


def kill_main_process(service):
    """Kills only the main process, as the kernel does without memory, and waits for its end."""
    process = os.pidfd_open(main_process(service))
    signal.pidfd_send_signal(process, signal.SIGKILL)
    select.select([process], [], [])
    os.close(process)


def in_sessions(sessions):
    """The ids of the processes in these sessions."""
    found = []
    for entry in filter(str.isdecimal, os.listdir("/proc")):
        with contextlib.suppress(ProcessLookupError):  # it has ended
            if os.getsid(int(entry)) in sessions:
                found.append(int(entry))
    return found


def has_open(process, target):
    """Whether one of the process's descriptors is `target`."""
    for file in pathlib.Path(f"/proc/{process}/fd").iterdir():
        with contextlib.suppress(FileNotFoundError):  # it was closed
            if os.readlink(file) == target:
                return True
    return False


def query(statement, *options):
    command = ["mariadb", *options, "--batch", "--skip-column-names", "-e", statement]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()


class OwnHost(unittest.TestCase):
    """A host is apart from the machine. If it may not mount, it is alone in its container."""

    def test_network_processes_and_name_are_its_own(self):
        if os.environ["KELDO_HOST"] != "namespaces":
            self.skipTest("a container serves as the host")
        first = pathlib.Path("/proc/1/cmdline").read_bytes().split(b"\0")
        self.assertEqual(os.listdir("/sys/class/net"), ["lo"])
        self.assertEqual(first[1], os.fsencode(PROJECT / "host/lib/first-process"))
        self.assertEqual(socket.gethostname(), "panel.example")

    def test_no_other_host_can_use_the_container(self):
        if os.environ["KELDO_HOST"] == "namespaces":
            self.skipTest("namespaces serve as the host")
        root = os.open("/", os.O_RDONLY)
        self.addCleanup(os.close, root)
        with self.assertRaises(BlockingIOError):
            fcntl.flock(root, fcntl.LOCK_EX | fcntl.LOCK_NB)

    def test_no_service_runs_at_first(self):
        running = [name for name, port in PORTS.items() if accepts_connections(port)]
        self.assertEqual(running, [])

    def test_default_database_socket_is_free_at_first(self):
        self.assertFalse(pathlib.Path("/run/mysqld/mysqld.sock").exists())

    def test_project_is_at_its_own_path_and_writable(self):
        with tempfile.NamedTemporaryFile(dir=PROJECT / "build/host") as file:
            self.assertTrue(pathlib.Path(file.name).exists())

    def test_command_starts_in_the_callers_directory(self):
        self.assertTrue(pathlib.Path.cwd().is_relative_to(PROJECT))

    def test_german_locale_is_in_utf_8(self):
        environment = {**os.environ, "LC_ALL": "de_DE"}
        charmap = subprocess.check_output(["locale", "charmap"], env=environment, text=True)
        self.assertEqual(charmap, "UTF-8\n")


class InstalledPanel(unittest.TestCase):
    def test_programs_are_where_keldoctl_looks(self):
        for name in ("keldoctl", "monit", "noupgradecheck", "service-control"):
            with self.subTest(name):
                self.assertTrue(os.access(SBIN / name, os.X_OK))

    def test_german_catalogue_is_installed(self):
        catalogue = PANEL / "share/locale/de/LC_MESSAGES/keldoctl.mo"
        self.assertTrue(catalogue.is_file())

    def test_control_files_have_a_directory(self):
        self.assertTrue((PANEL / "tmp").is_dir())

    def test_password_is_for_root_alone(self):
        mode = os.stat("/etc/kvr/.kvr.shadow").st_mode
        self.assertEqual(stat.S_IMODE(mode), 0o600)

    def test_every_service_has_a_definition_with_its_name(self):
        ids = {xml.etree.ElementTree.parse(file).getroot().get("id"): file.stem
               for file in pathlib.Path("/service").iterdir()}
        self.assertEqual(ids, {name: name for name in PORTS})

    def test_upgrade_check_looks_at_the_lock_file(self):
        lock = PANEL / "var/upgrade.lock"
        self.assertEqual(subprocess.run([SBIN / "noupgradecheck"]).returncode, 0)
        lock.touch()
        self.addCleanup(lock.unlink)
        self.assertEqual(subprocess.run([SBIN / "noupgradecheck"]).returncode, 1)


class PanelDatabase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        service_control("start", "mysql")
        cls.addClassCleanup(service_control, "stop", "mysql")

    def test_administrator_logs_in_with_the_password_file(self):
        password = pathlib.Path("/etc/kvr/.kvr.shadow").read_text().rstrip("\n")
        user = query("SELECT current_user()", "--user=admin", f"--password={password}", "kvr")
        self.assertEqual(user, ["admin@localhost"])

    def test_texts_are_in_utf_8(self):
        self.assertEqual(query("SELECT val FROM misc WHERE param = 'mysql41_compatible'", "kvr"),
                         ["true"])

    def test_redis_was_started_through_the_panel(self):
        entries = query("SELECT a.name, c.old_value FROM log_components c"
                        " JOIN log_actions l ON l.id = c.action_id"
                        " JOIN actions a ON a.id = l.action_id", "kvr")
        self.assertEqual(entries, ["service_start\tredis"])


class Services(unittest.TestCase):
    """All daemons are stopped before and after each test."""

    def setUp(self):
        self.addCleanup(service_control, "stop-all")

    def test_start_returns_when_the_service_accepts_connections(self):
        for name, port in PORTS.items():
            with self.subTest(name):
                service_control("start", name)
                self.assertTrue(accepts_connections(port))

    def test_stop_returns_when_the_port_is_free(self):
        service_control("start-all")
        for name, port in PORTS.items():
            with self.subTest(name):
                service_control("stop", name)
                self.assertFalse(accepts_connections(port))

    def test_stop_leaves_no_process(self):
        service_control("start-all")
        sessions = {main_process(name) for name in PORTS}
        service_control("stop-all")
        self.assertEqual(in_sessions(sessions), [])

    def test_starts_again_after_its_main_process_was_killed(self):
        service_control("start-all")
        for name, port in PORTS.items():
            with self.subTest(name):
                killed = main_process(name)
                kill_main_process(name)
                self.assertIn(f"{name}: started", service_control("start", name))
                self.assertNotEqual(main_process(name), killed)
                self.assertTrue(accepts_connections(port))
                service_control("kill", name)
                self.assertFalse(accepts_connections(port))

    def test_starting_a_running_service_changes_nothing(self):
        service_control("start", "web")
        before = main_process("web")
        self.assertEqual(service_control("start", "web"), "web: already running\n")
        self.assertEqual(main_process("web"), before)

    def test_stopping_a_stopped_service_is_no_error(self):
        self.assertEqual(service_control("stop", "web"), "web: not running\n")

    def test_a_daemon_that_fails_to_start_is_an_error(self):
        with socket.create_server(("127.0.0.1", PORTS["web"])):
            result = subprocess.run([SBIN / "service-control", "start", "web"],
                                    capture_output=True, text=True)
        self.assertEqual(result.returncode, 1)
        self.assertIn("web: ended at once", result.stderr)

    def test_daemons_keep_nothing_of_their_starters_open(self):
        reader, writer = os.pipe()
        with open(reader, "rb"), open(writer, "wb"):
            os.set_inheritable(writer, True)
            subprocess.run([SBIN / "service-control", "start-all"], check=True,
                           stdin=subprocess.DEVNULL, stdout=writer, pass_fds=[writer])
            pipe = os.readlink(f"/proc/self/fd/{writer}")
            holders = {name for name in PORTS if has_open(main_process(name), pipe)}
        self.assertEqual(holders, set())


if __name__ == "__main__":
    unittest.main()
