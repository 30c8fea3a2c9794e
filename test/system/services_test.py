# SPDX-License-Identifier: MIT
"""Which services are checked, by what their definitions say. The database is down throughout."""

import pathlib
import socket
import unittest

from panel import KELDOCTL, Panel, Problem, down_report, report, restart, service_down


class CoreServicesTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def test_everything_well_but_the_database(self):
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))

    def test_without_a_database_the_core_services_are_checked_in_their_order(self):
        self.panel.run("--status")
        self.assertEqual(self.panel.checked_services(), ["keldo", "smtp", "web", "dns", "mail"])

    def test_problems_are_ordered_by_id_and_not_by_discovery(self):
        self.panel.fake_monitor({"web": 1, "keldo": 32, "dns": -1, "smtp": 512, "mail": 2})
        self.assertEqual(self.panel.run("--status").stdout,
                         down_report("mysql", "keldo", "smtp", "web", "dns", "mail"))

    def test_services_without_a_definition_are_not_checked(self):
        for service in ("mysql", "keldo", "smtp", "dns"):
            self.panel.write_definition(service, None)
        self.panel.write_definition("mail", "<mail")
        self.panel.fake_monitor({"web": 1, "": 1})
        self.assertEqual(self.panel.run("--status").stdout, down_report("web"))
        self.assertEqual(self.panel.checked_services(), ["web"])

    def test_nothing_to_check_is_an_empty_report(self):
        for service in ("mysql", "keldo", "smtp", "web", "dns", "mail"):
            self.panel.write_definition(service, None)
        self.assertEqual(self.panel.run("--status").stdout, report())

    def test_a_definition_in_another_namespace_is_unknown(self):
        self.panel.write_definition("web", '<service id="web" xmlns="urn:other"/>')
        self.panel.write_definition("dns", '<service id="dns"/>')
        self.panel.fake_monitor({"web": 1, "dns": 1})
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))


class HalfUpDatabaseTest(unittest.TestCase):
    """A database server that takes connections and then says nothing."""

    def setUp(self):
        self.panel = Panel()
        path = pathlib.Path("/run/mysqld/mysqld.sock")
        path.parent.mkdir(exist_ok=True)
        self.server = socket.socket(socket.AF_UNIX)
        self.addCleanup(self.server.close)
        self.addCleanup(path.unlink)
        self.server.bind(str(path))
        self.server.listen()

    def test_is_given_up_after_half_a_minute(self):
        # strace answers the wait for the greeting at once, as after its time.
        trace = self.panel.root / "trace"
        done = self.panel.run("--status", program=(
            "strace", "-qq", "-o", trace, "-e", "signal=none", "-e", "trace=poll",
            "-e", "inject=poll:retval=0", KELDOCTL))
        self.assertEqual((done.returncode, done.stdout), (0, down_report("mysql")))
        waits = trace.read_text(encoding="utf-8").splitlines()
        self.assertEqual(len(waits), 2, waits)  # for the action log and for the service itself
        for wait in waits:
            self.assertRegex(wait, r"events=POLLIN\}\], 1, 30000\) = 0 .*\(INJECTED\)")


class OwnIdTest(unittest.TestCase):
    """A definition file whose id differs from the id that it was asked for by."""

    def setUp(self):
        self.panel = Panel()
        for service in ("mysql", "keldo", "smtp", "dns", "mail"):
            self.panel.write_definition(service, None)
        self.panel.write_service("web", own_id="apache", start="echo web started")

    def test_the_monitor_and_the_problem_go_by_the_id_in_the_file(self):
        self.panel.write_service("apache", start="echo apache started")
        self.panel.fake_monitor({"apache": 32})
        self.assertEqual(self.panel.run("--status").stdout, report(
            [service_down("apache")],
            [restart("apache")]).replace(b"The apache", b"The web"))
        self.assertEqual(self.panel.checked_services(), ["apache"])

    def test_the_monitors_word_on_the_id_asked_for_is_not_heard(self):
        self.panel.fake_monitor(script="#!/bin/sh\necho '<monit><service><name>web</name>"
                                       "<status>1</status></service></monit>'\n")
        self.assertEqual(self.panel.run("--status").stdout, report())

    def test_without_a_file_of_that_id_the_problem_has_no_solution(self):
        self.panel.fake_monitor({"apache": 32})
        problem = Problem("service-down:apache", "The web title service is switched off.")
        with_solutions = report([problem]).replace(
            b"</severity>\n", b"</severity>\n    <solutions/>\n")
        self.assertEqual(self.panel.run("--status").stdout, with_solutions)

    def test_the_repair_goes_by_the_id_asked_for(self):
        done = self.panel.run("--repair", "restart-service:web", "restart-service:apache")
        self.assertEqual(done.stdout, report(
            actions=[restart("web", status="ok", log="web started\n")]))

    def test_a_file_that_calls_itself_mysql_is_checked_as_the_database(self):
        self.panel.write_service("web", own_id="mysql")
        self.panel.write_service("mysql")
        done = self.panel.run("--status")
        # Both have the problem of one id: the later one's text stays, the first one's solution.
        self.assertEqual(done.stdout,
                         report([service_down("mysql", title="web title")], [restart("mysql")]))
        self.assertEqual(self.panel.calls(), [])

    def test_a_file_of_mysql_that_calls_itself_otherwise_is_asked_of_the_monitor(self):
        self.panel.write_definition("web", None)
        for own_id in ("MySQL", "mysql5"):
            with self.subTest(own_id):
                self.panel.forget_calls()
                self.panel.write_service("mysql", own_id=own_id)
                self.assertEqual(self.panel.run("--status").stdout, report())
                self.assertEqual(self.panel.checked_services(), [own_id])

    def test_a_file_without_an_id_is_an_unknown_service(self):
        self.panel.write_definition(
            "web", '<service xmlns="http://keldo.example/schemas/keldo/service/1">'
                   '<action type="start">touch /usr/local/kvr/started</action></service>')
        self.assertEqual(self.panel.run("--repair", "restart-service:web").stdout, report())


class SeveralChecksTest(unittest.TestCase):
    def test_positions_restart_in_each_element_and_the_first_match_counts(self):
        panel = Panel()
        panel.write_definition("web", """
            <service id="web" xmlns="http://keldo.example/schemas/keldo/service/1">
              <checks>
                <unix-socket>/first</unix-socket>
                <port number="1"/>
              </checks>
              <checks>
                <pid-file>/run/web.pid</pid-file>
                <unix-socket>/hidden</unix-socket>
                <unix-socket>/second</unix-socket>
                <port number="9" type="UDP" protocol="dns"/>
                <port number="2" protocol="http"/>
              </checks>
            </service>""")
        panel.run("--status")
        self.assertIn("check process web\n\twith pidfile \"/run/web.pid\"\n"
                      "\tif failed unixsocket /first then alert\n"
                      "\tif failed unixsocket /second then alert\n"
                      "\tif failed port 1 type UDP  protocol dns then alert\n"
                      "\tif failed port 2 protocol http then alert\n",
                      [call.control_file for call in panel.calls()])


if __name__ == "__main__":
    unittest.main()
