# SPDX-License-Identifier: MIT
"""The pages of doc for each kind of reader: every command of keldoctl's programs runs as it stands,
on a private host whose web server is down."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

from installed_views import KEPT_REPORTS
from panel import BUILD, PROJECT
from services import service_control
from views import install_views

PAGES = sorted((PROJECT / "doc").glob("*.md")) + [PROJECT / "README.md"]
# The exit statuses for well, problems and not known.
SHOWN = (0, 1, 2)
COMMAND = re.compile(
    r'^    (?:# )?((?:echo "\$token" \| )?(?:keldo[a-z-]+|check_keldoctl)(?: .*)?)$', re.M)


class ReaderPagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        service_control("start-all")
        prefix = install_views(cls.enterClassContext(tempfile.TemporaryDirectory()))
        for program in ("keldoctl", "keldoctl-inspect", "keldo-service-lint"):
            (prefix / "sbin" / program).symlink_to(BUILD / program)
        (prefix / "libexec/keldoctl/repair-commands").symlink_to(BUILD / "libexec/repair-commands")
        plugins = next(prefix.rglob("check_keldoctl")).parent
        cls.environment = {"token": "secret",
                           "PATH": f"{prefix}/sbin:{plugins}:{os.environ['PATH']}"}
        cls.addClassCleanup(shutil.rmtree, KEPT_REPORTS, ignore_errors=True)
        for _ in range(2):
            subprocess.run([prefix / "libexec/keldoctl/keep-report", "9"], check=True)

    def test_each_command_runs(self):
        commands = [(page.name, command) for page in PAGES
                    for command in COMMAND.findall(page.read_text(encoding="utf-8"))]
        self.assertGreater(len(commands), 15)
        for name, command in commands:
            with self.subTest(command, page=name):
                service_control("kill", "web")
                done = subprocess.run(["bash", "-o", "pipefail", "-c", command], check=False,
                                      capture_output=True, text=True,
                                      env=self.environment)
                self.assertIn(done.returncode, SHOWN)
                self.assertEqual(done.stderr, "")

    def test_each_link_leads_to_a_file(self):
        for page in PAGES:
            for link in re.findall(r"\]\(([^)#:]+)\)", page.read_text(encoding="utf-8")):
                with self.subTest(link, page=page.name):
                    self.assertTrue((page.parent / link).exists())


if __name__ == "__main__":
    unittest.main()
