# SPDX-License-Identifier: MIT
"""keldoctl-report, with keldoctl-inspect and with fakes in its place."""

import os
import pty
import re
import subprocess
import termios
import unittest

from inspection import INSPECT
from installed_views import InstalledViewsTestCase
from manual import displays
from panel import PATH
from recorded_inspections import MONITOR
from views import DIRECTIONS, DIRECTIONS_REPLACED, INSPECTIONS, inspected, show

NOBODY = 65534
HEAD = "panel.example  2026-11-22 00:20 +00:00  7 services were checked in 0.4 s.\n"
WEB_IS_DOWN = f"""\
{HEAD}
[x] 1 service is down.
  Web Server  The pid file /run/kvr/web.pid names no running process.
              keldoctl-report --repair restart-service:web

[+] 6 services are up: Database Server, Control Panel,
    Mail Transfer (SMTP), Name Server, Mailbox Access (IMAP), Redis Cache
"""
ALL_WELL = f"""\
{HEAD}[+] All 7 services that ought to run are up: Database Server,
    Control Panel, Mail Transfer (SMTP), Web Server, Name Server,
    Mailbox Access (IMAP), Redis Cache
"""
USAGE = "Usage: keldoctl-report "
WEB = "restart-service:web"


class ReportTest(InstalledViewsTestCase):
    PROGRAM = "sbin/keldoctl-report"

    def setUp(self):
        super().setUp()
        self.fake_inspection("one_down", 1)

    def test_only_options_for_keldoctl_inspect_are_passed_to_it(self):
        for arguments, passed in (
                ([], []), (["--status"], []), (["--text", "--status"], []),
                (["--language=de-DE"], ["--language=de-DE"]),
                (["--timeout=5", "--text", "--language=de-DE"],
                 ["--timeout=5", "--language=de-DE"])):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments), (1, WEB_IS_DOWN, ""))
                self.assertEqual(self.take_calls(), [passed])

    def test_html_prints_a_page(self):
        status, page, errors = self.run_program("--html")
        self.assertEqual((status, errors), (1, ""))
        self.assertTrue(page.startswith("<!DOCTYPE html"))
        self.assertIn("2026-11-22 00:20 +00:00", page)

    def run_with_input(self, typed, *arguments):
        path = self.prefix / "typed"
        path.write_text(typed, encoding="utf-8")
        with path.open("rb") as file:
            return self.run_program(*arguments, stdin=file)

    def test_a_fragment_takes_its_token_from_standard_input(self):
        for arguments, typed, fields in (
                ([], "", None), (["--repair-url=/repair"], "", ""),
                (["--repair-url=/repair", "--token-name=csrf"], "aZ9+/=._~:-\nrest",
                 '<input type="hidden" name="csrf" value="aZ9+/=._~:-">')):
            with self.subTest(arguments):
                status, fragment, errors = self.run_with_input(typed, "--fragment", *arguments)
                self.assertEqual((status, errors), (1, ""))
                self.assertTrue(fragment.startswith('<section class="keldoctl"'))
                form = re.search('<form method="post" action="/repair">(.*?)<input type="hidden"'
                                 f' name="id" value="{WEB}">', fragment)
                self.assertEqual(form and form[1], fields)

    def test_a_token_is_not_on_a_command_line(self):
        self.fake_inspect(f"env >&2; cat {INSPECTIONS}/one_down.xml; exit 1")
        seen = self.prefix / "seen"
        self.have_programs({"xsltproc": f'printf "%s\\n" "$@" >{seen}; exec /usr/bin/xsltproc "$@"'})
        _, fragment, environment = self.run_with_input(
            "secret\n", "--fragment", "--repair-url=/repair", "--token-name=csrf")
        self.assertIn('value="secret"', fragment)
        self.assertIn("csrf", seen.read_text(encoding="utf-8"))
        self.assertNotIn("secret", seen.read_text(encoding="utf-8") + environment)

    def test_a_fragment_without_its_token_is_refused(self):
        for typed in ("", "\n", 'a"b\n', "a?>\n", "a" * 1025, "é\n"):
            with self.subTest(typed):
                self.assertEqual(self.run_with_input(
                    typed, "--fragment", "--repair-url=/repair", "--token-name=csrf"), (
                    64, "", "keldoctl-report: standard input has no token of 1 to 1024 letters,"
                            " digits and +/=._~:-\n"))
        self.assertEqual(self.take_calls(), [])

    def test_json_prints_the_document_of_keldoctl_inspect(self):
        self.fake_inspect("echo '{'; echo '}'; exit 2")
        self.assertEqual(self.run_program("--json", "--timeout=5"), (2, "{\n}\n", ""))
        self.assertEqual(self.take_calls(), [["--timeout=5", "--json"]])

    def test_the_exit_status_is_that_of_keldoctl_inspect(self):
        for name, status in (("all_well", 0), ("one_down", 1), ("disk_full", 2), ("upgrade", 4)):
            with self.subTest(name):
                self.fake_inspection(name, status)
                for view in ("--text", "--quiet"):
                    found, output, errors = self.run_program(view)
                    self.assertEqual((found, output == "", errors), (status, view == "--quiet", ""))

    def test_no_view_is_shown_of_a_failed_inspection(self):
        well = f"cat {INSPECTIONS}/all_well.xml"
        for commands, message in (
                (f"{well}; exit 5", "keldoctl-inspect ended with status 5"),
                (f"{well}; kill -ABRT $$", "keldoctl-inspect ended with status 134"),
                ("echo reason >&2; exit 3", "reason")):
            for view in ("--text", "--json", "--quiet"):
                with self.subTest(commands, view=view):
                    self.fake_inspect(commands)
                    status, output, errors = self.run_program(view)
                    self.assertEqual((status, output), (3, ""))
                    self.assertEqual(message in errors, view != "--quiet")
        self.inspect.unlink()
        self.assertEqual(self.run_program()[:2], (3, ""))

    def test_an_inspection_without_a_view_is_shown_as_it_is(self):
        for name, content, shown in (
                ("ill-formed", "<inspection>a & b", "<inspection>a & b"),
                ("another document", "<html>é 日</html>", "<html>é 日</html>"),
                ("another version", '<inspection version="2"/>', '<inspection version="2"/>'),
                ("control characters", "\x1b[31m\ta\x07\r\x7f\x9b\u2028\n",
                 "\ufffd[31m\ta" + 4 * "\ufffd" + "\u2028"),
                ("directions", DIRECTIONS, DIRECTIONS_REPLACED),
                ("nothing", "", "")):
            path = self.write_xml("raw", content.encode())
            self.fake_inspect(f"cat {path}")
            for words in (["--text"], ["--html"], ["--prometheus"], ["--json"],
                          ["--repair", "all"]):
                with self.subTest(name, words=words):
                    status, output, errors = self.run_program(*words)
                    self.assertEqual((status, output), (3, ""))
                    self.assertTrue(errors.endswith(
                        f"{shown}\nkeldoctl-report: no view can be made of the inspection above\n"),
                        errors)
                    self.assertEqual(len(self.take_calls()), 1)

    def test_a_report_that_cannot_be_written_gives_status_3(self):
        self.panel.write_service("web", start="start")
        for words in ([], ["--repair", "--dry-run", WEB]):
            with self.subTest(words), open("/dev/full", "wb") as full:
                status, _, errors = self.run_program(*words, stdout=full)
                self.assertEqual((status, errors.splitlines()[-1]),
                                 (3, "keldoctl-report: the report cannot be written"))

    def test_a_message_that_cannot_be_written_leaves_the_status_as_it_is(self):
        for commands, words, status in (
                ("echo '<html/>'", [], 3), ("exit 5", [], 3), ("", ["x"], 64),
                ("", ["--changes", "x"], 64),
                (f"cat {INSPECTIONS}/all_well.xml", ["--repair", "all"], 0)):
            with self.subTest(words, commands=commands), open("/dev/full", "wb") as full:
                self.fake_inspect(commands)
                self.assertEqual(subprocess.run(
                    [self.prefix / self.PROGRAM, *words], stderr=full, stdout=subprocess.DEVNULL,
                    check=False).returncode, status)

    def test_every_id_is_passed_to_keldoctl_inspect(self):
        for service in ("web", "a b*"):
            self.panel.write_service(service, start="start")
        ids = [WEB, "restart-service:a b*", WEB]
        self.assertEqual(self.run_program("--repair", "--language=de-DE", *ids),
                         (1, WEB_IS_DOWN, ""))
        self.run_program("--json", "--repair", WEB)
        self.assertEqual(self.take_calls(), [["--language=de-DE", "--repair", *ids],
                                             ["--json", "--repair", WEB]])

    def test_an_unknown_id_prevents_every_repair(self):
        self.panel.write_service("web", start="start")
        self.panel.write_definition("malformed", "<service>")
        self.panel.write_service("nothing")
        for unknown in ("", "web", "service-down:web", "restart-service:nosuch", "restart-service:",
                        "restart-service:malformed", "restart-service:nothing", "all"):
            for options in ([], ["--dry-run"]):
                with self.subTest(unknown, options=options):
                    self.assertEqual(
                        self.run_program("--repair", *options, WEB, unknown, WEB, "x"),
                        (64, "", f"repair-commands: unknown repair -- {unknown}\n"
                         "repair-commands: unknown repair -- x\n"
                         "keldoctl-report: nothing is repaired\n"))
        self.assertEqual(self.take_calls(), [])

    def test_all_carries_out_every_proposed_repair(self):
        self.panel.write_service("web", start="start")
        self.panel.write_service("smtp", start="start")
        self.fake_inspection("two_down_in_german", 1)
        self.assertEqual(self.run_program("--repair", "all", "--language=de-DE")[0], 1)
        self.assertEqual(self.take_calls(), [
            ["--language=de-DE"],
            ["--language=de-DE", "--repair", "restart-service:smtp", WEB]])

    def test_a_proposed_repair_without_commands_is_left_out_of_all(self):
        self.panel.write_service("web", start="start")
        self.panel.write_service("smtp")
        self.fake_inspection("two_down_in_german", 1)
        for env in ({}, {"POSIXLY_CORRECT": "1"}):
            with self.subTest(env):
                self.assertEqual(self.run_program("--repair", "all", env=env)[2],
                                 "repair-commands: unknown repair -- restart-service:smtp\n")
                self.assertEqual(self.take_calls(), [[], ["--repair", WEB]])

    def test_all_repairs_nothing_if_no_repair_is_proposed(self):
        self.fake_inspection("all_well", 0)
        for options in ([], ["--dry-run"]):
            with self.subTest(options):
                self.assertEqual(self.run_program("--repair", *options, "all"),
                                 (0, ALL_WELL, "keldoctl-report: no repair is proposed\n"))
                self.assertEqual(self.take_calls(), [[]])

    def test_a_dry_run_shows_the_commands(self):
        self.panel.write_service("web", stop="stop", start="echo\n\ttwo")
        self.panel.write_service("dns", start="start \x9b31m\n")
        self.assertEqual(
            self.run_program("--repair", "--dry-run", WEB, "restart-service:dns"), (0, """\
# restart-service:web
stop
echo
\ttwo
# restart-service:dns
start \ufffd31m
""", ""))
        self.assertEqual(self.take_calls(), [])
        self.assertEqual(self.run_program("--dry-run", "--repair", "all")[:2],
                         (0, "# restart-service:web\nstop\necho\n\ttwo\n"))
        self.assertEqual(self.take_calls(), [[]])

    def real_repair(self, **options):
        """Repairs the service web with the real keldoctl-inspect."""
        self.inspect.unlink()
        self.inspect.symlink_to(INSPECT)
        self.panel.fake_monitor(script=MONITOR.format(down=[]))
        status, output, errors = self.run_program("--repair", WEB, **options)
        self.assertEqual((status, errors), (2, ""))  # the database has no definition
        return re.search("(?s)(?<=\n\n)(.*?)\n\n", output)[1]

    def test_a_daemon_that_a_repair_starts_does_not_delay_the_report(self):
        self.panel.write_service(
            "web", start="setsid sleep infinity >/dev/null 2>&1 & echo $! >/run/keldo-test-daemon")
        repaired = self.real_repair()
        with open("/run/keldo-test-daemon", encoding="utf-8") as file:
            os.kill(int(file.read()), 9)
        os.unlink("/run/keldo-test-daemon")
        self.assertEqual(repaired, "[+] Succeeded: Restart the web title service.")

    def test_the_outcome_of_a_repair_is_shown_despite_a_full_disk(self):
        self.panel.write_service("web", start="seq 20000")
        full = self.prefix / "full"
        full.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k", "none", full], check=True)
        self.addCleanup(subprocess.run, ["umount", full], check=True)
        (full / "file").write_bytes(bytes(4096))
        repaired = self.real_repair(env={"TMPDIR": str(full)})
        self.assertEqual(repaired.splitlines()[:2], [
            "[+] Succeeded: Restart the web title service.",
            "    (Earlier lines that are not shown: 19990)"])
        self.assertEqual(repaired.splitlines()[2:], [f"    {n}" for n in range(19991, 20001)])

    def test_only_keldoctl_inspect_gets_the_callers_path_and_environment(self):
        has_run, directory = self.prefix / "has-run", self.prefix / "callers"
        directory.mkdir()
        for name, commands in (("xsltproc", f"touch {has_run}"), ("start-web", "echo $WORD")):
            program = directory / name
            program.write_text(f"#!/bin/sh\n{commands}\n", encoding="utf-8")
            program.chmod(0o755)
        self.panel.write_service("web", start="start-web")
        xsltproc = self.prefix / "xsltproc.env"
        self.have_programs({"xsltproc": f'env >{xsltproc}; exec /usr/bin/xsltproc "$@"'})
        self.assertIn("\n    started", self.real_repair(env={
            "PATH": f"{directory}:{PATH}", "WORD": "started", "BASH_ENV": directory / "xsltproc"}))
        self.assertFalse(has_run.exists())
        self.assertNotIn("WORD", xsltproc.read_text(encoding="utf-8"))

    def test_the_time_has_the_offset_of_the_callers_zone(self):
        self.assertIn("  2026-11-22 05:50 +05:30  ",
                      self.run_program(env={"TZ": "XXX-05:30"})[1])

    def test_the_callers_locale_chooses_the_signs(self):
        for environment, sign in (
                ({"LANG": "de_DE.UTF-8"}, "✖"), ({"LANG": "C.utf8"}, "✖"), ({"LANG": "de_DE"}, "[x]"),
                ({"LANG": "C.UTF-8", "LC_CTYPE": "POSIX"}, "[x]"),
                ({"LANG": "C", "LC_CTYPE": "C.UTF-8@x"}, "✖"),
                ({"LC_CTYPE": "C.UTF-8", "LC_ALL": "ru_RU.KOI8-R"}, "[x]"),
                ({"LC_CTYPE": "C", "LC_ALL": "C.UTF-8"}, "✖"),
                ({"LC_CTYPE": "", "LC_ALL": "", "LANG": "C.UTF-8"}, "✖")):
            with self.subTest(environment):
                self.assertIn(f"\n{sign} 1 service is down.\n",
                              self.run_program(env=environment)[1])

    def on_a_terminal(self, columns, **environment):
        """What a terminal gets."""
        main, terminal = pty.openpty()
        termios.tcsetwinsize(terminal, (24, columns))
        self.assertEqual(self.run_program(stdout=terminal, env=environment), (1, "", ""))
        os.close(terminal)
        text = b""
        try:
            while data := os.read(main, 65536):
                text += data
        except OSError:  # the other end is closed
            os.close(main)
        return text.decode().replace("\r\n", "\n")

    def test_the_terminal_and_no_color_decide_about_colours(self):
        for environment, has_colours in (
                ({"TERM": "xterm"}, True), ({"TERM": "xterm", "NO_COLOR": ""}, True),
                ({"TERM": "xterm", "NO_COLOR": "1"}, False), ({"TERM": "dumb"}, False),
                ({}, False)):
            with self.subTest(environment):
                text = self.on_a_terminal(75, **environment)
                self.assertEqual("\n\x1b[1;31m[x] 1 service is down.\x1b[0m\n" in text, has_colours)
                self.assertEqual(re.sub("\x1b\\[[0-9;]*m", "", text), WEB_IS_DOWN)

    def test_no_text_writes_the_escape_character(self):
        title = "\ue000[31m"
        self.fake_inspection(inspected("one_down").replace(b"Web Server", title.encode()), 1)
        for view in ("--text", "--html"):
            self.assertIn(title, self.run_program(view)[1])
        text = self.on_a_terminal(80, TERM="xterm")
        self.assertIn("\x1b[1m\ufffd[31m\x1b[0m", text)
        self.assertNotIn("\x1b[31m", text)

    def test_the_text_fits_the_width_of_the_terminal(self):
        for columns, width in ((0, 75), (39, 75), (40, 40), (110, 110), (300, 120)):
            with self.subTest(columns):
                self.assertEqual(
                    self.on_a_terminal(columns),
                    show("text", inspected("one_down"), width=width, ascii="yes",
                         time="2026-11-22 00:20 +00:00"))

    def test_the_manuals_example_keeps_the_last_metrics_if_a_run_fails(self):
        [example] = [text for text in displays("keldoctl-report.8", "EXAMPLES")
                     if "--prometheus" in text]
        example = example.replace("/var/lib/prometheus/node-exporter", str(self.prefix))
        metrics = self.prefix / "keldoctl.prom"

        def run_example():
            subprocess.run(["bash", "-c", example], check=False, stderr=subprocess.DEVNULL,
                           env={"PATH": f"{self.prefix}/sbin:{PATH}"}, umask=0o077)
            self.assertEqual(metrics.stat().st_mode & 0o777, 0o644)  # for the node exporter
            return metrics.read_text(encoding="utf-8")

        good = run_example()
        self.assertIn('keldoctl_service_up{service="web",origin="core"} 0\n', good)
        for commands in ("true", "exit 3", "echo text"):
            with self.subTest(commands):
                self.fake_inspect(commands)
                self.assertEqual(run_example(), good)

    def test_wrong_usage_runs_nothing(self):
        for arguments in (["--nothing"], ["status"], ["--html", "--text"], ["--status", WEB],
                          ["--status", "--repair", WEB], ["--repair"],
                          ["--repair", "--", WEB], ["--repair", "-x"], ["--repair", "--dry-run"],
                          ["--dry-run"], ["--status", "--dry-run"], [""], ["", "--repair", WEB],
                          ["--quiet", "word"]):
            with self.subTest(arguments):
                status, output, errors = self.run_program(*arguments)
                self.assertEqual((status, output), (64, ""))
                self.assertTrue(errors.startswith(USAGE))
        self.assertEqual(self.take_calls(), [])

    def test_options_that_keldoctl_inspect_refuses_are_wrong_usage(self):
        self.inspect.unlink()
        self.inspect.symlink_to(INSPECT)
        for option in ("--language=german", "--timeout=0"):
            for command in (["--status"], ["--repair", "all"]):
                status, output, errors = self.run_program(option, *command)
                self.assertEqual((status, output), (64, ""))
                self.assertIn("keldoctl-inspect: invalid ", errors)

    def test_help_and_version_are_printed(self):
        for options, pattern in ((("--help", "-h"), rf"\A{USAGE}"),
                                 (("--version", "-V"), r"\Akeldoctl-report \d+\.\d+\.\d+\n\Z")):
            for option in options:
                status, output, errors = self.run_program(option)
                self.assertEqual((status, errors), (0, ""))
                self.assertRegex(output, pattern)

    def test_without_xsltproc_nothing_is_run(self):
        self.have_programs({"xsltproc": None})
        for arguments in ([], ["--html"], ["--repair", WEB], ["--repair", "all"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments),
                                 (3, "", "keldoctl-report: xsltproc is not installed\n"))
        self.assertEqual(self.take_calls(), [])
        self.assertEqual(self.run_program("--version")[0], 0)

    def test_without_root_it_is_refused(self):
        self.assertEqual(self.run_program(user=NOBODY, group=NOBODY),
                         (3, "", "keldoctl-report: needs root\n"))


if __name__ == "__main__":
    unittest.main()
