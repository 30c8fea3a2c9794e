# SPDX-License-Identifier: MIT
"""Whole runs with a real database server that a signal interrupts every millisecond."""

import unittest

from database import START, STOP, DatabaseTestCase
from panel import down_report, report
from storm import STORM, signals



class InterruptedRunTest(DatabaseTestCase):
    def check(self, expected):
        """Compares a run, and what it asked the database, with one that is left in peace."""
        self.panel.forget_calls()
        self.assertEqual(self.panel.run("--status").stdout, expected)
        sessions, services = self.database.sessions(), self.panel.checked_services()
        self.panel.forget_calls()
        done = self.panel.run("--status", env=STORM)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, expected, b""))
        self.assertEqual(self.database.sessions(), sessions)
        self.assertEqual(self.panel.checked_services(), services)
        self.assertGreater(signals(), 0)

    def test_all_well(self):
        for _ in range(5):
            self.check(report())

    def test_services_started_and_stopped_through_the_panel(self):
        self.panel.fake_monitor({"web": 1, "tomcat": 1})
        self.panel.write_service("tomcat")
        self.database.log_action(STOP, *[f"service{number}" for number in range(1000)])
        self.database.log_action(START, "tomcat")
        self.database.log_action(STOP, "web")
        self.check(down_report("tomcat"))


if __name__ == "__main__":
    unittest.main()
