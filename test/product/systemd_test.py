# SPDX-License-Identifier: MIT
"""The units that keep reports, as they are installed."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

from views import install_views

SYSTEM_UNITS = "usr/lib/systemd/system"
UNITS = ["keldoctl-report.service", "keldoctl-report.timer"]


class SystemdTest(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.prefix = install_views(self.root)

    def verify(self):
        """What systemd has to say about the units."""
        # Its own units, which ours refer to, have to be in the same root directory.
        shutil.copytree(f"/{SYSTEM_UNITS}", self.root / SYSTEM_UNITS, symlinks=True,
                        dirs_exist_ok=True)
        return subprocess.run(["systemd-analyze", "verify", "--man=no", "--recursive-errors=no",
                               f"--root={self.root}", *UNITS], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, check=False)

    def test_systemd_finds_no_fault(self):
        done = self.verify()
        self.assertEqual((done.returncode, done.stdout), (0, b""))

    def test_it_would_find_that_the_program_is_missing(self):
        (self.prefix / "libexec/keldoctl/keep-report").unlink()
        done = self.verify()
        self.assertNotEqual(done.returncode, 0)
        self.assertIn(b"keep-report is not executable", done.stdout)

    def test_nothing_is_enabled_by_the_installation(self):
        self.assertEqual(sorted(path.name for path in (self.prefix / "lib/systemd").rglob("*")),
                         [*UNITS, "system"])


if __name__ == "__main__":
    unittest.main()
