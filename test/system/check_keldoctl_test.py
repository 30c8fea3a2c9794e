# SPDX-License-Identifier: MIT
"""The plugin for Nagios, with keldoctl and with what may be in its place."""

import os
import signal
import unittest

from installed_views import InstalledViewsTestCase
from panel import PROJECT

OK, WARNING, CRITICAL, UNKNOWN = range(4)
NOBODY = 65534


class CheckKeldoctlTest(InstalledViewsTestCase):
    PROGRAM = "lib/nagios/plugins/check_keldoctl"

    def check(self, status, line, *arguments, **options):
        self.assertEqual(self.run_program(*arguments, **options), (status, line + "\n", ""))

    def unknown(self, reason, *arguments, **options):
        self.check(UNKNOWN, f"KELDOCTL UNKNOWN - {reason}", *arguments, **options)

    def test_all_well(self):
        self.check(OK, "KELDOCTL OK - no problems"
                   " | problems=0;;;0 minor=0;0;;0 major=0;0;0;0 critical=0;0;0;0")

    def test_a_service_that_is_down_is_critical(self):
        self.panel.fake_monitor({"web": 1})
        self.check(CRITICAL, "KELDOCTL CRITICAL - 1 problem:"
                   " [major] The web title service is switched off."
                   " | problems=1;;;0 minor=0;0;;0 major=1;0;0;0 critical=0;0;0;0")

    def test_an_upgrade_is_a_warning(self):
        self.panel.upgrade_tool(1)
        self.check(WARNING, "KELDOCTL WARNING - 1 problem:"
                   " [minor] Upgrade is in progress. Please wait."
                   " | problems=1;;;0 minor=1;0;;0 major=0;0;0;0 critical=0;0;0;0")

    def test_thresholds_short_and_long(self):
        self.panel.fake_monitor({"web": 1})
        for arguments, status in (
                (("-w", "major", "-c", "critical"), WARNING),
                (("-w", "critical", "-c", "critical"), OK),
                (("--warning=minor", "--critical=none"), WARNING),
                (("--warning", "none", "--critical", "none"), OK),
                (("-wnone", "-cminor"), CRITICAL)):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments)[0], status)

    def test_the_language_is_that_of_the_problems(self):
        self.panel.catalogue((PROJECT / "po/de.po").read_text(encoding="utf-8"))
        self.panel.upgrade_tool(1)
        line = self.run_program("-l", "de-DE", env={"LOCPATH": os.environ["LOCPATH_UTF8"]})[1]
        self.assertIn("[minor] Eine Aktualisierung läuft. Bitte warten Sie. |", line)

    def test_version_and_help(self):
        for option in ("-V", "--version"):
            with self.subTest(option):
                status, output, errors = self.run_program(option)
                self.assertEqual((status, errors), (UNKNOWN, ""))
                self.assertRegex(output, r"\Acheck_keldoctl \d+\.\d+\.\d+\n\Z")
        for option in ("-h", "--help"):
            with self.subTest(option):
                status, output, errors = self.run_program(option)
                self.assertEqual((status, errors), (UNKNOWN, ""))
                for name in ("-w, --warning", "-c, --critical", "-t, --timeout", "-l, --language",
                             "-V, --version", "-h, --help"):
                    self.assertIn(f" {name}", output)

    def test_wrong_arguments(self):
        for arguments in (["-x"], ["word"], ["-w"], ["--nothing"], ["-c"]):
            with self.subTest(arguments):
                self.unknown("wrong usage; see check_keldoctl -h", *arguments)
        for option in ("-w", "-c"):
            for value in ("", "MAJOR", "major|x", "a\nb"):
                with self.subTest(value):
                    shown = value.replace("|", " ").replace("\n", " ")
                    self.unknown(f"unknown severity -- {shown}", option, value)
        for value in ("", "0", "-1", "1.5", "x", "1s", "1000000"):
            with self.subTest(value):
                self.unknown(f"not a number of seconds -- {value}", "-t", value)

    def test_a_language_that_is_none(self):
        for code in ("german", "de", "de_DE", "DE-de", "de-DEU", "", "dé-DE"):
            with self.subTest(code):
                self.unknown(f"not a language code -- {code}", "-l", code)

    def test_without_root(self):
        self.unknown("needs root", user=NOBODY, group=NOBODY)

    def test_without_keldoctl(self):
        self.keldoctl.unlink()
        self.unknown("keldoctl is not installed")

    def test_without_xsltproc_nothing_is_run(self):
        self.fake_keldoctl(f"touch {self.prefix}/has-run")
        self.have_no_xsltproc()
        self.unknown("xsltproc is not installed")
        self.assertFalse((self.prefix / "has-run").exists())

    def test_what_is_no_report(self):
        for commands in ("true", "echo text", "echo '<keldoctl>'", "echo '<html/>'",
                         "echo '<keldoctl>salt & pepper;</keldoctl>'"):
            with self.subTest(commands):
                self.fake_keldoctl(commands)
                self.unknown("keldoctl printed no report")

    def test_keldoctl_dies(self):
        self.fake_keldoctl("echo '<keldoctl/>'; kill -ABRT $$")
        self.unknown("keldoctl ended with status 134")
        self.fake_keldoctl("echo '<keldoctl/>'; kill -KILL $$")
        self.unknown("keldoctl was killed")

    def test_there_is_no_place_for_the_report(self):
        self.unknown("cannot make a file in /nowhere", env={"TMPDIR": "/nowhere"})

    def test_nothing_is_left(self):
        temporary = self.prefix / "tmp"
        temporary.mkdir()
        for commands in ("echo '<keldoctl/>'", "true"):
            self.fake_keldoctl(commands)
            self.run_program(env={"TMPDIR": str(temporary)})
            self.assertEqual(os.listdir(temporary), [])


class TimeoutTest(InstalledViewsTestCase):
    PROGRAM = "lib/nagios/plugins/check_keldoctl"

    def hang(self, **options):
        """Runs the plugin with a keldoctl that does not end, and waits for all to be gone."""
        life, end = os.pipe()
        self.fake_keldoctl("sleep infinity")
        done = self.run_program("-t", "1", pass_fds=[end], **options)
        os.close(end)
        # As long as one process has the other end, this is not the end of file.
        self.assertEqual(os.read(life, 1), b"")
        os.close(life)
        return done

    def test_keldoctl_and_its_children_are_ended(self):
        self.assertEqual(self.hang(), (
            UNKNOWN, "KELDOCTL UNKNOWN - keldoctl did not end within 1 s\n", ""))

    def test_what_does_not_end_is_killed(self):
        # The signal is kept from it before it starts, as it may be slow to do so by itself.
        self.assertEqual(self.hang(preexec_fn=lambda: signal.pthread_sigmask(
            signal.SIG_BLOCK, [signal.SIGTERM])), (
            UNKNOWN, "KELDOCTL UNKNOWN - keldoctl was killed\n", ""))


if __name__ == "__main__":
    unittest.main()
