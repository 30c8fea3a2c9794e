# SPDX-License-Identifier: MIT
"""keldoctl-report, and keep-report, whose reports it compares."""

import os
import shutil
import stat
import subprocess
import unittest

from installed_views import KEPT_REPORTS, InstalledViewsTestCase
from manual import displays
from panel import PATH, Panel, down_report, report
from views import DIRECTIONS, DIRECTIONS_REPLACED

NOBODY = 65534
WEB_IS_DOWN = """\
Problems: 1

[Major] The web title service is switched off.
    Restart the web title service.
        keldoctl --repair restart-service:web
"""
REPAIRED = """\
Repairs carried out: 1

[Succeeded] Restart the {} title service.
{}
No problems found
"""
USAGE = "Usage: keldoctl-report "


class ReportTest(InstalledViewsTestCase):
    PROGRAM = "sbin/keldoctl-report"

    def test_a_run_as_text_and_as_a_page(self):
        self.panel.fake_monitor({"web": 1})
        for arguments in ([], ["--status"], ["--text"], ["--text", "--status"],
                          ["--language=en-US"], ["--text", "--status", "--language=en-US"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments), (0, WEB_IS_DOWN, ""))
        status, page, errors = self.run_program("--html")
        self.assertEqual((status, errors), (0, ""))
        self.assertTrue(page.startswith("<!DOCTYPE html"))
        self.assertIn("The web title service is switched off.", page)
        self.assertIn(f'<span dir="auto">{os.uname().nodename}</span>', page)
        self.assertRegex(page, r'<span dir="auto">\d{4}-\d\d-\d\d \d\d:\d\d [A-Z]+</span>')

    def test_the_id_of_a_repair_is_passed_unchanged(self):
        for service in ("web", "a b*"):
            self.panel.write_service(service, start="echo started")
            self.assertEqual(self.run_program("--repair", f"restart-service:{service}"),
                             (0, REPAIRED.format(service, "    started\n"), ""))

    def test_an_unknown_id_prevents_every_repair(self):
        has_run = self.fake_keldoctl("echo '<keldoctl/>'")
        for unknown in ("", "web", "service-down:web", "restart-service:nosuch",
                        "restart-service:"):
            for options in ([], ["--language=de-DE"]):
                with self.subTest(unknown, options=options):
                    self.assertEqual(
                        self.run_program("--repair", *options, "restart-service:web", unknown),
                        (64, "", "keldoctl-report: nothing is repaired: unknown action"
                         f" -- {unknown}\n"))
        self.assertFalse(has_run.exists())

    def test_a_daemon_that_a_repair_starts_does_not_delay_the_report(self):
        self.panel.write_service(
            "web", start="setsid sleep infinity >/dev/null 2>&1 & echo $! >/run/keldo-test-daemon")
        status, output, _ = self.run_program("--repair", "restart-service:web")
        with open("/run/keldo-test-daemon", encoding="utf-8") as file:
            os.kill(int(file.read()), 9)
        os.unlink("/run/keldo-test-daemon")
        self.assertEqual((status, output), (0, REPAIRED.format("web", "")))

    def test_the_outcome_of_a_repair_is_shown_despite_a_full_disk(self):
        self.panel.write_service("web", start="seq 20000")
        full = self.prefix / "full"
        full.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k", "none", full], check=True)
        self.addCleanup(subprocess.run, ["umount", full], check=True)
        (full / "file").write_bytes(bytes(4096))
        log = "".join(f"    {number}\n" for number in range(1, 20001))
        self.assertEqual(
            self.run_program("--repair", "restart-service:web", env={"TMPDIR": str(full)}),
            (0, REPAIRED.format("web", log), ""))

    def test_a_report_without_a_view_is_shown_as_it_is(self):
        for name, content, shown in (
                ("ill-formed", "<keldoctl>a & b", "<keldoctl>a & b"),
                ("another document", "<html>é 日</html>", "<html>é 日</html>"),
                ("control characters", "\x1b[31m\ta\x07\r\x7f\x9b\u2028\n",
                 "\ufffd[31m\ta" + 4 * "\ufffd" + "\u2028"),
                ("directions", DIRECTIONS, DIRECTIONS_REPLACED),
                ("nothing", "", "")):
            path = self.write_xml("raw", content.encode())
            self.fake_keldoctl(f"cat {path}")
            for view in ("--text", "--html", "--prometheus"):
                with self.subTest(name, view=view):
                    status, output, errors = self.run_program(view)
                    self.assertNotEqual(status, 0)
                    self.assertEqual(output, "")
                    self.assertTrue(errors.endswith(
                        f"{shown}\nkeldoctl-report: no view can be made of the report above\n"),
                        errors)

    def test_nothing_is_shown_if_keldoctl_dies(self):
        self.fake_keldoctl("echo '<keldoctl/>'; kill -ABRT $$")
        self.assertEqual(self.run_program()[:2], (134, ""))

    def test_the_metrics_of_the_manuals_example(self):
        [example] = [text for text in displays("keldoctl-report.8", "EXAMPLES")
                     if "--prometheus" in text]
        example = example.replace("/var/lib/prometheus/node-exporter", str(self.prefix))
        metrics = self.prefix / "keldoctl.prom"

        def run_example():
            subprocess.run(["bash", "-c", example], check=False, stderr=subprocess.DEVNULL,
                           env={"PATH": f"{self.prefix}/sbin:{PATH}"})
            return metrics.read_text(encoding="utf-8")

        good = run_example()
        self.assertIn('keldoctl_problems{severity="major"} 0\n', good)
        for commands in ("true", "exit 1", "echo text"):
            with self.subTest(commands):
                self.fake_keldoctl(commands)
                self.assertEqual(run_example(), good)

    def test_languages(self):
        self.assertEqual(self.run_program("--language=de-DE"),
                         (0, "Keine Probleme gefunden\n", ""))
        self.assertEqual(self.run_program("--language=german"),
                         (1, "", "keldoctl: invalid locale code -- german\n"))
        self.upgrade_in_german()
        self.assertEqual(self.run_program("--status", "--language=de-DE"), (0, """\
Probleme: 1

[Geringfügig] Eine Aktualisierung läuft. Bitte warten Sie.

Während einer Aktualisierung werden die Dienste nicht geprüft.
""", ""))

    def test_wrong_usage(self):
        has_run = self.fake_keldoctl("echo '<keldoctl/>'")
        for arguments in (["--nothing"], ["status"], ["--html", "--text"], ["--changes", "one"],
                          ["--changes", "--language=de-DE", "one"],
                          ["--language=de-DE", "--repair", "restart-service:web"],
                          ["--html", "--language=de-DE", "--repair", "restart-service:web"],
                          ["--language=de-DE", "--status"], ["--language=de-DE", "word"],
                          ["--status", "word"], ["--status", "--repair", "restart-service:web"],
                          ["--status", "--language=de-DE", "word"], [""],
                          ["", "--repair", "restart-service:web"]):
            with self.subTest(arguments):
                status, output, errors = self.run_program(*arguments)
                self.assertEqual((status, output), (1, ""))
                self.assertTrue(errors.startswith(USAGE))
        self.assertFalse(has_run.exists())

    def test_help_and_version(self):
        for options, pattern in ((("--help", "-h"), rf"\A{USAGE}"),
                                 (("--version", "-V"), r"\Akeldoctl-report \d+\.\d+\.\d+\n\Z")):
            for option in options:
                status, output, errors = self.run_program(option)
                self.assertEqual((status, errors), (0, ""))
                self.assertRegex(output, pattern)

    def test_without_xsltproc_nothing_is_run(self):
        has_run = self.fake_keldoctl("")
        self.have_programs({"xsltproc": None})
        for arguments in ([], ["--html"], ["--repair", "restart-service:web"],
                          ["--changes", "/dev/null", "/dev/null"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments),
                                 (1, "", "keldoctl-report: xsltproc is not installed\n"))
        self.assertFalse(has_run.exists())
        self.assertEqual(self.run_program("--version")[0], 0)

    def test_only_keldoctl_gets_the_callers_path_and_environment(self):
        has_run, directory = self.prefix / "has-run", self.prefix / "callers"
        directory.mkdir()
        for name, commands in (("xsltproc", f"touch {has_run}"), ("start-web", "echo $WORD")):
            program = directory / name
            program.write_text(f"#!/bin/sh\n{commands}\n", encoding="utf-8")
            program.chmod(0o755)
        self.panel.write_service("web", start="start-web")
        xsltproc = self.prefix / "xsltproc.env"
        self.have_programs({"xsltproc": f'env >{xsltproc}; exec /usr/bin/xsltproc "$@"'})
        self.assertEqual(
            self.run_program("--repair", "restart-service:web", env={
                "PATH": f"{directory}:{PATH}", "WORD": "started",
                "BASH_ENV": directory / "xsltproc"}),
            (0, REPAIRED.format("web", "    started\n"), ""))
        self.assertFalse(has_run.exists())
        self.assertNotIn("WORD", xsltproc.read_text(encoding="utf-8"))

    def test_without_root(self):
        self.assertEqual(self.run_program(user=NOBODY, group=NOBODY),
                         (1, "", "keldoctl-report: needs root\n"))


class ChangesTest(InstalledViewsTestCase):
    PROGRAM = "sbin/keldoctl-report"

    def keep_reports(self, reports):
        KEPT_REPORTS.mkdir(parents=True)
        for name, content in reports.items():
            (KEPT_REPORTS / f"{name}.xml").write_bytes(content)

    def test_two_files_of_any_name(self):
        temporary = self.prefix / "administrator's 20% #1"
        temporary.mkdir()
        older = self.write_xml("a b%20#?&é", down_report("web"))
        newer = self.write_xml("-newer", report())
        self.assertEqual(self.run_program("--changes", older, newer.name, cwd=self.prefix,
                                          env={"TMPDIR": str(temporary)}), (0, """\
a b%20#?&é -> -newer

New: 0
Gone: 1
  [Major] The web title service is switched off.
Unchanged: 0
""", ""))
        self.assertEqual(os.listdir(temporary), [])

    def test_languages(self):
        empty, down = self.write_xml("empty", report()), self.write_xml("down", down_report("web"))
        self.assertEqual(self.run_program("--changes", "--language=de-DE", empty, empty), (
            0, "empty -> empty\n\nNeu: 0\nBehoben: 0\nUnverändert: 0\n", ""))
        self.assertIn("\n  [Schwerwiegend] The web title service is switched off.\n",
                      self.run_program("--changes", "--language=de-DE", empty, down)[1])
        self.keep_reports({"older": report(), "newer": report()})
        self.assertIn("\nNeu: 0\n", self.run_program("--changes", "--language=de-DE")[1])

    def test_the_last_two_that_are_kept(self):
        self.keep_reports({"2026-01-01T000000.0Z": report(),
                           "2026-01-02T000000.0Z": down_report("dns", "mail"),
                           "2026-01-10T000000.0Z": down_report("mail", "web")})
        self.assertEqual(self.run_program("--changes"), (0, """\
2026-01-02T000000.0Z -> 2026-01-10T000000.0Z

New: 1
  [Major] The web title service is switched off.
Gone: 1
  [Major] The dns title service is switched off.
Unchanged: 1
  [Major] The mail title service is switched off.
""", ""))

    def test_files_that_are_not_reports(self):
        good = self.write_xml("good", report())
        secret = self.write_xml("secret", b"secret")
        declaration = b'<?xml version="1.0" encoding="UTF-8"?>\n'
        entity = f'<!DOCTYPE keldoctl [<!ENTITY e SYSTEM "{secret}">]>\n'.encode()
        problem = b'<keldoctl><problem id="p"><message>&e;</message></problem></keldoctl>\n'
        for name, content in (
                ("empty", b""), ("another root", declaration + b"<html/>\n"),
                ("no declaration", b"<keldoctl/>\n"),
                ("another encoding", declaration.replace(b"UTF-8", b"UTF-7") + b"<keldoctl/>\n"),
                ("entity", declaration + entity + problem),
                ("entity declared late", declaration + b"<keldoctl/>" + entity),
                ("bytes", bytes(range(256)))):
            other = self.write_xml("other", content)
            for arguments in ((good, other), (other, good)):
                with self.subTest(name, arguments=arguments):
                    self.assertEqual(self.run_program("--changes", *arguments), (
                        1, "", f"keldoctl-report: not a report of keldoctl -- {other}\n"))
        ill_formed = self.write_xml("ill-formed", declaration + b"<keldoctl><problem>\n")
        self.assertNotEqual(self.run_program("--changes", good, ill_formed)[0], 0)
        self.assertNotEqual(self.run_program("--changes", ill_formed, good)[0], 0)

    def test_wrong_arguments(self):
        good = self.write_xml("good", report())
        for message, arguments in (
                ("invalid locale code -- german", ["--language=german"]),
                ("cannot read a report -- /nowhere", ["/nowhere", good]),
                ("cannot read a report -- /dev/zero", [good, "/dev/zero"]),
                (f"fewer than two reports are kept in {KEPT_REPORTS}", [])):
            with self.subTest(message):
                self.assertEqual(self.run_program("--changes", *arguments),
                                 (1, "", f"keldoctl-report: {message}\n"))


class KeepReportTest(InstalledViewsTestCase):
    PROGRAM = "libexec/keldoctl/keep-report"

    def kept(self):
        """The reports that are kept, the oldest first."""
        return [(KEPT_REPORTS / name).read_bytes() for name in sorted(os.listdir(KEPT_REPORTS))]

    def keep(self, count, *down):
        """Runs keep-report while these services are down."""
        self.panel.fake_monitor({service: 1 for service in down})
        self.assertEqual(self.run_program(str(count)), (0, "", ""))

    def test_a_report_is_kept_for_root_alone(self):
        self.keep(2, "web")
        self.assertEqual(self.kept(), [down_report("web")])
        name, = os.listdir(KEPT_REPORTS)
        self.assertRegex(name, r"\A\d{4}-\d\d-\d\dT\d{6}\.\d{9}Z\.xml\Z")
        for path, mode in ((KEPT_REPORTS, 0o700), (KEPT_REPORTS / name, 0o600)):
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), mode)
        self.assertEqual(list((self.panel.root / "tmp").iterdir()), [])

    def test_only_the_last_reports_are_kept_and_no_other_file_is_removed(self):
        KEPT_REPORTS.mkdir(parents=True)
        (KEPT_REPORTS / ".unfinished").write_bytes(b"<keldoctl><pro")  # of a killed run
        notes = KEPT_REPORTS / "notes.txt"
        notes.write_bytes(b"notes")
        for service in ("web", "dns", "mail", "smtp"):
            self.keep(2, service)
        self.assertEqual(self.kept(), [down_report("mail"), down_report("smtp"), b"notes"])
        self.keep(1)
        self.assertEqual(self.kept(), [report(), b"notes"])

    def test_another_language(self):
        self.upgrade_in_german()
        self.assertEqual(self.run_program("5", "--language=de-DE"), (0, "", ""))
        self.assertIn(b'xml:lang="de-DE"', self.kept()[0])

    def test_other_output_is_not_kept_and_removes_no_report(self):
        self.keep(1, "web")
        for commands in ("true", "echo '<html/>'", "echo '<keldoctl>'",
                         "echo '<keldoctl/>'; exit 1", "echo '<keldoctl/>'; kill -ABRT $$"):
            with self.subTest(commands):
                self.fake_keldoctl(commands)
                self.assertNotEqual(self.run_program("1")[0], 0)
                self.assertEqual(self.kept(), [down_report("web")])

    def test_no_report_is_kept_if_no_control_file_can_be_made(self):
        for root in ("/usr/local/kvr", "/srv/a panel"):
            with self.subTest(root):
                self.panel = Panel(root)
                self.addCleanup(shutil.rmtree, root, ignore_errors=True)
                self.panel.fake_monitor({"web": 1})
                (self.panel.root / "tmp").rmdir()
                # Not even root can make a file there.
                (self.panel.root / "tmp").symlink_to("/proc/self")
                status, output, errors = self.run_program("1")
                self.assertEqual((status, output), (1, ""))
                reason, message = errors.splitlines()
                self.assertRegex(
                    reason, rf"{root}/tmp/keep-report\.\w+: No such file or directory$")
                self.assertEqual(
                    message, "keep-report: no report is kept, as no file can be made in"
                    f" {root}/tmp; is it in ReadWritePaths?")
                self.assertEqual(self.panel.calls(), [])
                self.assertFalse(KEPT_REPORTS.exists())

    def test_a_signal_while_the_directory_is_tested_leaves_no_file(self):
        # mktemp sends the signal as soon as it has made the file and printed its name.
        path = self.path_with({"mktemp": '/usr/bin/mktemp "$@" && kill -TERM "$PPID"'})
        self.assertNotEqual(self.run_program("1", env={"PATH": path})[0], 0)
        self.assertEqual(list((self.panel.root / "tmp").iterdir()), [])

    def test_without_xsltproc_nothing_is_run(self):
        has_run = self.fake_keldoctl("")
        self.assertEqual(self.run_program("1", env={"PATH": self.path_with({"xsltproc": None})}),
                         (1, "", "keep-report: xsltproc is not installed\n"))
        self.assertFalse(has_run.exists())
        self.assertFalse(KEPT_REPORTS.exists())

    def test_runs_at_the_same_time_keep_one_report_each(self):
        runs = [subprocess.Popen([self.prefix / self.PROGRAM, "9"], env={"PATH": PATH})
                for _ in range(6)]
        self.assertEqual([run.wait() for run in runs], [0] * 6)
        self.assertEqual(self.kept(), [report()] * 6)

    def test_wrong_usage(self):
        for arguments in ([], ["0"], ["x"], ["-1"], ["--language=de-DE"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments), (
                    1, "", "keep-report: how many reports are to be kept?\n"))
        self.assertFalse(KEPT_REPORTS.exists())


if __name__ == "__main__":
    unittest.main()
