# SPDX-License-Identifier: MIT
"""The monitor: from a definition to its control file, and from the monitor's answer to the report.
The unit tests of src/monitor hold all forms of definitions, control files and answers."""

import os
import unittest

from panel import Panel, down_report, report
from trace import own, traced


def document(*services):
    """A monitor that prints a document of these pairs of a name and a status."""
    elements = "".join(f"<service><name>{name}</name><status>{status}</status></service>"
                       for name, status in services)
    return f"#!/bin/sh\ncat <<'END'\n<monit>{elements}</monit>\nEND\n"


class MonitorTest(unittest.TestCase):
    """A panel with the service web alone."""

    def setUp(self):
        self.panel = Panel()
        self.panel.remove_definitions()
        self.panel.write_service("web")

    def status_with(self, monitor):
        self.panel.fake_monitor(script=monitor)
        return self.panel.run("--status")

    def files_left(self):
        return os.listdir(self.panel.root / "tmp")

    def test_the_control_file_tests_what_the_definition_names(self):
        for pid_file, ports, expected in (
                ("/var/run/httpd.pid", [(80, {"protocol": "http"}), (443, {"type": "TCPSSL"})],
                 "check process web\n"
                 "\twith pidfile \"/var/run/httpd.pid\"\n"
                 "\tif failed unixsocket /var/run/web.sock then alert\n"
                 "\tif failed port 80 protocol http then alert\n"
                 "\tif failed port 443 type TCPSSL  then alert\n"),
                ("", [(53, {"type": "UDP", "protocol": "dns"}), (53, {}), (0, {})],
                 "check host web\n"
                 "\twith address 127.0.0.1\n"
                 "\tif failed port 53 type UDP  protocol dns then alert\n"
                 "\tif failed port 53 then alert\n")):
            with self.subTest(expected):
                self.panel.write_service("web", pid_file=pid_file, ports=ports,
                                         sockets=["/var/run/web.sock"])
                self.panel.forget_calls()
                self.panel.run("--status")
                self.assertEqual(self.panel.calls()[0].control_file, expected)

    def test_the_control_file_is_private_and_removed(self):
        os.umask(0)
        self.status_with("#!/bin/sh\nstat -c %a \"$2\" > /usr/local/kvr/mode\n")
        self.assertEqual((self.panel.root / "mode").read_text(encoding="utf-8"), "600\n")
        self.assertEqual(self.files_left(), [])

    def test_a_service_counts_as_running_if_no_control_file_can_be_made(self):
        self.panel.fake_monitor({"web": 1})
        os.rmdir(self.panel.root / "tmp")
        self.assertEqual(self.panel.run("--status").stdout, report())
        self.assertIsNone(self.panel.calls()[0].control_file)

    def test_each_signal_gets_its_handler_once_for_all_services(self):
        self.panel.write_core_services()
        _, calls = traced(self.panel, "rt_sigaction", "--status")
        self.assertEqual(len(self.panel.calls()), 5)
        self.assertEqual([call.arguments.split(", ")[1] == "NULL" for call in own(calls)
                          if call.arguments.startswith("SIGHUP,")], [True, False])

    def test_the_monitors_answer_decides(self):
        for monitor, expected in (
                (document(("smtp", 1), ("web", 0)), report()),
                (document(("smtp", 0), ("web", 32)) + "echo noise >&2\nexit 7\n",
                 down_report("web")),
                ("#!/bin/sh\necho all is well\n", report()),
                (f"#!{self.panel.root}/missing\n", report())):
            with self.subTest(monitor):
                done = self.status_with(monitor)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (0, expected, b""))

    def test_a_service_counts_as_running_without_a_monitor_that_can_be_run(self):
        monitor = self.panel.root / "admin/sbin/monit"
        for change in (lambda: monitor.chmod(0o644), self.panel.remove_monitor):
            change()
            self.assertEqual(self.panel.run("--status").stdout, report())

    def test_a_status_that_is_no_integer_ends_the_run_without_a_report(self):
        for status in ("ok", "2147483648"):
            with self.subTest(status):
                done = self.status_with(document(("web", status)))
                self.assertEqual((done.returncode, done.stdout, done.stderr), (-6, b"", b""))
                self.assertEqual(self.files_left(), [])


if __name__ == "__main__":
    unittest.main()
