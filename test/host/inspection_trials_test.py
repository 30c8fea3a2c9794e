# SPDX-License-Identifier: MIT
"""keldoctl-inspect with the real monit, daemons and database: the state and the code of each service
in each trial of doc/reliability.md. KELDO_TRIALS names a file that gets a line for each inspection."""

import contextlib
import itertools
import os
import pathlib
import select
import signal
import socket
import subprocess
import tempfile
import threading
import unittest
from concurrent import futures

from inspection import INSPECT, inspect
from panel import report
from services import log_action
from terminal import PATIENCE

ROOT = pathlib.Path("/usr/local/kvr")
MONITOR = ROOT / "admin/sbin/monit"
SERVICES = pathlib.Path("/service")
CORE = ("mysql", "keldo", "smtp", "web", "dns", "mail")


def control(verb, *services):
    subprocess.run(["service-control", verb, *services], check=True, stdout=subprocess.PIPE)


def sql(statement):
    subprocess.run(["mariadb", "kvr", "--execute", statement], check=True)


class Trial(unittest.TestCase):
    """A host with all core services running. addCleanup(), or the end of the host, removes what a
    trial adds."""

    @classmethod
    def setUpClass(cls):
        control("start-all")
        log_action("stop", "redis")

    def setUp(self):
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def define(self, service, checks):
        """Defines a service, and enters in the action log that it was started."""
        path = SERVICES / f"{service}.xml"
        path.write_text(
            '<service xmlns="http://keldo.example/schemas/keldo/service/1"'
            f' id="{service}"><title xml:lang="en-US">Trial {service}</title>'
            f'<action type="start">true</action><action type="stop">true</action>'
            f"<checks>{checks}</checks></service>", encoding="utf-8")
        log_action("start", service)
        self.addCleanup(lambda: (path.unlink(missing_ok=True), log_action("stop", service)))

    def pid_file(self, pid):
        path = self.directory / f"{len(os.listdir(self.directory))}.pid"
        path.write_text(f"{pid}\n", encoding="ascii")
        return f"<pid-file>{path}</pid-file>"

    def process(self):
        """A process that does nothing."""
        process = subprocess.Popen(["sleep", "1000"])
        self.addCleanup(lambda: (process.kill(), process.wait()))
        return process

    def serve(self, answer=None, kind=socket.SOCK_STREAM):
        """The port of a server that passes each connection to `answer`, or only keeps it open."""
        server = socket.socket(socket.AF_INET, kind)
        server.bind(("127.0.0.1", 0))
        kept = []

        def run():
            with contextlib.suppress(OSError):
                while True:
                    connection, _ = server.accept()
                    kept.append(connection)
                    if answer:
                        with contextlib.suppress(OSError):
                            answer(connection)

        if kind == socket.SOCK_STREAM:
            server.listen(64)
            threading.Thread(target=run, daemon=True).start()
        self.addCleanup(server.close)
        return server.getsockname()[1]

    def expect(self, *arguments, program=(INSPECT,), **states):
        """Inspects this host. Each service of `states` must have its state, "STATE CODE"; all
        others that ought to run must be up. Returns the inspection."""
        seen = inspect(*arguments, trial=self.id().rpartition(".")[2], program=program)
        got = {service.id: f"{service.state} {service.code}" for service in seen.services}
        expected = {service: "up passed" for service in CORE}
        expected["redis"] = "stopped stopped_by_administrator"
        self.assertEqual(got, got | {name: state for name, state in expected.items()
                                     if name not in states} | states)
        return seen

    def expect_all(self, code, *arguments, program=(INSPECT,)):
        """All services but the database are unknown for the same reason."""
        return self.expect(*arguments, program=program,
                           **{service: f"unknown {code}" for service in CORE[1:]})


class ServiceTrials(Trial):
    def test_nothing_is_down(self):
        seen = self.expect()
        self.assertEqual((seen.verdict, seen.status), ("well", 0))
        self.assertEqual(seen.report, report())

    def test_a_daemon_was_killed(self):
        control("kill", "web")
        self.addCleanup(control, "start", "web")
        seen = self.expect(web="down no_process")
        self.assertEqual((seen.verdict, seen.status), ("problems", 1))

    def test_a_process_is_stopped(self):
        process = self.process()
        process.send_signal(signal.SIGSTOP)
        self.define("trial", self.pid_file(process.pid))
        self.expect(trial="down stopped_process")

    def test_a_process_is_a_zombie(self):
        process = self.process()
        process.kill()
        os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
        self.define("trial", self.pid_file(process.pid))
        self.expect(trial="down zombie")

    def test_a_pid_file_is_stale(self):
        process = subprocess.Popen(["true"])
        process.wait()
        self.define("trial", self.pid_file(process.pid))
        self.expect(trial="down no_process")

    def test_the_number_in_a_stale_pid_file_is_that_of_a_thread(self):
        ended = threading.Event()
        thread = threading.Thread(target=ended.wait)
        thread.start()
        self.addCleanup(ended.set)
        self.define("trial", self.pid_file(thread.native_id))
        self.expect(trial="down no_process")

    def test_nobody_listens_on_a_port(self):
        server = socket.socket()
        server.bind(("127.0.0.1", 0))  # keeps the port, and does not listen
        self.addCleanup(server.close)
        self.define("trial", f'<port number="{server.getsockname()[1]}"/>')
        self.expect(trial="down refused")

    def test_another_program_has_the_port(self):
        port = self.serve(lambda connection: connection.sendall(b"220 not http\r\n"))
        self.define("trial", f'<port number="{port}" protocol="http"/>')
        self.expect(trial="down wrong_answer")

    def test_a_protocol_is_answered_wrongly(self):
        port = self.serve(lambda connection: connection.sendall(b"500 go away\r\n"))
        self.define("trial", f'<port number="{port}" protocol="smtp"/>')
        self.expect(trial="down wrong_answer")

    def test_a_tls_port_answers_without_tls(self):
        port = self.serve(lambda connection: connection.sendall(b"220 plain text\r\n"))
        self.define("trial", f'<port number="{port}" type="TCPSSL" protocol="smtp"/>')
        self.expect(trial="down wrong_answer")

    def test_a_tls_port_stays_silent(self):
        self.define("trial", f'<port number="{self.serve()}" type="TCPSSL"/>')
        self.expect(trial="unknown untestable")

    def test_a_udp_port_stays_silent(self):
        port = self.serve(kind=socket.SOCK_DGRAM)
        self.define("trial", f'<port number="{port}" type="UDP"/>')
        self.define("same", f'<port number="{port}" type="UDP" protocol="default"/>')
        self.expect(trial="unknown untestable", same="unknown untestable")

    def test_a_definition_allows_failures(self):
        self.define("trial", self.pid_file(self.process().pid)
                    + '<port number="1" protocol="http for 3 cycles"/>')
        # Monit 6 reports the first failure, monit 5 only the third one.
        version = subprocess.run(["monit", "--version"], check=True, stdout=subprocess.PIPE).stdout
        is_6 = b" version 6." in version
        self.expect(trial="down refused" if is_6 else "unknown untestable")

    def test_a_port_has_two_tests(self):
        port = self.serve()
        self.define("trial", f'<port number="{port}" type="TCPSSL"/><port number="{port}"/>')
        seen = self.expect(trial="up passed")
        [trial] = [service for service in seen.services if service.id == "trial"]
        self.assertEqual(trial.tests, [("port", "untested"), ("port", "ok")])

    def test_a_udp_port_does_not_answer_its_protocol(self):
        port = self.serve(kind=socket.SOCK_DGRAM)
        self.define("trial", f'<port number="{port}" type="UDP" protocol="dns"/>')
        self.expect(trial="down timed_out")

    def test_nobody_listens_on_a_socket(self):
        path = self.directory / "socket"
        server = socket.socket(socket.AF_UNIX)
        server.bind(str(path))
        server.close()
        checks = self.pid_file(self.process().pid) + f"<unix-socket>{path}</unix-socket>"
        self.define("trial", checks)
        self.expect(trial="down refused")

    def test_a_socket_is_missing(self):
        self.define("trial", self.pid_file(self.process().pid)
                    + f"<unix-socket>{self.directory / 'none'}</unix-socket>")
        self.expect(trial="down no_socket")

    def test_ids_differ_only_in_case(self):
        self.define("Dns", self.pid_file(self.process().pid))
        self.expect(Dns="up passed")

    def test_a_service_whose_values_cannot_share_a_control_file_is_up(self):
        self.define("trial", self.pid_file(self.process().pid))
        self.define("tri+al", self.pid_file(self.process().pid))
        self.expect(trial="up passed", **{"tri+al": "up passed"})

    def test_the_administrator_stopped_a_service(self):
        log_action("stop", "mail")
        self.addCleanup(log_action, "start", "mail")
        self.expect(mail="stopped stopped_by_administrator")

    def test_a_stopped_service_has_another_id_in_its_definition(self):
        self.define("trial", '<port number="1"/>')
        path = SERVICES / "trial.xml"
        path.write_text(path.read_text(encoding="utf-8").replace('id="trial"', 'id="other"'),
                        encoding="utf-8")
        log_action("stop", "trial")
        seen = self.expect()
        self.assertNotIn("other", [service.id for service in seen.services])
        self.assertEqual(seen.report, report())

    def test_ten_services_hang(self):
        names = [f"hang{number}" for number in range(10)]
        for name in names:
            self.define(name, f'<port number="{self.serve()}" protocol="http"/>')
        self.expect(**{name: "down timed_out" for name in names})

    def test_two_hundred_services(self):
        pid_file = self.pid_file(self.process().pid)
        names = [f"many{number}" for number in range(200)]
        for name in names:
            self.define(name, pid_file)
        self.expect(**{name: "up passed" for name in names})


class DefinitionTrials(Trial):
    def break_definition(self, content):
        path = SERVICES / "dns.xml"
        kept = path.read_bytes()

        def restore():
            path.unlink(missing_ok=True)
            path.write_bytes(kept)

        self.addCleanup(restore)
        path.unlink()
        if content is not None:
            path.write_text(content, encoding="utf-8")
        return path

    def test_a_definition_is_missing(self):
        self.break_definition(None)
        seen = self.expect(dns="unknown definition_missing")
        self.assertEqual((seen.verdict, seen.status), ("unknown", 2))

    def test_a_definition_is_broken(self):
        self.break_definition("<service>")
        self.expect(dns="unknown definition_ill_formed")

    def test_a_definition_is_empty(self):
        self.break_definition("")
        self.expect(dns="unknown definition_ill_formed")

    def test_a_definition_is_a_fifo(self):
        os.mkfifo(self.break_definition(None))
        self.expect(dns="unknown definition_no_file")

    def test_a_definition_has_no_tests(self):
        self.define("trial", "")
        self.expect(trial="unknown definition_without_tests")

    def test_the_monitor_refuses_a_definition(self):
        self.define("trial", '<port number="80"/>\n<port number="81" protocol="nonsense"/>')
        seen = self.expect(trial="unknown definition_refused_line")
        [trial] = [service for service in seen.services if service.id == "trial"]
        self.assertIn("line 2", trial.reason)

    def test_a_definition_ends_the_monitoring_of_its_own_service(self):
        path = f"<pid-file>{self.directory / 'none.pid'}"
        self.define("trial", path + '"\nif does not exist then unmonitor #</pid-file>')
        self.expect(trial="unknown unmonitored")

    def test_there_are_no_definitions(self):
        kept = {path: path.read_bytes() for path in SERVICES.iterdir()}
        self.addCleanup(lambda: [path.write_bytes(content) for path, content in kept.items()])
        for path in kept:
            path.unlink()
        seen = inspect(trial="there_are_no_definitions")
        self.assertEqual(seen.verdict, "unknown")
        self.assertEqual(seen.dependencies["definitions"].state, "failed")
        self.assertEqual({service.code for service in seen.services}, {"definition_missing"})


class DatabaseTrials(Trial):
    def tearDown(self):
        self.doCleanups()
        control("start", "mysql")

    def expect_unread_log(self, **states):
        """Without the action log redis is not known to be stopped, and is not listed."""
        seen = inspect(trial=self.id().rpartition(".")[2])
        got = {service.id: f"{service.state} {service.code}" for service in seen.services}
        self.assertEqual(got, {service: "up passed" for service in CORE} | states)
        self.assertEqual(seen.dependencies["action_log"].state, "failed")
        return seen

    def test_the_database_is_stopped(self):
        control("kill", "mysql")
        self.expect_unread_log(mysql="down database_refused")

    def test_the_database_rejects_the_password(self):
        path = pathlib.Path("/etc/kvr/.kvr.shadow")
        kept = path.read_bytes()
        self.addCleanup(path.write_bytes, kept)
        path.write_bytes(b"wrong\n")
        self.expect_unread_log(mysql="down database_denied")

    def test_the_database_hangs(self):
        pid = int(pathlib.Path("/run/mysqld/mysqld.pid").read_text(encoding="ascii"))
        os.kill(pid, signal.SIGSTOP)
        self.addCleanup(os.kill, pid, signal.SIGCONT)
        self.expect_unread_log(mysql="down database_silent")

    def test_the_action_log_has_no_tables(self):
        sql("RENAME TABLE log_actions TO kept")
        self.addCleanup(sql, "RENAME TABLE kept TO log_actions")
        seen = self.expect_unread_log()
        self.assertEqual((seen.verdict, seen.status), ("unknown", 2))


class MonitorTrials(Trial):
    def replace_monitor(self, script, mode=0o755):
        """Replaces the monitor by a script; MONITOR in it is the real monitor. None: no monitor."""
        kept = MONITOR.with_name("kept")
        MONITOR.rename(kept)
        self.addCleanup(kept.rename, MONITOR)
        if script is not None:
            MONITOR.write_text(script.replace("MONITOR", str(kept)), encoding="utf-8")
            MONITOR.chmod(mode)

    def test_the_monitor_is_missing(self):
        self.replace_monitor(None)
        seen = self.expect_all("monitor_missing")
        self.assertEqual(seen.dependencies["monitor"].state, "missing")

    def test_monit_is_missing_behind_the_monitor(self):
        monit = pathlib.Path("/usr/bin/monit")
        self.addCleanup(monit.with_name("kept").rename, monit)
        monit.rename(monit.with_name("kept"))
        seen = self.expect_all("monitor_failed")
        self.assertEqual(seen.dependencies["monitor"].state, "failed")
        self.assertIn("/usr/bin/monit -- No such file or directory",
                      seen.dependencies["monitor"].detail)

    def test_the_monitor_is_not_executable(self):
        self.replace_monitor("#!/bin/sh\n", mode=0o644)
        self.expect_all("monitor_not_executable")

    def test_the_monitor_dies(self):
        self.replace_monitor("#!/bin/sh\nkill -9 $$\n")
        self.expect_all("monitor_killed")

    def test_the_monitor_stays_silent(self):
        self.replace_monitor("#!/bin/sh\nexec sleep 1000\n")
        seen = self.expect_all("limit", "--timeout=4")
        self.assertLess(seen.seconds, 60)

    def test_the_monitor_names_only_the_first_service(self):
        self.replace_monitor(
            "#!/bin/sh\n"
            "MONITOR -c \"$2\" -x check-status |"
            " sed 's,</status>,&<monitor>1</monitor>,; \\,</service>,q' | sed '$a</monit>'\n")
        pid_file = self.pid_file(self.process().pid)
        names = [f"many{number}" for number in range(54)]
        for name in names:
            self.define(name, pid_file)
        self.expect(**{name: "up passed" for name in names})

    def fifo(self):
        """A FIFO's path, and a descriptor for both directions. No end of file is read."""
        path = self.directory / f"fifo{len(os.listdir(self.directory))}"
        os.mkfifo(path)
        descriptor = os.open(path, os.O_RDWR)
        self.addCleanup(os.close, descriptor)
        return path, descriptor

    def read_events(self, descriptor, event, count):
        """Reads lines until `event` has come that often. Returns all lines."""
        lines = []
        while lines.count(event) < count:
            if not select.select([descriptor], [], [], PATIENCE)[0]:
                self.fail(f"only {lines}")
            line = b""
            while not line.endswith(b"\n"):
                line += os.read(descriptor, 1)
            lines.append(line.decode().strip())
        return lines

    def test_at_most_as_many_monitors_as_jobs_run_at_first_and_32_later(self):
        """The first pass leaves all services unchecked. Each monitor says when it begins and when
        it ends, and waits in between until this test lets it go on. Some services cannot share a
        control file, so the first pass has more questions than jobs."""
        (log, events), (first, go_first), (last, go_last) = (self.fifo() for _ in range(3))
        self.replace_monitor(f"""#!/bin/sh
case $6 in
1.000)
    echo first begins >{log}; read line <{first}
    echo '<monit batch="1">'
    sed -n 's,^check [a-z]* \\(.*\\),<service><name>\\1</name><checked>0</checked></service>,p' "$2"
    echo '</monit>'
    echo first ends >{log} ;;
*)
    echo last begins >{log}; read line <{last}
    MONITOR "$@"
    echo last ends >{log} ;;
esac
""")
        pid_file = self.pid_file(self.process().pid)
        alone = 4
        names = [f"many{number}" for number in range(54 - alone)]
        names += [f"alone+{number}" for number in range(alone)]
        for name in names:
            self.define(name, pid_file)
        for jobs in (1, 3):
            with self.subTest(jobs), futures.ThreadPoolExecutor() as executor:
                seen = executor.submit(self.expect, f"--jobs={jobs}",
                                       **{name: "up passed" for name in names})
                lines = self.read_events(events, "first begins", jobs)
                os.write(go_first, b"\n" * (jobs + alone))
                lines += self.read_events(events, "last begins", 32)
                os.write(go_last, b"\n" * 59)
                lines += self.read_events(events, "last ends", 59)
                seen.result()
                alive = itertools.accumulate(1 if line.endswith("begins") else -1
                                             for line in lines)
                self.assertEqual(max(alive), 32)
                self.assertEqual(lines.index("first ends"), jobs, lines)


class ControlFileTrials(Trial):
    def mount(self, *options):
        subprocess.run(["mount", "-t", "tmpfs", *options, "none", ROOT / "tmp"], check=True)
        self.addCleanup(subprocess.run, ["umount", ROOT / "tmp"], check=True)

    def test_the_directory_is_missing(self):
        (ROOT / "tmp").rename(ROOT / "kept")
        self.addCleanup((ROOT / "kept").rename, ROOT / "tmp")
        seen = self.expect_all("no_directory")
        self.assertEqual(seen.dependencies["control_files"].state, "missing")

    def test_the_directory_is_read_only(self):
        self.mount("-o", "ro")
        self.expect_all("read_only")

    def test_the_directory_is_full(self):
        self.mount("-o", "size=4k")
        (ROOT / "tmp/filler").write_bytes(b"x" * 4096)
        seen = self.expect_all("no_space")
        self.assertEqual((seen.verdict, seen.status), ("unknown", 2))
        self.assertEqual(os.listdir(ROOT / "tmp"), ["filler"])

    def test_the_directory_is_over_quota(self):
        """Not every kernel has quotas, and root may exceed them. So the call is made to fail."""
        seen = self.expect_all("over_quota", program=(
            "strace", "-qq", "-o", "/dev/null", "-e", "inject=mkdir:error=EDQUOT", INSPECT))
        self.assertEqual(seen.dependencies["control_files"].state, "failed")


class UpgradeTrials(Trial):
    def test_the_panel_is_being_upgraded(self):
        lock = ROOT / "var/upgrade.lock"
        lock.touch()
        self.addCleanup(lock.unlink)
        seen = self.expect(**{service: "unchecked upgrade" for service in CORE})
        self.assertEqual((seen.verdict, seen.status), ("upgrade", 4))


del Trial

if __name__ == "__main__":
    unittest.main()
