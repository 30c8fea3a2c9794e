# SPDX-License-Identifier: MIT
"""The installed units."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

from views import install_views

SYSTEM_UNITS = "usr/lib/systemd/system"
# The services that inspect, with their programs.
INSPECTING = {"keldoctl-metrics.service": "write-metrics", "keldoctl-report.service": "keep-report"}
UNITS = sorted([*INSPECTING, "keldoctl-metrics.timer", "keldoctl-notify.service",
                "keldoctl-report.timer"])


class SystemdTest(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.prefix = install_views(self.root)

    def analyze(self, *arguments):
        """Runs systemd-analyze on the installed units."""
        return subprocess.run(["systemd-analyze", *arguments, f"--root={self.root}"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)

    def test_systemd_finds_no_error_but_a_missing_program(self):
        # Our units refer to systemd's own, which must be below the same root.
        shutil.copytree(f"/{SYSTEM_UNITS}", self.root / SYSTEM_UNITS, symlinks=True,
                        dirs_exist_ok=True)
        verify = ["verify", "--man=no", "--recursive-errors=no", *UNITS]
        done = self.analyze(*verify)
        self.assertEqual((done.returncode, done.stdout), (0, b""))
        for program in INSPECTING.values():
            (self.prefix / "libexec/keldoctl" / program).unlink()
            done = self.analyze(*verify)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn(f"{program} is not executable".encode(), done.stdout)

    def test_the_services_that_inspect_have_few_privileges(self):
        # systemd rates the exposure from 0 to 100. Above the threshold, its exit status is not 0.
        for unit in INSPECTING:
            with self.subTest(unit):
                done = self.analyze("security", "--offline=yes", "--threshold=37", "--no-pager", unit)
                self.assertEqual(done.returncode, 0, done.stdout.decode())
                self.assertNotIn("✗ SystemCallArchitectures=", done.stdout.decode())

    def test_notification_follows_a_kept_inspection_outside_its_sandbox(self):
        units = self.prefix / "lib/systemd/system"
        self.assertIn("\nOnSuccess=keldoctl-notify.service\n",
                      (units / "keldoctl-report.service").read_text(encoding="utf-8"))
        done = self.analyze("security", "--offline=yes", "--threshold=90", "--no-pager",
                            "keldoctl-notify.service")
        self.assertIn("✗ NoNewPrivileges=", done.stdout.decode())  # Postfix needs a setgid program

    def test_the_installation_enables_no_unit(self):
        self.assertEqual(sorted(path.name for path in (self.prefix / "lib/systemd").rglob("*")),
                         [*UNITS, "system"])


if __name__ == "__main__":
    unittest.main()
