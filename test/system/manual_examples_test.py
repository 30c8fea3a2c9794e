# SPDX-License-Identifier: MIT
"""The examples in the manual pages: control files, configuration lines, checks of a file."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from manual import BUILD, displays, page, shown_commands
from panel import PATH, Panel
from trace import traced


class DefinitionTest(unittest.TestCase):
    def test_the_definitions_give_the_control_files_shown(self):
        [web] = displays("keldo-service.5", "DESCRIPTION")
        web_control, dns, dns_control = displays("keldo-service.5", "EXAMPLES")
        panel = Panel()
        panel.write_definition("web", web)
        panel.write_definition("dns", dns)
        panel.run("--status")
        controls = [call.control_file for call in panel.calls()]
        self.assertIn(web_control, controls)
        self.assertIn(dns_control, controls)


class ConfigurationTest(unittest.TestCase):
    """The table of kvr.conf(5): lines and their values."""

    def root_of(self, line):
        """The panel's root directory, for keldoctl, if the file has only this line."""
        panel = Panel()
        panel.configure(line)
        _, calls = traced(panel, "openat", "--status", env={"LOCPATH": "/tmp"})
        [tmp] = {found[1] for call in calls
                 if (found := re.search(r'"(.*)/tmp/monitrc\w{6}"', call.arguments))}
        return tmp

    def test_the_lines_define_the_values_shown(self):
        rows = re.findall(r"^\.It Li NAME((?!D_).*?) Ta (.*)$",
                          page("kvr.conf.5").read_text(encoding="utf-8"), re.M)
        self.assertGreater(len(rows), 6)
        for line, value in rows:
            with self.subTest(line):
                # Backslashes as strace shows them.
                line = line.replace(r"\(pc", " ").replace(r"\(dq", '"').replace(r"\e", "\\")
                value = value.replace(r"\(pc", " ").replace(r"\(dq", r'\"').replace(r"\e", "\\")
                line = line.replace(r"\r", "\r").replace(r"\n", "\n")
                expected = value.removeprefix("Li ") if value.startswith("Li ") \
                    else "/usr/local/kvr"
                self.assertEqual(self.root_of("PRODUCT_ROOT_D" + line), expected)


SECONDS = re.compile(r"<seconds>[0-9.]+")


class CheckerTest(unittest.TestCase):
    def check(self, page_name, program):
        """Runs examples that show a file and then the output of a program for it. How long a test
        took may differ."""
        (show, text), *examples = shown_commands(page_name, "EXAMPLES")
        with tempfile.TemporaryDirectory() as directory:
            pathlib.Path(directory, show.split()[1]).write_text(text, encoding="utf-8")
            for command, output in examples:
                output = output.replace(r"\(aq", "'")
                done = subprocess.run(["bash", "-c", command], check=False, cwd=directory,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                      env={"PATH": f"{program.parent}:{PATH}"})
                with self.subTest(command):
                    self.assertEqual(SECONDS.sub("", done.stdout.decode()), SECONDS.sub("", output))

    def test_monit_check_status(self):
        self.check("monit-check-status.8", pathlib.Path(os.environ["MONIT_CHECK_STATUS"]))

    def test_keldo_service_lint(self):
        self.check("keldo-service-lint.1", BUILD / "keldo-service-lint")


if __name__ == "__main__":
    unittest.main()
