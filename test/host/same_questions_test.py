# SPDX-License-Identifier: MIT
"""Runs under odd conditions ask a real database and the monitor what a plain run asks."""

import unittest

from database import START, STOP, DatabaseTestCase
from locales import StockLocales, charset_of
from panel import down_report, report
from storm import STORM, signals


class SameQuestionsTest(DatabaseTestCase):
    def run_status(self, *arguments, **options):
        """The output of a run, the services that the monitor was asked about, and the sessions."""
        self.panel.forget_calls()
        done = self.panel.run("--status", *arguments, **options)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout, self.panel.checked_services(), self.database.sessions()

    def check_storm(self, expected):
        """Compares a run that a signal interrupts every millisecond with a plain run."""
        plain = self.run_status()
        self.assertEqual(plain[0], expected)
        self.assertEqual(self.run_status(env=STORM), plain)
        self.assertGreater(signals(), 0)

    def test_interrupted_run_with_nothing_down(self):
        for _ in range(5):
            self.check_storm(report())

    def test_interrupted_run_with_a_long_action_log(self):
        self.panel.fake_monitor({"web": 1, "tomcat": 1})
        self.panel.write_service("tomcat")
        self.database.log_action(STOP, *[f"service{number}" for number in range(1000)])
        self.database.log_action(START, "tomcat")
        self.database.log_action(STOP, "web")
        self.check_storm(down_report("tomcat"))

    def test_turkish_run_with_ids_of_letters_i(self):
        StockLocales(self).run("add")
        self.assertEqual(charset_of("tr_TR"), "UTF-8")
        for service in ("INIT", "index", "ısı"):
            self.panel.write_service(service)
            self.database.log_action(START, service)
        self.database.log_action(STOP, "mail", "DNS")
        self.panel.fake_monitor({"INIT": 32})
        _, services, sessions = self.run_status("--language=tr-TR")
        self.assertEqual(sorted(services), ["INIT", "dns", "index", "keldo", "smtp", "web", "ısı"])
        self.assertEqual((services, sessions), self.run_status()[1:])
        self.assertEqual([session.connect for session in sessions],
                         ["admin@localhost on kvr using Socket"] * 2)


if __name__ == "__main__":
    unittest.main()
