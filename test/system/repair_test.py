# SPDX-License-Identifier: MIT
"""Repairs: which ids are carried out, how, and how they are reported."""

import unittest

from panel import Panel, down_report, report, restart, service_down


class RepairTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def repair(self, *ids):
        done = self.panel.run("--repair", *ids)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def test_the_stop_action_runs_and_then_the_start_action_whose_status_counts(self):
        for name, stop, start, status, log in (
                ("both", "echo stop", "echo start", "ok", "stop\nstart\n"),
                ("failed stop", "false", "true", "ok", ""),
                ("failed start", "true", "echo no >&2; exit 3", "error", "no\n"),
                ("only a start action", "", "echo start", "ok", "start\n"),
                ("no action", "", "", "ok", "")):
            with self.subTest(name):
                self.panel.write_service("smtp", stop=stop, start=start)
                self.assertEqual(self.repair("restart-service:smtp"), report(
                    [service_down("mysql")],
                    [restart("mysql"), restart("smtp", status=status, log=log)]))

    def test_ids_that_name_no_action_are_skipped(self):
        for action in ("", "restart-service:", "restart-service", "service-down:smtp",
                       "Restart-Service:smtp", " restart-service:smtp", "smtp",
                       "restart-service:nowhere"):
            with self.subTest(action):
                self.panel.write_service("smtp", start="touch /usr/local/kvr/started")
                self.assertEqual(self.repair(action), down_report("mysql"))
                with self.assertRaises(FileNotFoundError):
                    open("/usr/local/kvr/started", encoding="utf-8").close()

    def test_without_ids_only_the_checks_run(self):
        self.assertEqual(self.repair(), down_report("mysql"))

    def test_repairs_run_in_the_order_of_the_command_line(self):
        for service in ("smtp", "web"):
            self.panel.write_service(service, start=f"echo {service} >> /usr/local/kvr/order")
        self.repair("restart-service:web", "restart-service:smtp", "restart-service:web")
        with open("/usr/local/kvr/order", encoding="utf-8") as order:
            self.assertEqual(order.read(), "web\nsmtp\nweb\n")

    def test_the_checks_show_the_state_after_the_repair(self):
        self.panel.fake_monitor(script="#!/bin/sh\ntest -e /usr/local/kvr/web || echo '<monit><service>"
                                       "<name>web</name><status>1</status></service></monit>'\n")
        self.panel.write_service("web", start="touch /usr/local/kvr/web")
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql", "web"))
        self.assertEqual(self.repair("restart-service:web"), report(
            [service_down("mysql")], [restart("mysql"), restart("web", status="ok")]))

    def test_a_failed_repair_is_reported_with_the_problem(self):
        self.panel.fake_monitor({"web": 512})
        self.panel.write_service("web", start="echo trying; exit 1")
        self.assertEqual(self.repair("restart-service:web"), report(
            [service_down("mysql"), service_down("web")],
            [restart("mysql"), restart("web", status="error", log="trying\n")]))

    def test_a_definition_is_read_once_in_a_run(self):
        self.panel.write_service("web", start="rm /service/web.xml; echo gone")
        self.panel.fake_monitor({"web": 1})
        self.assertEqual(self.repair("restart-service:web", "restart-service:web"), report(
            [service_down("mysql"), service_down("web")],
            [restart("mysql"),
             restart("web", status="ok",
                     log="rm: cannot remove '/service/web.xml': No such file or directory\n"
                         "gone\n")]))


if __name__ == "__main__":
    unittest.main()
