# SPDX-License-Identifier: MIT
"""The programs that apply the views, installed on a private host, for tests of them."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from panel import KELDOCTL, PATH, PROJECT, Panel
from views import install_views

KEPT_REPORTS = pathlib.Path("/var/lib/keldoctl/reports")


class InstalledViewsTestCase(unittest.TestCase):
    """A panel without problems, and the programs installed beside the keldoctl of the build."""

    maxDiff = None
    PROGRAM = None  # below the prefix

    def setUp(self):
        self.panel = Panel()
        self.panel.write_definition("mysql", None)  # no database runs
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        directory.chmod(0o755)  # other users enter it
        self.prefix = install_views(directory)
        self.keldoctl = self.prefix / "sbin/keldoctl"
        self.keldoctl.symlink_to(KELDOCTL)
        (self.prefix / "libexec/keldoctl/panel-root").symlink_to(
            KELDOCTL.parent / "libexec/panel-root")
        self.addCleanup(shutil.rmtree, KEPT_REPORTS.parent, ignore_errors=True)

    def fake_keldoctl(self, commands):
        """Replaces keldoctl by shell commands. Returns a file that exists once they have run."""
        has_run = self.prefix / "has-run"
        self.keldoctl.unlink()
        self.keldoctl.write_text(f"#!/bin/bash\ntouch {has_run}\n{commands}\n", encoding="utf-8")
        self.keldoctl.chmod(0o755)
        return has_run

    def upgrade_in_german(self):
        """Makes the upgrade tool report an upgrade. Installs a German catalogue and locale."""
        self.panel.catalogue((PROJECT / "po/de.po").read_text(encoding="utf-8"))
        self.panel.upgrade_tool(1)
        self.fake_keldoctl(f'LOCPATH={os.environ["LOCPATH_UTF8"]} exec {KELDOCTL} "$@"')

    def write_xml(self, name, content):
        """Writes a file below the prefix and returns its path."""
        path = self.prefix / f"{name}.xml"
        path.write_bytes(content)
        return path

    def path_with(self, programs):
        """A PATH with these programs, shell commands by name or None for a missing one, and all of
        /usr/bin."""
        directory = self.prefix / "programs"
        directory.mkdir()
        for program in pathlib.Path("/usr/bin").iterdir():
            if program.name not in programs:
                (directory / program.name).symlink_to(program)
        for name, commands in programs.items():
            if commands:
                (directory / name).write_text(f"#!/bin/bash\n{commands}\n", encoding="utf-8")
                (directory / name).chmod(0o755)
        return str(directory)

    def have_programs(self, programs):
        """Edits the installed program so that it sets PATH to path_with(programs)."""
        program = self.prefix / self.PROGRAM
        own_path = f"PATH={PATH}\n"
        text = program.read_text(encoding="utf-8")
        self.assertEqual(text.count(own_path), 1)
        program.write_text(text.replace(own_path, f"PATH={self.path_with(programs)}\n"),
                           encoding="utf-8")

    def run_program(self, *arguments, env=None, **options):
        """Runs the program. Returns its status and what it printed on both streams."""
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                   "stderr": subprocess.PIPE}
        done = subprocess.run([self.prefix / self.PROGRAM, *arguments], check=False,
                              env={"PATH": PATH} | (env or {}), **streams | options)
        return done.returncode, (done.stdout or b"").decode(), done.stderr.decode()
