# SPDX-License-Identifier: MIT
"""The check for an upgrade of the panel. No service is checked during an upgrade."""

import unittest

from panel import Panel, Problem, down_report, report, restart

IN_PROGRESS = Problem("upgrade", "Upgrade is in progress. Please wait.", "minor")


class UpgradeTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def test_an_upgrade_is_the_only_problem_even_if_services_are_down(self):
        self.panel.fake_monitor({"web": 1})
        self.panel.upgrade_tool(1)
        done = self.panel.run("--status")
        self.assertEqual((done.returncode, done.stdout), (0, report([IN_PROGRESS])))
        self.assertEqual(self.panel.calls(), [])

    def test_only_exit_status_1_means_an_upgrade(self):
        for status, commands in ((0, ""), (2, ""), (3, ""), (127, ""), (255, ""),
                                 (0, "kill -9 $$"),
                                 (0, "echo '<upgrade>1</upgrade>'; echo 1 >&2"), (None, "")):
            with self.subTest(status, commands=commands):
                self.panel.upgrade_tool(status, commands)
                self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))

    def test_repairs_are_carried_out_during_an_upgrade(self):
        self.panel.upgrade_tool(1)
        self.panel.write_service("web", start="echo started")
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual(done.stdout, report([IN_PROGRESS],
                                             [restart("web", status="ok", log="started\n")]))


if __name__ == "__main__":
    unittest.main()
