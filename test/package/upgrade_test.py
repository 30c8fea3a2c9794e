# SPDX-License-Identifier: MIT
"""The upgrade from the last release, of the Debian packages and of the RPMs."""

import unittest

from package_test import CONTROL_FILES
from small_systems import DebianSystem, RpmSystem, SystemTest

REPORTS = "/var/lib/keldoctl/reports"
TIMER = "keldoctl-report.timer"
# Files of the administrator; some configure keldoctl.
ADMINISTRATORS = {
    "/etc/kvr/kvr.conf": "PRODUCT_ROOT_D /usr/local/kvr\n",
    "/etc/kvr/.kvr.shadow": "secret\n",
    "/etc/sudoers.d/keldoctl": "nagios ALL=(root) NOPASSWD: /usr/lib/nagios/plugins/check_keldoctl\n",
    f"/etc/systemd/system/{TIMER}.d/often.conf": "[Timer]\nOnCalendar=*:0/5\n",
    "/etc/systemd/system/keldoctl-report.service.d/count.conf": "[Service]\nReadWritePaths=/srv\n",
    "/etc/keldoctl/notify.d/mail": "#!/bin/sh\n",
    "/service/web.xml": "<service/>\n",
    f"{CONTROL_FILES}/another-program": "a file of its own\n",
}


class UpgradeTests:
    """The tests for each kind of package."""

    def test_an_upgrade_is_like_a_fresh_installation(self):
        self.system.upgrade()
        fresh = self.system.state()
        self.system.remove_all()
        self.assert_clean()
        self.system.install_last_release()
        self.assertNotEqual(self.system.state(), fresh)
        self.system.upgrade()
        self.assert_state(fresh)
        self.system.remove_all()
        self.assert_clean()

    def test_the_administrators_files_and_the_kept_reports_stay(self):
        files = ADMINISTRATORS | {f"{REPORTS}/2026-11-21T120000.{i}00000000Z.xml": "<keldoctl/>\n"
                                  for i in range(3)}
        self.system.install_last_release()
        for name, content in files.items():
            self.system.write(name, content)
        self.system.path(CONTROL_FILES).chmod(0o1777)
        self.system.path(REPORTS).chmod(0o700)
        before = self.system.state()
        self.system.upgrade()
        after = self.system.state()
        for name in (CONTROL_FILES, REPORTS, *files):
            with self.subTest(name):
                self.assertEqual(after.get(name), before[name])

    def test_the_timer_stays_enabled_disabled_or_masked(self):
        for state, commands in (("disabled", ()), ("enabled", ("enable",)), ("masked", ("mask",)),
                                ("disabled", ("enable", "disable"))):
            with self.subTest(commands):
                self.system.install_last_release()
                for command in commands:
                    self.system.systemctl(command, TIMER)
                self.assertEqual(self.system.systemctl("is-enabled", TIMER), f"{state}\n")
                self.system.upgrade()
                self.assertEqual(self.system.systemctl("is-enabled", TIMER), f"{state}\n")
                self.system.systemctl("unmask", TIMER)
                self.system.systemctl("disable", TIMER)
                self.system.remove_all()


class DebianUpgradeTest(UpgradeTests, SystemTest):
    kind = DebianSystem


class RpmUpgradeTest(UpgradeTests, SystemTest):
    kind = RpmSystem


if __name__ == "__main__":
    unittest.main()
