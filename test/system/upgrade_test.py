# SPDX-License-Identifier: MIT
"""The check for an upgrade of the panel, and what it keeps from being checked."""

import unittest

from panel import Panel, Problem, down_report, report, restart

IN_PROGRESS = Problem("upgrade", "Upgrade is in progress. Please wait.", "minor")


class UpgradeTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def test_an_upgrade_is_the_whole_report_whatever_the_services_do(self):
        self.panel.fake_monitor({"web": 1})
        self.panel.upgrade_tool(1)
        done = self.panel.run("--status")
        self.assertEqual((done.returncode, done.stdout), (0, report([IN_PROGRESS])))
        self.assertEqual(self.panel.calls(), [])

    def test_only_exit_status_1_means_an_upgrade(self):
        for status in (0, 2, 3, 127, 255):
            with self.subTest(status):
                self.panel.upgrade_tool(status)
                self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))

    def test_a_missing_tool_means_that_no_upgrade_runs(self):
        self.panel.upgrade_tool(None)
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))

    def test_a_tool_that_is_killed_means_that_no_upgrade_runs(self):
        self.panel.upgrade_tool(0, commands="kill -9 $$")
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))

    def test_the_output_of_the_tool_is_not_looked_at(self):
        self.panel.upgrade_tool(0, commands="echo '<upgrade>1</upgrade>'; echo 1 >&2")
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))

    def test_repairs_are_carried_out_during_an_upgrade(self):
        self.panel.upgrade_tool(1)
        self.panel.write_service("web", start="echo started")
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual(done.stdout, report([IN_PROGRESS],
                                             [restart("web", status="ok", log="started\n")]))

    def test_the_repair_comes_before_the_check(self):
        self.panel.upgrade_tool(0, commands="test ! -e /usr/local/kvr/upgrading || exit 1")
        self.panel.write_service("web", start="touch /usr/local/kvr/upgrading")
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual(done.stdout, report([IN_PROGRESS], [restart("web", status="ok")]))


if __name__ == "__main__":
    unittest.main()
