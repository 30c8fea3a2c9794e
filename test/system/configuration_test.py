# SPDX-License-Identifier: MIT
"""The panel configuration file in whole runs."""

import os
import shutil
import unittest

from panel import CONFIGURATION, Panel, down_report
from trace import own, traced


class ConfigurationTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel(root="/usr/local/kvr/root")

    def configuration_opens(self):
        # Without a locale no catalogue is bound. Binding one would look up a variable.
        _, calls = traced(self.panel, "openat", "--status", env={"LOCPATH": "/tmp"})
        return [call.result for call in own(calls) if "/etc/kvr/kvr.conf" in call.arguments]

    def test_the_product_root_comes_from_the_file(self):
        self.panel.run("--status")
        self.assertEqual(self.panel.checked_services(), ["keldo", "smtp", "web", "dns", "mail"])
        arguments = self.panel.calls()[0].arguments
        self.assertEqual([arguments[0], *arguments[2:]], ["-c", "-x", "check-status"])
        self.assertRegex(arguments[1], r"^/usr/local/kvr/root/tmp/monitrc[A-Za-z0-9]{6}$")

    def test_the_file_is_read_once(self):
        self.assertEqual(len(self.configuration_opens()), 1)

    def test_a_missing_file_is_tried_again_at_each_look_up(self):
        (CONFIGURATION / "kvr.conf").unlink()
        opens = self.configuration_opens()
        # One for the upgrade tool's path; for each of five services, one for the control file and one
        # for the monitor.
        self.assertEqual(len(opens), 1 + 2 * 5)
        self.assertTrue(all(result.startswith("-1 ENOENT") for result in opens), opens)

    def test_without_a_file_the_default_root_is_used(self):
        panel = Panel()
        (CONFIGURATION / "kvr.conf").unlink()
        panel.run("--status")
        self.assertEqual(len(panel.calls()), 5)

    def test_values_follow_the_rules_of_the_format(self):
        for line in ("PRODUCT_ROOT_D /usr/local/kvr/root\n", "  PRODUCT_ROOT_D\t/usr/local/kvr/root # here\n",
                     "PRODUCT_ROOT_D /old\nPRODUCT_ROOT_D /usr/local/kvr/root", "A=b\nPRODUCT_ROOT_D /usr/local/kvr/root",
                     "PRODUCT_ROOT_D \t /usr/local/kvr/root#note\nproduct_root_d /old\n",
                     "PRODUCT_ROOT_D /usr/local/kvr/root\0/more\n"):
            with self.subTest(line):
                self.panel.configure(line)
                self.panel.forget_calls()
                self.panel.run("--status")
                self.assertEqual(len(self.panel.calls()), 5)

    def test_trailing_white_space_is_part_of_a_value(self):
        self.panel.configure("PRODUCT_ROOT_D /usr/local/kvr/root \n")
        done = self.panel.run("--status")
        self.assertEqual(done.stdout, down_report("mysql"))
        self.assertEqual(self.panel.calls(), [])

    def test_a_service_directory_in_the_file_is_ignored(self):
        os.mkdir("/usr/local/kvr/etc")
        shutil.move("/service", "/usr/local/kvr/etc/service")
        self.panel.configure("PRODUCT_ETC_D /usr/local/kvr/etc\nPRODUCT_ROOT_D /usr/local/kvr/root\n")
        self.assertNotIn(b"problem", self.panel.run("--status").stdout)
        shutil.move("/usr/local/kvr/etc/service", "/service")
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))


if __name__ == "__main__":
    unittest.main()
