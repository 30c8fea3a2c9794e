# SPDX-License-Identifier: MIT
"""The RPMs on a small system: what they require, their scripts, their removal."""

import unittest

from small_systems import NAMES, RpmSystem, SystemTest
from package_test import (ADAPTER, ADMINISTRATORS, CATALOGUE, CONTROL_FILES, DEFINITION, GERMAN,
                          MONITOR, PROGRAM, REPORT, ROOT, TIMERS)


class RpmTest(SystemTest):
    kind = RpmSystem


class DependencyTest(RpmTest):
    def test_rpm_names_each_library_and_program_that_would_be_missing(self):
        self.system.install(*NAMES)
        output = self.system.rpm("--erase", "--test", "base-system", status=1)
        for needed in (r"libmariadb\.so\.3\(\)", r"libxml2\.so\.[0-9]+\(\)", r"libc\.so\.6\(\)",
                       "/usr/bin/awk", "/usr/bin/xsltproc", "bash"):
            with self.subTest(needed):
                self.assertRegex(output, rf"\t{needed}\S* is needed by \(installed\) keldoctl-1")
        self.assertIn("\tmonit >= 5.33 is needed by (installed) keldoctl-monit-1", output)

    def test_the_monitor_needs_the_program_of_the_same_version(self):
        output = self.system.rpm("--install", "--test", self.system.file("keldoctl-monit"), status=1)
        self.assertRegex(output, r"keldoctl = [0-9.]+-1 is needed by keldoctl-monit")
        self.system.install(*NAMES)
        output = self.system.rpm("--erase", "keldoctl", status=1)
        self.assertRegex(output, r"keldoctl = [0-9.]+-1 is needed by \(installed\) keldoctl-monit")

    def test_the_installed_files_and_dependencies_are_those_of_the_packages(self):
        self.system.install(*NAMES)
        self.assertEqual(self.system.rpm("--verify", *NAMES), "")


class ScriptTest(RpmTest):
    def test_the_scripts_print_nothing(self):
        self.assertEqual(self.system.install(*NAMES), "")
        self.assertEqual(self.system.rpm("--erase", *NAMES), "")

    def test_the_panel_finds_the_program_the_monitor_and_the_catalogues(self):
        self.system.install(*NAMES)
        self.assertEqual([self.system.link(name)
                          for name in (PROGRAM, PROGRAM + "-inspect", MONITOR, CATALOGUE)],
                         ["/usr/sbin/keldoctl", "/usr/sbin/keldoctl-inspect", ADAPTER,
                          CATALOGUE.replace(ROOT + "/share", "/usr/share/keldoctl")])
        self.assertEqual(self.system.path(CONTROL_FILES).stat().st_mode & 0o7777, 0o700)

    def test_a_german_report_works_at_once(self):
        self.system.install("keldoctl")
        self.system.write("/service/mysql.xml", DEFINITION)
        self.assertIn(GERMAN, self.system.run("keldoctl", "--status", "--language=de-DE"))

    def test_the_timers_are_off(self):
        self.system.install("keldoctl")
        self.assertEqual({self.system.systemctl("is-enabled", timer) for timer in TIMERS},
                         {"disabled\n"})

    def test_the_administrators_files_and_kept_reports_stay(self):
        for name, content in (ADMINISTRATORS | {REPORT: "<keldoctl/>\n"}).items():
            self.system.write(name, content)
        self.system.clean = self.system.state()
        self.system.install(*NAMES)
        self.system.remove_all()
        self.assert_clean()

    def test_a_failing_script_does_not_block_removal(self):
        self.system.install(*NAMES)
        for name in ("panel-links", "link-locales"):
            self.system.write(f"/usr/libexec/keldoctl/{name}", f"#!/bin/sh\necho {name} $*; exit 1\n")
        output = self.system.rpm("--erase", *NAMES)
        for call in ("panel-links remove keldoctl\n", "panel-links remove keldoctl-monit\n",
                     "link-locales remove\n"):
            self.assertIn(call, output)
        self.assertFalse(self.system.path("/usr/sbin/keldoctl").exists())


if __name__ == "__main__":
    unittest.main()
