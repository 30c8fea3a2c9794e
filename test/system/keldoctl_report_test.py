# SPDX-License-Identifier: MIT
"""keldoctl-report, and keep-report, which it shows the changes of."""

import os
import shutil
import stat
import subprocess
import unittest

from installed_views import KEPT_REPORTS, InstalledViewsTestCase
from panel import PATH, PROJECT, Panel, down_report, report

NOBODY = 65534
WEB_IS_DOWN = """\
Problems: 1

[Major] The web title service is switched off.
    Restart the web title service.
        keldoctl --repair restart-service:web
"""


class ReportTest(InstalledViewsTestCase):
    PROGRAM = "sbin/keldoctl-report"

    def test_a_run_as_text(self):
        self.panel.fake_monitor({"web": 1})
        for arguments in ([], ["--status"], ["--text"], ["--text", "--status"],
                          ["--language=en-US"], ["--text", "--status", "--language=en-US"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments), (0, WEB_IS_DOWN, ""))

    def test_a_repair(self):
        self.panel.write_service("web", start="echo started")
        self.assertEqual(self.run_program("--repair", "restart-service:web"), (0, """\
Repairs carried out: 1

[Succeeded] Restart the web title service.
    started

No problems found
""", ""))

    def test_ids_are_handed_on_as_they_are(self):
        self.panel.write_service("a b*", start="echo started")
        self.assertIn("[Succeeded] Restart the a b* title service.",
                      self.run_program("--repair", "restart-service:a b*")[1])

    def test_a_daemon_that_a_repair_starts_does_not_hold_it(self):
        self.panel.write_service(
            "web", start="setsid sleep infinity >/dev/null 2>&1 & echo $! >/run/keldo-test-daemon")
        status, output, _ = self.run_program("--repair", "restart-service:web")
        with open("/run/keldo-test-daemon", encoding="utf-8") as file:
            os.kill(int(file.read()), 9)
        os.unlink("/run/keldo-test-daemon")
        self.assertEqual(status, 0)
        self.assertIn("[Succeeded] Restart the web title service.", output)

    def test_a_page(self):
        self.panel.fake_monitor({"web": 1})
        status, page, errors = self.run_program("--html")
        self.assertEqual((status, errors), (0, ""))
        self.assertTrue(page.startswith("<!DOCTYPE html"))
        self.assertIn("The web title service is switched off.", page)
        self.assertIn(f'<span dir="auto">{os.uname().nodename}</span>', page)
        self.assertRegex(page, r'<span dir="auto">\d{4}-\d\d-\d\d \d\d:\d\d [A-Z]+</span>')

    def test_metrics(self):
        self.assertIn('keldoctl_problems{severity="major"} 0\n',
                      self.run_program("--prometheus")[1])

    def test_an_empty_report_is_in_the_language_asked_for(self):
        self.assertEqual(self.run_program("--language=de-DE"),
                         (0, "Keine Probleme gefunden\n", ""))

    def test_a_report_in_another_language(self):
        self.panel.catalogue((PROJECT / "po/de.po").read_text(encoding="utf-8"))
        self.panel.upgrade_tool(1)
        self.assertEqual(self.run_program("--status", "--language=de-DE", env={
            "LOCPATH": os.environ["LOCPATH_UTF8"]}), (0, """\
Probleme: 1

[Geringfügig] Eine Aktualisierung läuft. Bitte warten Sie.

Während einer Aktualisierung werden die Dienste nicht geprüft.
""", ""))

    def test_wrong_usage(self):
        for arguments in (["--nothing"], ["status"], ["--html", "--text"], ["--changes", "one"],
                          ["--changes", "--language=de-DE", "one"]):
            with self.subTest(arguments):
                status, output, errors = self.run_program(*arguments)
                self.assertEqual((status, output), (1, ""))
                self.assertTrue(errors.startswith("Usage: keldoctl-report "))

    def test_words_that_would_not_count_are_wrong_usage(self):
        self.fake_keldoctl(f"touch {self.prefix}/has-run; echo '<keldoctl/>'")
        for arguments in (["--language=de-DE", "--repair", "restart-service:web"],
                          ["--html", "--language=de-DE", "--repair", "restart-service:web"],
                          ["--language=de-DE", "--status"], ["--language=de-DE", "word"],
                          ["--status", "word"], ["--status", "--repair", "restart-service:web"],
                          ["--status", "--language=de-DE", "word"], [""],
                          ["", "--repair", "restart-service:web"]):
            with self.subTest(arguments):
                status, output, errors = self.run_program(*arguments)
                self.assertEqual((status, output), (1, ""))
                self.assertTrue(errors.startswith("Usage: keldoctl-report "))
        self.assertFalse((self.prefix / "has-run").exists())

    def test_help_and_version(self):
        for option in ("--help", "-h"):
            status, output, errors = self.run_program(option)
            self.assertEqual((status, errors), (0, ""))
            self.assertTrue(output.startswith("Usage: keldoctl-report "))
        self.assertRegex(self.run_program("--version")[1], r"\Akeldoctl-report \d+\.\d+\.\d+\n\Z")

    def test_keldoctl_tells_itself_what_is_wrong(self):
        self.assertEqual(self.run_program("--language=german"),
                         (1, "", "keldoctl: invalid locale code -- german\n"))

    def test_what_is_no_report_is_not_shown(self):
        for commands in ("true", "echo text", "echo '<html/>'", "kill -ABRT $$"):
            with self.subTest(commands):
                self.fake_keldoctl(commands)
                status, output, _ = self.run_program()
                self.assertNotEqual(status, 0)
                self.assertEqual(output, "")

    def test_without_xsltproc_nothing_is_run(self):
        self.fake_keldoctl(f"touch {self.prefix}/has-run")
        self.have_no_xsltproc()
        for arguments in ([], ["--html"], ["--repair", "restart-service:web"],
                          ["--changes", "/dev/null", "/dev/null"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments),
                                 (1, "", "keldoctl-report: xsltproc is not installed\n"))
        self.assertFalse((self.prefix / "has-run").exists())
        self.assertEqual(self.run_program("--version")[0], 0)

    def test_the_callers_path_is_for_repairs_alone(self):
        directory = self.prefix / "callers"
        directory.mkdir()
        for name, commands in (("xsltproc", f"touch {self.prefix}/has-run"),
                               ("start-web", "echo started")):
            program = directory / name
            program.write_text(f"#!/bin/sh\n{commands}\n", encoding="utf-8")
            program.chmod(0o755)
        self.panel.write_service("web", start="start-web")
        status, output, errors = self.run_program("--repair", "restart-service:web",
                                                  env={"PATH": f"{directory}:{PATH}"})
        self.assertEqual((status, errors), (0, ""))
        self.assertIn("[Succeeded] Restart the web title service.\n    started\n", output)
        self.assertFalse((self.prefix / "has-run").exists())

    def test_without_root(self):
        self.assertEqual(self.run_program(user=NOBODY, group=NOBODY),
                         (1, "", "keldoctl-report: needs root\n"))


class ChangesTest(InstalledViewsTestCase):
    PROGRAM = "sbin/keldoctl-report"

    def test_between_two_files_of_any_name(self):
        older, newer = self.prefix / "a b%20#?&é.xml", self.prefix / "-newer.xml"
        older.write_bytes(down_report("web"))
        newer.write_bytes(report())
        self.assertEqual(self.run_program("--changes", older, newer.name, cwd=self.prefix), (0, """\
a b%20#?&é -> -newer

New: 0
Gone: 1
  [Major] The web title service is switched off.
Unchanged: 0
""", ""))

    def test_nothing_is_left_wherever_its_files_go(self):
        older, newer = self.prefix / "older.xml", self.prefix / "newer.xml"
        for path in (older, newer):
            path.write_bytes(report())
        temporary = self.prefix / "administrator's"
        temporary.mkdir()
        status, _, errors = self.run_program("--changes", older, newer,
                                             env={"TMPDIR": str(temporary)})
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(os.listdir(temporary), [])

    def test_in_a_language(self):
        empty, down = self.prefix / "empty.xml", self.prefix / "down.xml"
        empty.write_bytes(report())
        down.write_bytes(down_report("web"))
        self.assertEqual(self.run_program("--changes", "--language=de-DE", empty, empty), (
            0, "empty -> empty\n\nNeu: 0\nBehoben: 0\nUnverändert: 0\n", ""))
        self.assertIn("\n  [Schwerwiegend] The web title service is switched off.\n",
                      self.run_program("--changes", "--language=de-DE", empty, down)[1])
        KEPT_REPORTS.mkdir(parents=True)
        for name in ("older", "newer"):
            (KEPT_REPORTS / f"{name}.xml").write_bytes(report())
        self.assertIn("\nNeu: 0\n", self.run_program("--changes", "--language=de-DE")[1])

    def test_a_language_that_is_none(self):
        self.assertEqual(self.run_program("--changes", "--language=german"),
                         (1, "", "keldoctl-report: invalid locale code -- german\n"))

    def test_a_file_that_is_missing(self):
        self.assertEqual(self.run_program("--changes", "/nowhere", "/dev/null"),
                         (1, "", "keldoctl-report: cannot read a report -- /nowhere\n"))

    def test_between_the_last_two_that_are_kept(self):
        KEPT_REPORTS.mkdir(parents=True)
        for name, content in (("2026-01-01T000000.0Z", report()),
                              ("2026-01-02T000000.0Z", down_report("dns", "mail")),
                              ("2026-01-10T000000.0Z", down_report("mail", "web"))):
            (KEPT_REPORTS / f"{name}.xml").write_bytes(content)
        self.assertEqual(self.run_program("--changes"), (0, """\
2026-01-02T000000.0Z -> 2026-01-10T000000.0Z

New: 1
  [Major] The web title service is switched off.
Gone: 1
  [Major] The dns title service is switched off.
Unchanged: 1
  [Major] The mail title service is switched off.
""", ""))

    def test_where_there_are_no_two(self):
        self.assertEqual(self.run_program("--changes"), (
            1, "", f"keldoctl-report: fewer than two reports are kept in {KEPT_REPORTS}\n"))


class KeepReportTest(InstalledViewsTestCase):
    PROGRAM = "libexec/keldoctl/keep-report"

    def kept(self):
        """The reports that are kept, from the oldest on."""
        return [(KEPT_REPORTS / name).read_bytes() for name in sorted(os.listdir(KEPT_REPORTS))]

    def keep(self, count, *down):
        """Runs it with those services down."""
        self.panel.fake_monitor({service: 1 for service in down})
        self.assertEqual(self.run_program(str(count)), (0, "", ""))

    def test_a_report_is_kept_for_root_alone(self):
        self.keep(2, "web")
        self.assertEqual(self.kept(), [down_report("web")])
        name, = os.listdir(KEPT_REPORTS)
        self.assertRegex(name, r"\A\d{4}-\d\d-\d\dT\d{6}\.\d{9}Z\.xml\Z")
        for path, mode in ((KEPT_REPORTS, 0o700), (KEPT_REPORTS / name, 0o600)):
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), mode)

    def test_the_last_ones_are_kept(self):
        for service in ("web", "dns", "mail", "smtp"):
            self.keep(2, service)
        self.assertEqual(self.kept(), [down_report("mail"), down_report("smtp")])
        self.keep(1)
        self.assertEqual(self.kept(), [report()])

    def test_in_another_language(self):
        self.panel.catalogue((PROJECT / "po/de.po").read_text(encoding="utf-8"))
        self.panel.upgrade_tool(1)
        self.assertEqual(self.run_program("5", "--language=de-DE", env={
            "LOCPATH": os.environ["LOCPATH_UTF8"]}), (0, "", ""))
        self.assertIn(b'xml:lang="de-DE"', self.kept()[0])

    def test_what_is_no_report_is_not_kept_and_costs_none(self):
        self.keep(1, "web")
        for commands in ("true", "echo '<html/>'", "echo '<keldoctl>'",
                         "echo '<keldoctl/>'; exit 1", "echo '<keldoctl/>'; kill -ABRT $$"):
            with self.subTest(commands):
                self.fake_keldoctl(commands)
                self.assertNotEqual(self.run_program("1")[0], 0)
                self.assertEqual(self.kept(), [down_report("web")])

    def test_no_report_is_kept_where_no_control_file_can_be_made(self):
        for root in ("/usr/local/kvr", "/srv/a panel"):
            with self.subTest(root):
                self.panel = Panel(root)
                self.addCleanup(shutil.rmtree, root, ignore_errors=True)
                self.panel.fake_monitor({"web": 1})
                (self.panel.root / "tmp").rmdir()
                # Root may write anywhere but where the file system itself takes nothing.
                (self.panel.root / "tmp").symlink_to("/proc/self")
                status, output, errors = self.run_program("1")
                self.assertEqual((status, output), (1, ""))
                reason, message = errors.splitlines()
                self.assertTrue(reason.startswith("mktemp: failed to create file "), reason)
                self.assertEqual(
                    message, "keep-report: no report is kept, as no file can be made in"
                    f" {root}/tmp; is it in ReadWritePaths?")
                self.assertEqual(self.panel.calls(), [])
                self.assertFalse(KEPT_REPORTS.exists())

    def test_without_xsltproc_nothing_is_run(self):
        self.fake_keldoctl(f"touch {self.prefix}/has-run")
        self.assertEqual(self.run_program("1", env={"PATH": self.path_without_xsltproc()}),
                         (1, "", "keep-report: xsltproc is not installed\n"))
        self.assertFalse((self.prefix / "has-run").exists())
        self.assertFalse(KEPT_REPORTS.exists())

    def test_nothing_is_left_in_the_panels_directory(self):
        self.keep(1)
        self.assertEqual(list((self.panel.root / "tmp").iterdir()), [])

    def test_what_a_run_has_left_that_was_killed_is_replaced(self):
        KEPT_REPORTS.mkdir(parents=True)
        (KEPT_REPORTS / ".unfinished").write_bytes(b"<keldoctl><pro")
        self.keep(3)
        self.assertEqual(self.kept(), [report()])

    def test_runs_at_the_same_time_keep_one_each(self):
        runs = [subprocess.Popen([self.prefix / self.PROGRAM, "9"], env={"PATH": PATH})
                for _ in range(6)]
        self.assertEqual([run.wait() for run in runs], [0] * 6)
        self.assertEqual(self.kept(), [report()] * 6)

    def test_other_files_are_left_alone(self):
        KEPT_REPORTS.mkdir(parents=True)
        (KEPT_REPORTS / "notes.txt").touch()
        for _ in range(3):
            self.keep(1)
        self.assertEqual(len(os.listdir(KEPT_REPORTS)), 2)
        self.assertTrue((KEPT_REPORTS / "notes.txt").exists())

    def test_wrong_usage(self):
        for arguments in ([], ["0"], ["x"], ["-1"], ["--language=de-DE"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments), (
                    1, "", "keep-report: how many reports are to be kept?\n"))
        self.assertFalse(KEPT_REPORTS.exists())


if __name__ == "__main__":
    unittest.main()
