# SPDX-License-Identifier: MIT
"""The programs that apply the views, installed on a private host, for tests of them."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

from panel import KELDOCTL, PATH, Panel
from views import install_views

KEPT_REPORTS = pathlib.Path("/var/lib/keldoctl/reports")


class InstalledViewsTestCase(unittest.TestCase):
    """A panel on which all is well, and the programs installed with the keldoctl built."""

    maxDiff = None
    PROGRAM = None  # below the prefix

    def setUp(self):
        self.panel = Panel()
        self.panel.write_definition("mysql", None)  # no database runs
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        directory.chmod(0o755)  # for other users
        self.prefix = install_views(directory)
        self.keldoctl = self.prefix / "sbin/keldoctl"
        self.keldoctl.symlink_to(KELDOCTL)
        (self.prefix / "libexec/keldoctl/panel-root").symlink_to(
            KELDOCTL.parent / "libexec/panel-root")
        self.addCleanup(shutil.rmtree, KEPT_REPORTS.parent, ignore_errors=True)

    def fake_keldoctl(self, commands):
        """Puts shell commands in the place of keldoctl."""
        self.keldoctl.unlink()
        self.keldoctl.write_text(f"#!/bin/bash\n{commands}\n", encoding="utf-8")
        self.keldoctl.chmod(0o755)

    def path_without_xsltproc(self):
        """A PATH by which everything else is found."""
        directory = self.prefix / "without-xsltproc"
        directory.mkdir()
        for program in pathlib.Path("/usr/bin").iterdir():
            if program.name != "xsltproc":
                (directory / program.name).symlink_to(program)
        return str(directory)

    def have_no_xsltproc(self):
        """Changes the PATH that the program sets itself, whatever it is given, to such a one."""
        program = self.prefix / self.PROGRAM
        own_path = f"PATH={PATH}\n"
        text = program.read_text(encoding="utf-8")
        self.assertEqual(text.count(own_path), 1)
        program.write_text(text.replace(own_path, f"PATH={self.path_without_xsltproc()}\n"),
                           encoding="utf-8")

    def run_program(self, *arguments, env=None, **options):
        """Runs the program. Returns its status and what it printed on both streams."""
        done = subprocess.run([self.prefix / self.PROGRAM, *arguments], check=False,
                              env={"PATH": PATH} | (env or {}), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
        return done.returncode, done.stdout.decode(), done.stderr.decode()
