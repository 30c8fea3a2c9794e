# SPDX-License-Identifier: MIT
"""Whole runs that a signal interrupts every millisecond."""

import os
import unittest

from panel import Panel
from storm import STORM, signals


class SignalStormTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def check(self, *arguments):
        """Compares an interrupted run with an undisturbed run."""
        expected = self.panel.run(*arguments)
        calls = len(self.panel.calls())
        done = self.panel.run(*arguments, env=STORM)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertTrue(done.stdout == expected.stdout)  # too long for a message
        self.assertEqual(len(self.panel.calls()), 2 * calls)
        self.assertEqual(os.listdir(self.panel.root / "tmp"), [])
        self.assertGreater(signals(), 0)

    def test_an_interrupted_run_finds_all_well(self):
        self.panel.write_definition("mysql", None)
        self.check("--status")

    def test_an_interrupted_run_finds_a_service_down(self):
        self.panel.fake_monitor({"web": 1})
        self.check("--status")

    def test_an_interrupted_run_reads_a_large_answer_of_the_monitor(self):
        self.panel.fake_monitor(script="#!/bin/sh\necho '<monit>'; yes '<x/>' | head -n 200000\n"
                                       "echo '<service><name>web</name><status>1</status></service>"
                                       "</monit>'\n")
        self.check("--status")

    def test_an_interrupted_run_reports_an_upgrade(self):
        self.panel.upgrade_tool(1, commands="head -c 10000000 /dev/zero | tr '\\0' x")
        self.check("--status")

    def test_an_interrupted_run_carries_out_a_repair(self):
        self.panel.fake_monitor({"web": 1})
        self.panel.write_service("web", stop="echo stopped", start="echo started >&2; exit 1")
        self.check("--repair", "restart-service:web")

    def test_an_interrupted_run_reports_a_large_log(self):
        self.panel.write_service("web", start="head -c 10000000 /dev/zero | tr '\\0' x")
        self.check("--repair", "restart-service:web")

    def test_an_interrupted_run_reads_a_large_definition(self):
        self.panel.fake_monitor({"web": 1})
        self.panel.write_service("web", ports=[(number, {}) for number in range(1, 50001)])
        self.check("--status")


if __name__ == "__main__":
    unittest.main()
