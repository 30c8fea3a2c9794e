# SPDX-License-Identifier: MIT
"""The version of CMakeLists.txt in files and programs, and the programs' usage."""

import os
import pathlib
import re
import subprocess
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["KELDOCTL"]).parent


def found(pattern, path):
    """The text of the pattern's group at its first match in a file."""
    match = re.search(pattern, path.read_text(encoding="utf-8"), re.MULTILINE)
    if not match:
        raise AssertionError(f"no {pattern} in {path}")
    return match[1]


VERSION = found(r"^project\(keldoctl VERSION (\S+)", PROJECT / "CMakeLists.txt")


class VersionTest(unittest.TestCase):
    def test_every_file_repeats_the_version(self):
        for name, pattern in (("debian/changelog", r"\Akeldoctl \((\S+)\) "),
                              ("rpm/keldoctl.spec", r"^Version: +(\S+)$"),
                              ("rpm/keldoctl.spec", r"%changelog\n\* .* - (\S+)-1\n"),
                              ("CHANGELOG.md", r"^## ([0-9.]+)")):
            with self.subTest(name, pattern=pattern):
                self.assertEqual(found(pattern, PROJECT / name), VERSION)

    def test_the_manual_pages_show_the_version(self):
        pages = sorted((BUILD / "share/man").glob("man*/*"))
        self.assertTrue(pages)
        for page in pages:
            with self.subTest(page.name):
                self.assertEqual(found(r"^\.Os keldoctl (\S+)$", page), VERSION)


class ProgramsTest(unittest.TestCase):
    """Every program, except keldoctl, whose command line is fixed, has --version and --help."""

    PROGRAMS = ("keldoctl-inspect", "keldo-service-lint", "views/keldoctl-report",
                "views/check_keldoctl", "views/keep-report", "views/keldoctl-notify",
                "fleet/keldoctl-gate",
                "views/show-changes", "views/write-metrics",
                "libexec/link-into-panel", "libexec/monit-check-status", "libexec/panel-links",
                "libexec/panel-root", "libexec/repair-commands", "locale/link-locales")
    # A status of 0 would tell a monitor that all is well.
    STATUS = {"views/check_keldoctl": 3}

    # These take a closed standard output for the null device, as keldoctl does.
    WITHOUT_OUTPUT = {"keldoctl-inspect", "keldo-service-lint", "libexec/repair-commands"}

    @staticmethod
    def run_program(program, option, **options):
        return subprocess.run([BUILD / program, option], check=False, text=True,
                              stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, **options)

    def test_each_prints_its_version_and_its_usage(self):
        for program in self.PROGRAMS:
            name = program.rpartition("/")[2]
            for option, text in (("--version", rf"\A{name} {re.escape(VERSION)}\n\Z"),
                                 ("--help", rf"(?m)^[Uu]sage: {name} ")):
                with self.subTest(program, option=option):
                    done = self.run_program(program, option, stdout=subprocess.PIPE)
                    self.assertEqual((done.returncode, done.stderr),
                                     (self.STATUS.get(program, 0), ""))
                    self.assertRegex(done.stdout, text)

    def test_each_fails_if_the_text_cannot_be_written(self):
        full = self.enterContext(open("/dev/full", "wb"))
        for program in self.PROGRAMS:
            for option in ("--version", "--help"):
                with self.subTest(program, option=option):
                    self.assertGreater(self.run_program(program, option, stdout=full).returncode, 0)
                    closed = self.run_program(program, option, preexec_fn=lambda: os.close(1))
                    self.assertEqual(closed.returncode == 0, program in self.WITHOUT_OUTPUT)

    def test_the_programs_of_scripts_refuse_a_wrong_command_line(self):
        for program, *arguments in (("panel-root", "--root"), ("repair-commands",)):
            with self.subTest(program):
                done = subprocess.run([BUILD / "libexec" / program, *arguments], check=False,
                                      capture_output=True, text=True)
                self.assertEqual((done.returncode, done.stdout), (64, ""))
                self.assertRegex(done.stderr, rf"\AUsage: {program} ")


if __name__ == "__main__":
    unittest.main()
