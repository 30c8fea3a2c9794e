# SPDX-License-Identifier: MIT
"""A Turkish run with a real database server: the same statements, the same services."""

import unittest

from database import DatabaseTestCase
from locales import StockLocales, charset_of

START, STOP = 1, 2


class TurkishTest(DatabaseTestCase):
    def setUp(self):
        StockLocales(self).run("add")
        super().setUp()

    def run_in(self, code):
        """The services that a run asks the monitor about, and what the database was asked."""
        self.panel.forget_calls()
        done = self.panel.run("--status", f"--language={code}")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return self.panel.checked_services(), self.database.sessions()

    def test_the_action_log_is_read_as_in_english(self):
        self.assertEqual(charset_of("tr_TR"), "UTF-8")
        for service in ("INIT", "index", "ısı"):
            self.panel.write_service(service)
            self.database.log_action(START, service)
        self.database.log_action(STOP, "mail", "DNS")
        self.panel.fake_monitor({"INIT": 32})
        services, sessions = self.run_in("tr-TR")
        self.assertEqual(sorted(services), ["INIT", "dns", "index", "keldo", "smtp", "web", "ısı"])
        self.assertEqual((services, sessions), self.run_in("en-US"))
        self.assertEqual([session.connect for session in sessions],
                         ["admin@localhost on kvr using Socket"] * 2)


if __name__ == "__main__":
    unittest.main()
