# SPDX-License-Identifier: MIT
"""The plugin for Nagios, with keldoctl-inspect and with other programs in its place."""

import os
import signal
import subprocess
import unittest

from installed_views import InstalledViewsTestCase
from made_inspections import inspection
from panel import PATH
from views import INSPECTIONS

OK, WARNING, CRITICAL, UNKNOWN = range(4)
STATES = ("OK", "WARNING", "CRITICAL", "UNKNOWN")
NOBODY = 65534


class PluginTestCase(InstalledViewsTestCase):
    PROGRAM = "lib/nagios/plugins/check_keldoctl"

    def check(self, status, line, *arguments, **options):
        self.assertEqual(self.run_program(*arguments, **options), (status, line + "\n", ""))

    def unknown(self, reason, *arguments, **options):
        self.check(UNKNOWN, f"KELDOCTL UNKNOWN - {reason}", *arguments, **options)


class AnswerTest(PluginTestCase):
    def test_each_verdict_has_its_exit_status_and_its_word(self):
        for name, status in (("all_well", OK), ("one_down", CRITICAL), ("upgrade", WARNING),
                             ("disk_full", UNKNOWN), ("stopped", OK)):
            with self.subTest(name):
                self.fake_inspection(name)
                found, output, errors = self.run_program()
                self.assertEqual((found, errors), (status, ""))
                self.assertRegex(output, rf"\AKELDOCTL {STATES[status]} - .*\n\Z")

    def test_without_a_database_the_result_is_unknown(self):
        status, line, errors = self.run_program()
        self.assertEqual((status, errors), (UNKNOWN, ""))
        self.assertRegex(line, r"\AKELDOCTL UNKNOWN - 6 of 6 not known: mysql \(There is no service"
                         r" definition /service/mysql\.xml\), .*; It is not known which services the"
                         r" administrator started or stopped \| services=6 down=0;0;0 unknown=6"
                         r" stopped=0 time=[0-9.]+s\n\Z")

    def test_thresholds_decide_the_exit_status_by_severity(self):
        self.fake_inspection("one_down", 1)
        for arguments, status in (
                (("-w", "major", "-c", "critical"), WARNING),
                (("-w", "critical", "-c", "critical"), OK),
                (("--warning=minor", "--critical=none"), WARNING),
                (("--warning", "none", "--critical", "none"), OK),
                (("-wnone", "-cminor"), CRITICAL)):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments)[0], status)

    def test_each_verbosity_adds_lines(self):
        self.fake_inspection("mixed", 1)
        for arguments, lines in (([], 1), (["-v"], 4), (["--verbose"], 4), (["-vv"], 15),
                                 (["-v", "-w", "minor", "-v"], 15), (["-vvv"], 18),
                                 (["-vvvv"], 18)):
            with self.subTest(arguments):
                status, output, _ = self.run_program(*arguments)
                self.assertEqual((status, output.count("\n")), (CRITICAL, lines))

    def test_the_time_limit_and_the_language_are_those_of_the_inspection(self):
        record = self.prefix / "record"
        self.fake_inspect(f"echo $@ >{record}; cat {INSPECTIONS}/all_well.xml")
        for arguments, passed in (([], "--timeout=50 --language=en-US"),
                                  (["-t", "86400", "-l", "de-DE"],
                                   "--timeout=86400 --language=de-DE")):
            self.assertEqual(self.run_program(*arguments)[0], OK)
            self.assertEqual(record.read_text(encoding="utf-8"), passed + "\n")

    def test_an_upgrade_is_a_warning_in_the_chosen_language(self):
        self.upgrade_in_german()
        for language, text in (
                ("en-US", "Services are not checked while the panel is being upgraded."),
                ("de-DE", "Während der Aktualisierung des Panels werden keine Dienste geprüft.")):
            status, output, _ = self.run_program("-v", "-l", language)
            self.assertEqual(status, WARNING)
            self.assertRegex(output, r"\AKELDOCTL WARNING - upgrade in progress, 6 not checked \| ")
            self.assertIn(f"\nunchecked: dns title [dns]: {text}\n", output)

    def test_version_and_help_are_printed(self):
        names = ("-w, --warning", "-c, --critical", "-t, --timeout", "-l, --language",
                 "-v, --verbose", "-V, --version", "-h, --help")
        for options, pattern in ((("-V", "--version"), r"\Acheck_keldoctl \d+\.\d+\.\d+\n\Z"),
                                 (("-h", "--help"), "(?s)" + ".*\n ".join(names))):
            for option in options:
                with self.subTest(option):
                    status, output, errors = self.run_program(option)
                    self.assertEqual((status, errors), (UNKNOWN, ""))
                    self.assertRegex(output, pattern)

    def test_wrong_arguments_are_refused_with_the_reason(self):
        rows = [("wrong usage; see check_keldoctl -h", arguments)
                for arguments in (["-x"], ["word"], ["-w"], ["--nothing"], ["-c"])]
        rows += [(f"unknown severity -- {shown}", [option, value]) for option in ("-w", "-c")
                 for value, shown in (("", ""), ("MAJOR", "MAJOR"), ("major|x", "major x"),
                                      ("a\nb", "a b"))]
        rows += [(f"not a number of seconds -- {value}", ["-t", value])
                 for value in ("", "0", "-1", "1.5", "x", "1s", "86401", "100000")]
        rows += [(f"not a language code -- {code}", ["-l", code])
                 for code in ("german", "de", "de_DE", "DE-de", "de-DEU", "", "dé-DE")]
        rows += [("-w critical is worse than -c minor", ["-w", "critical", "-c", "minor"]),
                 ("-w major is worse than -c minor", ["-w", "major", "-c", "minor"]),
                 ("-w critical is worse than -c major", ["-w", "critical"])]
        for reason, arguments in rows:
            with self.subTest(arguments):
                self.unknown(reason, *arguments)


class FailureTest(PluginTestCase):
    def test_without_root_or_a_program_the_result_is_unknown(self):
        self.unknown("needs root", user=NOBODY, group=NOBODY)
        has_run = self.fake_inspect("")
        self.have_programs({"xsltproc": None})
        self.unknown("xsltproc is not installed")
        self.assertFalse(has_run.exists())
        self.inspect.unlink()
        self.unknown("keldoctl-inspect is not installed")

    def test_without_an_inspection_the_result_is_unknown(self):
        well = f"cat {INSPECTIONS}/all_well.xml; "
        for commands, reason in (
                ("true", "printed no inspection"),
                ("echo text", "printed no inspection"),
                (f"head -n -1 {INSPECTIONS}/all_well.xml", "printed no inspection"),
                ("echo '<html/>'", "printed no inspection"),
                ("echo '<keldoctl/>'", "printed no inspection"),
                ("echo '<inspection version=\"2\" verdict=\"well\"/>'", "printed no inspection"),
                (well + "exit 3", "could make no document"),
                (well + "exit 64", "ended with status 64"),
                (well + "kill -ABRT $$", "ended with status 134"),
                (well + "kill -KILL $$", "was killed")):
            with self.subTest(commands):
                self.fake_inspect(commands)
                self.unknown(f"keldoctl-inspect {reason}")

    def test_an_inspection_without_services_is_unknown(self):
        self.fake_inspection(inspection(verdict="unknown"))
        self.assertEqual(self.run_program()[0], UNKNOWN)

    def test_output_that_cannot_be_written_is_unknown(self):
        reader, broken = os.pipe()
        os.close(reader)
        self.addCleanup(os.close, broken)
        with open("/dev/full", "wb") as full:
            for arguments in ([], ["-V"], ["-h"], ["-x"]):
                for name, options in (("full", {"stdout": full}), ("broken", {"stdout": broken}),
                                      ("closed", {"preexec_fn": lambda: os.close(1)})):
                    with self.subTest(name, arguments=arguments):
                        self.assertEqual(self.run_program(*arguments, **options), (UNKNOWN, "", ""))

    def test_the_callers_environment_reaches_no_program(self):
        record = 'tr "\\0" "\\n" </proc/$$/environ >>{}'
        inspect, xsltproc = self.prefix / "inspect.env", self.prefix / "xsltproc.env"
        self.fake_inspect(f"{record.format(inspect)}; cat {INSPECTIONS}/all_well.xml")
        self.have_programs({"xsltproc": f'{record.format(xsltproc)}; exec /usr/bin/xsltproc "$@"'})
        evil = self.prefix / "evil"
        evil.write_text(f"touch {self.prefix}/evil-has-run\n", encoding="utf-8")
        function = f"() {{ . {evil}; }}"
        foreign = dict.fromkeys(("MYSQL_UNIX_PORT", "LOCPATH", "GCONV_PATH", "OPENSSL_CONF", "HOME",
                                 "XML_CATALOG_FILES", "TMPDIR"), "/nowhere")
        self.assertEqual(self.run_program(env=foreign | {
            "BASH_ENV": str(evil), "PS4": f"$(. {evil})", "SHELLOPTS": "xtrace", "IFS": "/",
            "BASH_FUNC_command%%": function, "BASH_FUNC_env%%": function})[::2], (OK, ""))
        for path in (inspect, xsltproc):
            names = [line.split("=")[0] for line in path.read_text(encoding="utf-8").splitlines()]
            self.assertEqual(sorted(names), ["LC_ALL", "PATH"])
        self.assertFalse((self.prefix / "evil-has-run").exists())


class TimeoutTest(PluginTestCase):
    def hang(self, run):
        """Installs a keldoctl-inspect that does not end, and calls run(life, end): `life` gets a
        byte when keldoctl-inspect starts. Waits until every process that holds `end` is gone.
        Returns the result of run()."""
        life, end = os.pipe()
        self.fake_inspect(f"printf . >&{end}; sleep infinity")
        done = run(life, end)
        os.close(end)
        while os.read(life, 1):
            pass
        os.close(life)
        return done

    def test_keldoctl_inspect_and_its_children_end_in_time_or_are_killed(self):
        self.edit_program("grace_seconds=5\n", "grace_seconds=0\n")
        for name, blocked, reason in (("in time", [], "did not end within 1 s"),
                                      ("killed", [signal.SIGTERM], "was killed")):
            with self.subTest(name):
                self.assertEqual(self.hang(lambda _, end, blocked=blocked: self.run_program(
                    "-t", "1", pass_fds=[end],
                    preexec_fn=lambda: signal.pthread_sigmask(signal.SIG_BLOCK, blocked))), (
                    UNKNOWN, f"KELDOCTL UNKNOWN - keldoctl-inspect {reason}\n", ""))

    def test_a_killed_plugin_leaves_neither_a_process_nor_a_file(self):
        temporary = self.prefix / "tmp"
        temporary.mkdir()

        def run(life, end):
            # The time limit does not end keldoctl-inspect during the test.
            with subprocess.Popen([self.prefix / self.PROGRAM, "-t", "86400"], pass_fds=[end],
                                  env={"PATH": PATH, "TMPDIR": str(temporary)}) as plugin:
                os.read(life, 1)
                plugin.kill()

        self.hang(run)
        self.assertEqual(os.listdir(temporary), [])


if __name__ == "__main__":
    unittest.main()
