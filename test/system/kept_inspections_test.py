# SPDX-License-Identifier: MIT
"""keep-report, which keeps inspections, and keldoctl-report --changes, which compares them."""

import datetime
import os
import re
import shutil
import stat
import subprocess
import unittest
import xml.etree.ElementTree as ElementTree

import schemas
from installed_views import KEPT_REPORTS, InstalledViewsTestCase
from made_inspections import inspection, service
from manual import shown_commands
from panel import PATH, down_report, report
from views import INSPECTIONS

FEW = f"keldoctl-report: fewer than two inspections are kept in {KEPT_REPORTS}\n"
SHOW_CHANGES = "libexec/keldoctl/show-changes"
DECLARATION = b'<?xml version="1.0" encoding="UTF-8"?>\n'


def web(state, started):
    """An inspection of the service web alone."""
    return inspection([service("web", state, f"Why {state}.",
                               code="passed" if state == "up" else "code")], started=started)


class ChangesTest(InstalledViewsTestCase):
    PROGRAM = "sbin/keldoctl-report"

    def keep(self, files):
        """Keeps these documents by their names without the extension."""
        KEPT_REPORTS.mkdir(parents=True, exist_ok=True)
        for name, content in files.items():
            (KEPT_REPORTS / f"{name}.xml").write_bytes(content)

    def changes(self, *arguments, **env):
        """What --changes shows. It must print no message."""
        status, output, errors = self.run_program("--changes", *arguments, env=env)
        self.assertEqual((status, errors), (0, ""))
        return output

    def test_all_kept_files_are_compared(self):
        self.keep({"2026-11-21T234500.0Z": down_report("dns", "web"),
                   "2026-11-22T000000.000000001Z": web("up", "2026-11-22T00:00:00Z"),
                   "2026-11-22T001500.0Z": web("unknown", "2026-11-22T00:15:00Z"),
                   "notes": b"", ".unfinished": b"<inspection"})
        text = """\
2026-11-21 23:45 +00:00 -> 2026-11-22 00:15 +00:00  Inspections: 3

2026-11-22 00:00 +00:00  web: Down (> 15 min) -> Up
2026-11-22 00:15 +00:00  web: Up (15 min) -> Not known
    Why unknown.
"""
        self.assertEqual(self.changes(), text)
        self.assertEqual(self.changes("--flapping=1", "--language=en-US"),
                         f"{text}\nFlapping (> 1 / 24 h): web (2)\n")
        self.assertIn("  web: Ausgefallen (> 15 min) -> In Betrieb\n",
                      self.changes("--language=de-DE"))
        # The time zone is that of the caller.
        self.assertIn("\n2026-11-22 01:00 +01:00  web: ", self.changes(TZ="Somewhere-1"))

    def test_a_page_tells_since_when_a_service_is_down(self):
        self.fake_inspection("one_down", 1)
        now = datetime.datetime.now(datetime.timezone.utc)
        older, newer, last = (now - datetime.timedelta(minutes=each) for each in (70, 65, 50))
        for runs, since in (([(older, "down")], None), ([(last, "up")], None),
                            ([(last, "down")], "≤ {:%Y-%m-%d %H:%M} +00:00"),
                            ([(newer, "up"), (last, "down")], "{:%Y-%m-%d %H:%M} +00:00"),
                            ([(last, "?><b>")], None)):
            with self.subTest(runs):
                shutil.rmtree(KEPT_REPORTS, ignore_errors=True)
                self.keep({f"{time:%Y-%m-%dT%H%M%S}.0Z": web(state, f"{time:%Y-%m-%dT%H:%M:%SZ}")
                           for time, state in runs})
                for view in ("--html", "--fragment"):
                    status, page, errors = self.run_program(view)
                    self.assertEqual((status, errors), (1, ""))
                    self.assertEqual(re.findall('<bdi class="since">Since (.*?)</bdi>', page),
                                     [since.format(last)] if since else [])

    def test_the_example_of_the_manual_prints_what_it_shows(self):
        begin = datetime.datetime(2026, 11, 21, 0, 15)
        for number in range(96):
            time = begin + number * datetime.timedelta(minutes=15)
            web_server = service("web", "up", code="passed", title="Web Server")
            if number == 27:
                web_server = service("web", "down", "The pid file /run/kvr/web.pid names no running"
                                     " process.", title="Web Server")
            self.keep({f"{time:%Y-%m-%dT%H%M%S}.0Z": inspection(
                [web_server], started=f"{time:%Y-%m-%dT%H:%M:%SZ}")})
        [(command, output)] = shown_commands("keldoctl-report.8", "DESCRIPTION")
        self.assertEqual((command, self.changes()), ("keldoctl-report --changes\n", output))

    def test_the_name_of_a_file_is_not_taken_for_a_uri(self):
        # As a URI, the second name would mean the first file.
        self.keep({"2026-11-22T000000.0Z Z": web("up", "2026-11-22T00:00:00Z"),
                   "2026-11-22T000000.0Z%20Z": web("down", "2026-11-22T00:15:00Z")})
        self.assertIn("\n2026-11-22 00:15 +00:00  web: Up (> 15 min) -> Down\n", self.changes())

    def test_two_files_of_any_name_are_compared(self):
        temporary = self.prefix / "administrator's 20% #1"
        temporary.mkdir()
        older = self.write_xml("a b%20#?&é", web("down", "2026-11-22T00:00:00Z"))
        newer = self.write_xml("-newer", web("up", "2026-11-22T02:10:00Z"))
        self.assertEqual(self.run_program("--changes", older, newer.name, cwd=self.prefix,
                                          env={"TMPDIR": str(temporary)}), (0, """\
2026-11-22 00:00 +00:00 -> 2026-11-22 02:10 +00:00  Inspections: 2

2026-11-22 02:10 +00:00  web: Down (> 2 h 10 min) -> Up
""", ""))
        self.assertEqual(os.listdir(temporary), [])
        self.assertIn("\n\nNo change of state\n", self.changes(older, older))

    def test_the_time_of_a_report_comes_from_its_name_or_from_the_file(self):
        older, newer = self.write_xml("2026-11-22T001500.123Z", report()), self.write_xml(
            "newer", down_report("web"))
        os.utime(newer, (0, 3601))
        self.assertEqual(self.changes(older, newer).splitlines()[0],
                         "2026-11-22 00:15 +00:00 -> 1970-01-01 01:00 +00:00  Inspections: 2")

    def test_files_that_are_no_inspections_are_refused(self):
        good = self.write_xml("good", web("up", "2026-11-22T00:00:00Z"))
        secret = self.write_xml("secret", b"secret")
        entity = f'<!DOCTYPE keldoctl [<!ENTITY e SYSTEM "{secret}">]>\n'.encode()
        problem = b'<keldoctl><problem id="p"><message>&e;</message></problem></keldoctl>\n'
        for name, content in (
                ("empty", b""), ("another root", DECLARATION + b"<html/>\n"),
                ("no declaration", b"<keldoctl/>\n"),
                ("another encoding", DECLARATION.replace(b"UTF-8", b"UTF-7") + b"<keldoctl/>\n"),
                ("entity", DECLARATION + entity + problem),
                ("entity declared late", DECLARATION + b"<keldoctl/>" + entity),
                ("one long line", b"x" * 100000), ("bytes", bytes(range(256)))):
            other = self.write_xml("other", content)
            for arguments in ((good, other), (other, good)):
                with self.subTest(name, arguments=arguments):
                    self.assertEqual(self.run_program("--changes", *arguments), (
                        3, "", f"keldoctl-report: not an inspection of keldoctl -- {other}\n"))
        for content in (b"<keldoctl><problem>\n", b"<inspection version='2'/>\n",
                        b"<inspections version='1'/>\n", b"<inspection version='1'/>\n",
                        b"<inspection version='1' started='1e99-11-22T00:00:00Z'/>\n"):
            other = self.write_xml("other", DECLARATION + content)
            for arguments in ((good, other), (other, good)):
                with self.subTest(content, arguments=arguments):
                    status, output, errors = self.run_program("--changes", *arguments)
                    self.assertEqual((status, output), (3, ""))
                    self.assertTrue(errors.endswith(
                        f"\nkeldoctl-report: not an inspection of keldoctl -- {other}\n"), errors)

    def test_a_damaged_file_hides_no_other(self):
        up, down = (web(state, f"2026-11-22T0{hour}:00:00Z")
                    for hour, state in enumerate(("up", "down")))
        self.keep({"2026-11-22T000000.0Z": up, "2026-11-22T010000.0Z": down,
                   "2026-11-22T020000.0Z": b"<inspection"})
        status, output, errors = self.run_program("--changes")
        self.assertEqual((status, errors), (3, "keldoctl-report: not an inspection of keldoctl --"
                                            f" {KEPT_REPORTS}/2026-11-22T020000.0Z.xml\n"))
        self.assertIn("  Inspections: 2\n\n2026-11-22 01:00 +00:00  web: Up (> 1 h) -> Down\n", output)
        self.keep({"2026-11-22T000000.0Z": b""})
        status, output, errors = self.run_program("--changes")
        self.assertEqual((status, output), (3, ""))
        self.assertTrue(errors.endswith(FEW), errors)

    def test_wrong_arguments_are_refused_with_the_reason(self):
        good = self.write_xml("good", report())
        for status, message, arguments in (
                (64, "invalid locale code -- german", ["--language=german"]),
                (64, "not a number of changes -- 0", ["--flapping=0"]),
                (64, "not a number of changes -- x", ["--language=de-DE", "--flapping=x"]),
                (64, "--changes takes two files or none", [good]),
                (64, "--changes takes two files or none", [good, good, good]),
                (3, "cannot read an inspection -- /nowhere", ["/nowhere", good]),
                (3, "cannot read an inspection -- /dev/zero", [good, "/dev/zero"]),
                (3, f"fewer than two inspections are kept in {KEPT_REPORTS}", [])):
            with self.subTest(message):
                self.assertEqual(self.run_program("--changes", *arguments),
                                 (status, "", f"keldoctl-report: {message}\n"))

    def test_output_that_cannot_be_written_gives_status_3(self):
        good = self.write_xml("good", report())
        with open("/dev/full", "wb") as full:
            for name, options in (("full", {"stdout": full}),
                                  ("closed", {"preexec_fn": lambda: os.close(1)})):
                with self.subTest(name):
                    self.assertEqual(self.run_program("--changes", good, good, **options), (
                        3, "", "keldoctl-report: the report cannot be written\n"))

    def test_the_callers_environment_reaches_no_program(self):
        evil = self.prefix / "evil"
        evil.write_text(f"touch {self.prefix}/evil-has-run\n", encoding="utf-8")
        record = self.prefix / "environments"
        self.have_programs({name: f'tr "\\0" "\\n" </proc/$$/environ >>{record}; exec'
                            f' /usr/bin/{name} "$@"' for name in ("awk", "xsltproc")}, SHOW_CHANGES)
        good = self.write_xml("good", report())
        self.changes(good, good, BASH_ENV=str(evil), AWKPATH="/nowhere", XML_CATALOG_FILES="/nowhere",
                     **{"BASH_FUNC_printf%%": f"() {{ . {evil}; }}"})
        names = {line.split("=")[0] for line in record.read_text(encoding="utf-8").splitlines()}
        self.assertEqual(names, {"LC_ALL", "PATH"})
        self.assertFalse((self.prefix / "evil-has-run").exists())

    def test_without_xsltproc_the_reason_is_printed(self):
        self.have_programs({"xsltproc": None}, SHOW_CHANGES)
        self.assertEqual(self.run_program("--changes"),
                         (3, "", "keldoctl-report: xsltproc is not installed\n"))


class KeepReportTest(InstalledViewsTestCase):
    PROGRAM = "libexec/keldoctl/keep-report"

    def kept(self):
        """The files that are kept, the oldest first."""
        return [(KEPT_REPORTS / name).read_bytes() for name in sorted(os.listdir(KEPT_REPORTS))]

    def keep(self, count, document):
        """Runs keep-report while keldoctl-inspect prints this document."""
        self.fake_inspection(document)
        self.assertEqual(self.run_program(str(count)), (0, "", ""))

    def test_an_inspection_is_kept_for_root_alone(self):
        self.assertEqual(self.run_program("2"), (0, "", ""))
        [document] = self.kept()
        schemas.require_inspection(document)
        self.assertEqual(ElementTree.fromstring(document).get("verdict"), "unknown")
        name, = os.listdir(KEPT_REPORTS)
        self.assertRegex(name, r"\A\d{4}-\d\d-\d\dT\d{6}\.\d{9}Z\.xml\Z")
        for path, mode in ((KEPT_REPORTS, 0o700), (KEPT_REPORTS / name, 0o600)):
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), mode)

    def test_each_verdict_is_kept(self):
        for number, (status, name) in enumerate(((0, "all_well"), (1, "one_down"),
                                                 (2, "disk_full"), (4, "upgrade")), 1):
            self.fake_inspection(name, status)
            self.assertEqual(self.run_program("9"), (0, "", ""))
            self.assertEqual(len(self.kept()), number)
            self.assertEqual(self.kept()[-1], (INSPECTIONS / f"{name}.xml").read_bytes())

    def test_only_the_last_files_are_kept_and_no_other_file_is_removed(self):
        KEPT_REPORTS.mkdir(parents=True)
        (KEPT_REPORTS / ".unfinished").write_bytes(b"<inspection")  # of a killed run
        (KEPT_REPORTS / "2026-11-21T234500.0Z.xml").write_bytes(report())  # of version 1.0.0
        notes = KEPT_REPORTS / "notes.txt"
        notes.write_bytes(b"notes")
        documents = [web("up", f"2026-11-22T00:0{minute}:00Z") for minute in range(4)]
        self.keep(2, documents[0])
        self.assertEqual(self.kept(), [report(), documents[0], b"notes"])
        for document in documents[1:]:
            self.keep(2, document)
        self.assertEqual(self.kept(), [*documents[-2:], b"notes"])
        self.keep(1, documents[0])
        self.assertEqual(self.kept(), [documents[0], b"notes"])

    def test_an_inspection_is_kept_in_the_chosen_language(self):
        self.upgrade_in_german()
        self.assertEqual(self.run_program("5", "--language=de-DE"), (0, "", ""))
        self.assertIn(b'xml:lang="de-DE"', self.kept()[0])

    def test_other_output_is_not_kept_and_removes_no_file(self):
        well = INSPECTIONS / "all_well.xml"
        self.keep(1, "all_well")
        for commands, message in (
                ("true", "keldoctl-inspect printed no inspection"),
                ("echo '<html/>'", "keldoctl-inspect printed no inspection"),
                (f"head -n -1 {well}", "keldoctl-inspect printed no inspection"),
                ("exit 3", "keldoctl-inspect ended with status 3"),
                (f"cat {well}; exit 5", "keldoctl-inspect ended with status 5"),
                (f"cat {well}; kill -ABRT $$", "keldoctl-inspect ended with status 134")):
            with self.subTest(commands):
                self.fake_inspect(commands)
                status, output, errors = self.run_program("1")
                self.assertEqual((status, output, errors.splitlines()[-1]),
                                 (1, "", f"keep-report: {message}"))
                self.assertEqual(self.kept(), [well.read_bytes()])

    def test_an_inspection_with_a_read_only_file_system_is_kept_and_told(self):
        directory = self.panel.root / "tmp"
        subprocess.run(["mount", "-t", "tmpfs", "-o", "ro", "none", directory], check=True)
        self.addCleanup(subprocess.run, ["umount", directory], check=True)
        self.assertEqual(self.run_program("1"), (
            0, "", "keep-report: services are not known, since a file system is read-only; if it is"
            " so for the systemd unit alone, add the directory to ReadWritePaths\n"))
        self.assertIn(f"The file system of {directory} is read-only.".encode(), self.kept()[0])

    def test_without_xsltproc_nothing_is_run(self):
        has_run = self.fake_inspect("")
        self.assertEqual(self.run_program("1", env={"PATH": self.path_with({"xsltproc": None})}),
                         (1, "", "keep-report: xsltproc is not installed\n"))
        self.assertFalse(has_run.exists())
        self.assertFalse(KEPT_REPORTS.exists())

    def test_runs_at_the_same_time_keep_one_inspection_each(self):
        self.fake_inspection("all_well")
        runs = [subprocess.Popen([self.prefix / self.PROGRAM, "9"], env={"PATH": PATH})
                for _ in range(6)]
        self.assertEqual([run.wait() for run in runs], [0] * 6)
        self.assertEqual(self.kept(), [(INSPECTIONS / "all_well.xml").read_bytes()] * 6)

    def test_wrong_usage_keeps_nothing(self):
        for message, arguments in (
                *(("how many inspections are to be kept?", arguments)
                  for arguments in ([], ["0"], ["x"], ["-1"], ["--language=de-DE"])),
                ("unknown argument -- --repair", ["1", "--repair"]),
                ("unknown argument -- x", ["1", "--language=de-DE", "x"])):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments),
                                 (1, "", f"keep-report: {message}\n"))
        self.assertFalse(KEPT_REPORTS.exists())


if __name__ == "__main__":
    unittest.main()
