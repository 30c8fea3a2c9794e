# SPDX-License-Identifier: MIT
"""The monitor: its control file, its command line, and the meaning of its answer."""

import os
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

    def test_answers_that_count_as_running(self):
        answers = {
            "no output": "#!/bin/sh\n",
            "a cut document": "#!/bin/sh\necho '<monit><service><name>web</name><status>1'\n",
            "status 0": document(("web", 0)),
            "another service": document(("dns", 32)),
        }
        for name, monitor in answers.items():
            with self.subTest(name):
                self.assertEqual(self.report_with(monitor), report())

    def test_statuses_that_count_as_down(self):
        for status in ("1", "-1", "512"):
            with self.subTest(status):
                self.assertEqual(self.report_with(document(("smtp", 0), ("web", status))),
                                 down_report("web"))

    def test_a_missing_monitor_counts_as_running(self):
        self.panel.remove_monitor()
        self.assertEqual(self.panel.run("--status").stdout, report())

    def test_a_status_that_is_no_integer_ends_the_run_without_a_report(self):
        for status in ("ok", " 0", "2147483648"):
            with self.subTest(status):
                self.panel.fake_monitor(script=document(("web", status)))
                done = self.panel.run("--status")
                self.assertEqual((done.returncode, done.stdout, done.stderr), (-6, b"", b""))
                self.assertEqual(os.listdir(self.panel.root / "tmp"), [])


if __name__ == "__main__":
    unittest.main()
