# SPDX-License-Identifier: MIT
"""The monitor: its control file, its command line, and the meaning of its answer."""

import os
import stat
import unittest

from panel import Panel, down_report, report
from trace import own, traced

# A monitor that shows whether the control file was there, and its mode.
SHOW_MODE = """#!/bin/sh
stat -c %a "$2" >> /usr/local/kvr/modes
"""


def document(*services):
    """A monitor that prints a document of these pairs of a name and a status."""
    elements = "".join(f"<service><name>{name}</name><status>{status}</status></service>"
                       for name, status in services)
    return f"#!/bin/sh\ncat <<'END'\n<monit>{elements}</monit>\nEND\n"


class OneServiceTest(unittest.TestCase):
    """One service, web, on a panel without another."""

    def setUp(self):
        self.panel = Panel()
        for service in ("mysql", "keldo", "smtp", "dns", "mail"):
            self.panel.write_definition(service, None)

    def control_file(self, **definition):
        self.panel.write_service("web", **definition)
        self.panel.forget_calls()
        self.panel.run("--status")
        return self.panel.calls()[0].control_file

    def report_with(self, monitor):
        self.panel.fake_monitor(script=monitor)
        done = self.panel.run("--status")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout


class ControlFileTest(OneServiceTest):
    def test_a_process_check(self):
        self.assertEqual(
            self.control_file(pid_file="/var/run/httpd.pid", sockets=["/var/run/web.sock"],
                              ports=[(80, {"protocol": "http"}), (443, {"type": "TCPSSL"})]),
            "check process web\n"
            "\twith pidfile \"/var/run/httpd.pid\"\n"
            "\tif failed unixsocket /var/run/web.sock then alert\n"
            "\tif failed port 80 protocol http then alert\n"
            "\tif failed port 443 type TCPSSL  then alert\n")

    def test_a_host_check_leaves_the_sockets_out(self):
        self.assertEqual(
            self.control_file(pid_file="", sockets=["/var/run/ndc"],
                              ports=[(53, {"type": "UDP", "protocol": "dns"}), (53, {})]),
            "check host web\n"
            "\twith address 127.0.0.1\n"
            "\tif failed port 53 type UDP  protocol dns then alert\n"
            "\tif failed port 53 then alert\n")

    def test_sockets_alone_make_an_empty_file(self):
        self.panel.write_definition(
            "web", '<service id="web" xmlns="http://keldo.example/schemas/keldo/service/1">'
                   "<checks><unix-socket>/run/a</unix-socket><unix-socket>/run/b</unix-socket>"
                   "</checks></service>")
        self.panel.run("--status")
        self.assertEqual(self.panel.calls()[0].control_file, "")

    def test_only_ports_that_are_unsigned_numbers_but_zero_are_tested(self):
        numbers = ["25", "0", "", "abc", " 80", "80 ", "80a", "0x50", "4294967296", "65536", "+7",
                   "-1", "1.0"]
        text = self.control_file(ports=[(number, {}) for number in numbers], pid_file="/run/x")
        tested = [line.split()[3] for line in text.splitlines() if "port" in line]
        self.assertEqual(tested, ["25", "65536", "7", "4294967295"])

    def test_unknown_port_types_are_tcp(self):
        text = self.control_file(ports=[(1, {"type": "udp"}), (2, {"type": "TCP"}),
                                        (3, {"type": ""}), (4, {"type": "SCTP"})], pid_file="/p")
        self.assertEqual(text.splitlines()[2:],
                         [f"\tif failed port {number} then alert" for number in (1, 2, 3, 4)])

    def test_white_space_and_quotes_in_a_pid_file_stay(self):
        self.assertEqual(self.control_file(pid_file="\n /run/\"web\".pid\n "),
                         "check process web\n\twith pidfile \"\n /run/\"web\".pid\n \"\n")

    def test_the_file_is_private_and_gone_afterwards(self):
        self.panel.write_service("web")
        self.panel.fake_monitor(script=SHOW_MODE)
        os.umask(0)
        self.panel.run("--status")
        with open("/usr/local/kvr/modes", encoding="utf-8") as modes:
            self.assertEqual(modes.read(), "600\n")
        self.assertEqual(os.listdir(self.panel.root / "tmp"), [])

    def test_without_a_directory_for_it_the_service_counts_as_running(self):
        self.panel.write_service("web")
        self.panel.fake_monitor({"web": 1})
        os.rmdir(self.panel.root / "tmp")
        self.assertEqual(self.panel.run("--status").stdout, report())
        self.assertIsNone(self.panel.calls()[0].control_file)

    def test_ten_thousand_ports(self):
        ports = [(number, {}) for number in range(1, 10001)]
        text = self.control_file(ports=ports, pid_file="")
        self.assertEqual(text.splitlines()[2:],
                         [f"\tif failed port {number} then alert" for number, _ in ports])


class SignalTest(unittest.TestCase):
    def test_a_signal_gets_its_handler_once_for_all_services(self):
        panel = Panel()
        _, calls = traced(panel, "rt_sigaction", "--status")
        self.assertEqual(len(panel.calls()), 5)
        self.assertEqual([call.arguments.split(", ")[1] == "NULL" for call in own(calls)
                          if call.arguments.startswith("SIGHUP,")], [True, False])


class AnswerTest(OneServiceTest):
    def setUp(self):
        super().setUp()
        self.panel.write_service("web")

    def test_what_counts_as_running(self):
        answers = {
            "no output": "#!/bin/sh\n",
            "no XML": "#!/bin/sh\necho all is well\n",
            "a cut document": "#!/bin/sh\necho '<monit><service><name>web</name><status>1'\n",
            "status 0": document(("web", 0)),
            "another service": document(("dns", 32)),
            "a name with a blank": document((" web", 32)),
            "an empty status": document(("web", "")),
            "the first of two": document(("web", 0), ("web", 1)),
            "another root": document(("web", 1)).replace("monit>", "other>"),
            "a namespace": document(("web", 1)).replace("<monit>", "<monit xmlns='urn:x'>"),
            "a signed zero": document(("web", "-0")),
        }
        for name, monitor in answers.items():
            with self.subTest(name):
                self.assertEqual(self.report_with(monitor), report())

    def test_what_counts_as_down(self):
        for status in ("1", "2", "-1", "512", "+5", "2147483647", "007"):
            with self.subTest(status):
                self.assertEqual(self.report_with(document(("smtp", 0), ("web", status))),
                                 down_report("web"))

    def test_the_first_service_of_a_name_counts(self):
        self.assertEqual(self.report_with(document(("web", 1), ("web", 0))), down_report("web"))

    def test_the_exit_status_is_not_looked_at(self):
        self.assertEqual(self.report_with(document(("web", 1)) + "exit 7\n"), down_report("web"))

    def test_standard_error_is_not_looked_at(self):
        self.assertEqual(self.report_with(document(("web", 1)) + "echo noise >&2\n"),
                         down_report("web"))

    def test_a_missing_monitor_counts_as_running(self):
        self.panel.remove_monitor()
        self.assertEqual(self.panel.run("--status").stdout, report())

    def test_a_monitor_that_may_not_be_run_counts_as_running(self):
        monitor = self.panel.root / "admin/sbin/monit"
        monitor.chmod(monitor.stat().st_mode & ~(stat.S_IXUSR | stat.S_IXGRP | stat.S_IXOTH))
        self.assertEqual(self.panel.run("--status").stdout, report())

    def test_a_status_that_is_no_integer_ends_the_run_without_a_report(self):
        for status in ("ok", " 0", "0 ", "1.0", "2147483648", "0x1"):
            with self.subTest(status):
                self.panel.fake_monitor(script=document(("web", status)))
                done = self.panel.run("--status")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (-6, b"", b""))
                self.assertEqual(os.listdir(self.panel.root / "tmp"), [])

    def test_an_apostrophe_in_an_id_breaks_the_look_up(self):
        self.panel.write_service("web", own_id="o'web")
        self.assertEqual(self.report_with(document(("o'web", 1))), report())

    def test_a_document_of_ten_thousand_services(self):
        services = [(f"service{number}", 0) for number in range(10000)]
        self.assertEqual(self.report_with(document(*services, ("web", 32))), down_report("web"))


if __name__ == "__main__":
    unittest.main()
