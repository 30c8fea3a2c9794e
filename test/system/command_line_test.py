# SPDX-License-Identifier: MIT
"""The command line: accepted forms and error messages."""

import os
import unittest

from panel import KELDOCTL, Panel
from trace import own, traced

TRY = b"Try `keldoctl --help` for more information.\n"
USAGE = (b"Usage: keldoctl --status [--language=LANG_CODE]\n"
         b"   or: keldoctl --repair [--language=LANG_CODE] ID...\n")


class CommandLineTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def check(self, arguments, status, stdout, stderr):
        done = self.panel.run(*arguments)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (status, stdout, stderr))

    def test_a_missing_command_is_refused_with_a_hint(self):
        self.check([], 1, b"", b"keldoctl: missing command\n" + TRY)

    def test_unknown_commands_are_refused_with_a_hint(self):
        for command in ("--Status", "status", "", "-s", "--status=", "--language=de-DE", "-help"):
            with self.subTest(command):
                self.check([command], 1, b"",
                           b"keldoctl: invalid command -- " + command.encode() + b"\n" + TRY)

    def test_the_usage_stops_at_a_line_that_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            done, calls = traced(self.panel, "write", "--help", stdout=full)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(len([call for call in own(calls) if call.arguments.startswith("1, ")]), 1)

    def test_help_prints_the_usage(self):
        self.check(["--help"], 0, USAGE, b"")
        self.check(["-h"], 0, USAGE, b"")
        self.check(["--help", "--language=de-DE", "more"], 0, USAGE, b"")

    def test_a_bad_language_is_refused_with_every_command(self):
        for command in ("--status", "--repair", "--help", "-h"):
            for code in ("", "xx", "en-us", "english", "de_DE", "DE-de", "de-DE ", "d1-DE", "de-D"):
                with self.subTest(command=command, code=code):
                    self.check([command, f"--language={code}"], 1, b"",
                               b"keldoctl: invalid locale code -- " + code.encode() + b"\n")

    def test_bytes_above_ascii_are_invalid_in_a_language(self):
        self.check(["--status", b"--language=\xe4\xf6-DE"], 1, b"",
                   b"keldoctl: invalid locale code -- \xe4\xf6-DE\n")

    def test_the_program_name_is_the_base_name_of_its_path(self):
        for path in ("/elsewhere/other-name", "/elsewhere/a b"):
            with self.subTest(path):
                done = self.panel.run(executable=KELDOCTL, program=[path])
                self.assertEqual(done.stderr.splitlines()[0],
                                 path.removeprefix("/elsewhere/").encode() + b": missing command")

    def test_argument_errors_come_before_anything_is_run(self):
        self.panel.upgrade_tool(0, commands="touch /usr/local/kvr/tool-was-run")
        self.panel.run("--status", "--language=x")
        self.panel.run("--state")
        self.panel.run("--help")
        self.assertFalse(os.path.exists("/usr/local/kvr/tool-was-run"))
        self.panel.run("--status")
        self.assertTrue(os.path.exists("/usr/local/kvr/tool-was-run"))


if __name__ == "__main__":
    unittest.main()
