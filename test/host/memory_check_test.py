# SPDX-License-Identifier: MIT
"""Whole runs under valgrind: no invalid access, no leak, no open descriptor at the end.

Memory that lives until exit (the configuration, the client library) is reachable at the end. Its
size does not depend on the number of services.
"""

import os
import re
import unittest

from counting import uncounted
from database import START, DatabaseTestCase
from panel import KELDOCTL, down_report

GERMAN = """
msgid ""
msgstr "Content-Type: text/plain; charset=UTF-8\\n"
msgid "The <service_title> service is switched off."
msgstr "Der Dienst <service_title> ist ausgeschaltet."
"""


@uncounted
class MemoryTest(DatabaseTestCase):
    def kept(self, *arguments, **options):
        """Runs keldoctl under valgrind, which must find no fault. Returns keldoctl's output and
        valgrind's line on memory that is still reachable at the end."""
        log = self.panel.root / "valgrind"
        done = self.panel.run(*arguments, program=(
            "valgrind", "--leak-check=full", "--track-fds=yes", "--child-silent-after-fork=yes",
            f"--log-file={log}", KELDOCTL), **options)
        found = log.read_text(encoding="utf-8")
        self.assertEqual((done.returncode, done.stderr), (0, b""), found)
        listed = re.findall(r"Open [^:]* (\d+):(?: (.*))?", found)
        # valgrind 3.27 calls each standard descriptor that keldoctl has restored an error.
        restored = sum(int(number) <= 2 for number, _ in listed)
        self.assertIn(f"ERROR SUMMARY: {restored} errors", found)
        for kind in ("definitely", "indirectly", "possibly"):
            self.assertRegex(found, rf"{kind} lost: 0 bytes in 0 blocks")
        # Some versions list their own log.
        others = [path for number, path in listed if int(number) > 2]
        self.assertLessEqual(set(others), {str(log)}, found)
        self.assertIn(f"FILE DESCRIPTORS: {3 + len(others)} open", found)
        return done.stdout, re.search(r"still reachable: (.*)", found)[1]

    def define(self, count):
        """Defines `count` services, started by the administrator, all down. Returns their names."""
        names = [f"service{number}" for number in range(count)]
        for name in names:
            self.panel.write_service(name, titles={"de-DE": "Titel"}, sockets=["/run/x"],
                                     ports=[(80, {"protocol": "http"})], start="echo output")
        self.database.log_action(START, *names)
        self.panel.fake_monitor({name: 1 for name in names})
        return names

    def check_kept(self, arguments, **options):
        """A run with forty services down keeps as much as a run with one."""
        few_names = self.define(1)
        few = self.kept(*arguments(few_names), **options)
        many_names = self.define(40)
        many = self.kept(*arguments(many_names), **options)
        self.assertGreater(len(many[0]), 10 * len(few[0]))
        self.assertEqual(many[1], few[1])

    def test_a_diagnosis_keeps_nothing_that_grows(self):
        self.check_kept(lambda names: ["--status"])

    def test_a_diagnosis_in_another_language_keeps_nothing_that_grows(self):
        self.panel.catalogue(GERMAN)
        self.check_kept(lambda names: ["--status", "--language=de-DE"],
                        env={"LOCPATH": os.environ["LOCPATH_UTF8"]})

    def test_repairs_keep_nothing_that_grows(self):
        self.check_kept(lambda names: ["--repair", *(f"restart-service:{name}" for name in names)])

    def test_a_run_without_a_database_leaks_nothing(self):
        self.panel.set_password(b"wrong\n")
        self.assertEqual(self.kept("--status")[0], down_report("mysql"))

    def test_a_run_during_an_upgrade_leaks_nothing(self):
        self.panel.upgrade_tool(1)
        self.assertIn(b'<problem id="upgrade">', self.kept("--status")[0])

    def test_damaged_definitions_and_monitor_output_leak_nothing(self):
        self.panel.write_definition("web", "<service")
        self.panel.write_definition("dns", None)
        self.panel.fake_monitor(script="#!/bin/sh\necho '<monit><service'\n")
        self.kept("--repair", "restart-service:web", "restart-service:none", "x")


if __name__ == "__main__":
    unittest.main()
