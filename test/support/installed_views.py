# SPDX-License-Identifier: MIT
"""The programs that apply the views, installed on a private host, for tests of them."""

import os
import pathlib
import shlex
import shutil
import subprocess
import tempfile
import unittest

from inspection import INSPECT
from panel import BUILD, PATH, PROJECT, Panel
from views import INSPECTIONS, install_views

KEPT_REPORTS = pathlib.Path("/var/lib/keldoctl/reports")


class InstalledViewsTestCase(unittest.TestCase):
    """A panel whose services are up, except that no database runs, and the programs installed beside
    the keldoctl-inspect of the build."""

    maxDiff = None
    PROGRAM = None  # below the prefix

    def setUp(self):
        self.panel = Panel()
        self.panel.write_definition("mysql", None)  # no database runs
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        directory.chmod(0o755)  # other users enter it
        self.prefix = install_views(directory)
        self.inspect = self.prefix / "sbin/keldoctl-inspect"
        self.inspect.symlink_to(INSPECT)
        (self.prefix / "libexec/keldoctl/repair-commands").symlink_to(
            BUILD / "libexec/repair-commands")
        self.addCleanup(shutil.rmtree, KEPT_REPORTS.parent, ignore_errors=True)

    def fake_inspect(self, commands):
        """Replaces keldoctl-inspect by shell commands. Returns a file that exists once they have
        run."""
        has_run = self.prefix / "has-run"
        self.inspect.unlink(missing_ok=True)
        self.inspect.write_text(
            f"#!/bin/bash\ntouch {has_run}\n"
            f"printf '%s\\0' \"$@\" $'\\n' >>{self._calls()}\n{commands}\n", encoding="utf-8")
        self.inspect.chmod(0o755)
        return has_run

    def fake_inspection(self, document, status=0):
        """Replaces keldoctl-inspect by a program that prints a document, given in bytes or by the
        name of a recorded inspection."""
        if isinstance(document, str):
            path = INSPECTIONS / f"{document}.xml"
        else:
            path = self.write_xml("faked", document)
        return self.fake_inspect(f"cat {shlex.quote(str(path))}; exit {status}")

    def take_calls(self):
        """The arguments of each call of a fake since the last take_calls()."""
        if not self._calls().exists():
            return []
        calls = self._calls().read_text(encoding="utf-8").split("\n\0")[:-1]
        self._calls().unlink()
        return [call.split("\0")[:-1] for call in calls]

    def _calls(self):
        return self.prefix / "calls"

    def upgrade_in_german(self):
        """Makes the upgrade tool report an upgrade. Installs a German catalogue and locale."""
        self.panel.catalogue((PROJECT / "po/de.po").read_text(encoding="utf-8"))
        self.panel.upgrade_tool(1)
        self.fake_inspect(f'LOCPATH={os.environ["LOCPATH_UTF8"]} exec {INSPECT} "$@"')

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

    def have_programs(self, programs, program=None):
        """Edits an installed program, PROGRAM by default, so that it sets PATH to
        path_with(programs)."""
        self.edit_program(f"PATH={PATH}\n", f"PATH={self.path_with(programs)}\n", program)

    def edit_program(self, old, new, program=None):
        """Replaces a text that an installed program contains once."""
        program = self.prefix / (program or self.PROGRAM)
        text = program.read_text(encoding="utf-8")
        self.assertEqual(text.count(old), 1)
        program.write_text(text.replace(old, new), encoding="utf-8")

    def run_program(self, *arguments, env=None, **options):
        """Runs the program. Returns its status and what it printed on both streams."""
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                   "stderr": subprocess.PIPE}
        done = subprocess.run([self.prefix / self.PROGRAM, *arguments], check=False,
                              env={"PATH": PATH} | (env or {}), **streams | options)
        return done.returncode, (done.stdout or b"").decode(), done.stderr.decode()
