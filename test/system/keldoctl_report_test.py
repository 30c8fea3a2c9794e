# SPDX-License-Identifier: MIT
"""keldoctl-report, with keldoctl and with other programs in its place."""

import os
import subprocess
import unittest

from installed_views import InstalledViewsTestCase
from manual import displays
from panel import PATH
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
        for arguments in (["--nothing"], ["status"], ["--html", "--text"],
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
        for arguments in ([], ["--html"], ["--repair", "restart-service:web"]):
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


if __name__ == "__main__":
    unittest.main()
