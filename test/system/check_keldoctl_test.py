# SPDX-License-Identifier: MIT
"""The plugin for Nagios, with keldoctl and with other programs in its place."""

import os
import signal
import subprocess
import unittest

from installed_views import InstalledViewsTestCase
from panel import PATH

OK, WARNING, CRITICAL, UNKNOWN = range(4)
NOBODY = 65534


class PluginTestCase(InstalledViewsTestCase):
    PROGRAM = "lib/nagios/plugins/check_keldoctl"

    def check(self, status, line, *arguments, **options):
        self.assertEqual(self.run_program(*arguments, **options), (status, line + "\n", ""))

    def unknown(self, reason, *arguments, **options):
        self.check(UNKNOWN, f"KELDOCTL UNKNOWN - {reason}", *arguments, **options)


class AnswerTest(PluginTestCase):
    def test_no_problems(self):
        self.check(OK, "KELDOCTL OK - no problems"
                   " | problems=0;;;0 minor=0;0;;0 major=0;0;0;0 critical=0;0;0;0")

    def test_a_service_that_is_down(self):
        self.panel.fake_monitor({"web": 1})
        self.check(CRITICAL, "KELDOCTL CRITICAL - 1 problem:"
                   " [major] The web title service is switched off."
                   " | problems=1;;;0 minor=0;0;;0 major=1;0;0;0 critical=0;0;0;0")
        for arguments, status in (
                (("-w", "major", "-c", "critical"), WARNING),
                (("-w", "critical", "-c", "critical"), OK),
                (("--warning=minor", "--critical=none"), WARNING),
                (("--warning", "none", "--critical", "none"), OK),
                (("-wnone", "-cminor"), CRITICAL)):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments)[0], status)

    def test_an_upgrade_in_two_languages(self):
        self.upgrade_in_german()
        for language, text in (("en-US", "Upgrade is in progress. Please wait."),
                               ("de-DE", "Eine Aktualisierung läuft. Bitte warten Sie.")):
            self.check(WARNING, f"KELDOCTL WARNING - 1 problem: [minor] {text}"
                       " | problems=1;;;0 minor=1;0;;0 major=0;0;0;0 critical=0;0;0;0",
                       "-l", language)

    def test_version_and_help(self):
        names = ("-w, --warning", "-c, --critical", "-t, --timeout", "-l, --language",
                 "-V, --version", "-h, --help")
        for options, pattern in ((("-V", "--version"), r"\Acheck_keldoctl \d+\.\d+\.\d+\n\Z"),
                                 (("-h", "--help"), "(?s)" + ".*\n ".join(names))):
            for option in options:
                with self.subTest(option):
                    status, output, errors = self.run_program(option)
                    self.assertEqual((status, errors), (UNKNOWN, ""))
                    self.assertRegex(output, pattern)

    def test_wrong_arguments(self):
        rows = [("wrong usage; see check_keldoctl -h", arguments)
                for arguments in (["-x"], ["word"], ["-w"], ["--nothing"], ["-c"])]
        rows += [(f"unknown severity -- {shown}", [option, value]) for option in ("-w", "-c")
                 for value, shown in (("", ""), ("MAJOR", "MAJOR"), ("major|x", "major x"),
                                      ("a\nb", "a b"))]
        rows += [(f"not a number of seconds -- {value}", ["-t", value])
                 for value in ("", "0", "-1", "1.5", "x", "1s", "1000000")]
        rows += [(f"not a language code -- {code}", ["-l", code])
                 for code in ("german", "de", "de_DE", "DE-de", "de-DEU", "", "dé-DE")]
        rows += [("-w critical is worse than -c minor", ["-w", "critical", "-c", "minor"]),
                 ("-w major is worse than -c minor", ["-w", "major", "-c", "minor"]),
                 ("-w critical is worse than -c major", ["-w", "critical"])]
        for reason, arguments in rows:
            with self.subTest(arguments):
                self.unknown(reason, *arguments)


class FailureTest(PluginTestCase):
    def test_missing_root_or_program(self):
        self.unknown("needs root", user=NOBODY, group=NOBODY)
        has_run = self.fake_keldoctl("")
        self.have_programs({"xsltproc": None})
        self.unknown("xsltproc is not installed")
        self.assertFalse(has_run.exists())
        self.keldoctl.unlink()
        self.unknown("keldoctl is not installed")

    def test_keldoctl_prints_no_report_or_dies(self):
        for commands, reason in (
                ("true", "keldoctl printed no report"),
                ("echo text", "keldoctl printed no report"),
                ("echo '<keldoctl>'", "keldoctl printed no report"),
                ("echo '<html/>'", "keldoctl printed no report"),
                ("echo '<keldoctl>salt & pepper;</keldoctl>'", "keldoctl printed no report"),
                ("echo '<keldoctl/>'; kill -ABRT $$", "keldoctl ended with status 134"),
                ("echo '<keldoctl/>'; kill -KILL $$", "keldoctl was killed")):
            with self.subTest(commands):
                self.fake_keldoctl(commands)
                self.unknown(reason)

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
        keldoctl, xsltproc = self.prefix / "keldoctl.env", self.prefix / "xsltproc.env"
        self.fake_keldoctl(record.format(keldoctl) + "; echo '<keldoctl/>'")
        self.have_programs({"xsltproc": f'{record.format(xsltproc)}; exec /usr/bin/xsltproc "$@"'})
        evil = self.prefix / "evil"
        evil.write_text(f"touch {self.prefix}/evil-has-run\n", encoding="utf-8")
        function = f"() {{ . {evil}; }}"
        foreign = dict.fromkeys(("MYSQL_UNIX_PORT", "LOCPATH", "GCONV_PATH", "OPENSSL_CONF", "HOME",
                                 "XML_CATALOG_FILES", "TMPDIR"), "/nowhere")
        self.assertEqual(self.run_program(env=foreign | {
            "BASH_ENV": str(evil), "PS4": f"$(. {evil})", "SHELLOPTS": "xtrace", "IFS": "/",
            "BASH_FUNC_command%%": function, "BASH_FUNC_env%%": function})[::2], (OK, ""))
        for path in (keldoctl, xsltproc):
            names = [line.split("=")[0] for line in path.read_text(encoding="utf-8").splitlines()]
            self.assertEqual(sorted(names), ["LC_ALL", "PATH"])
        self.assertFalse((self.prefix / "evil-has-run").exists())


class TimeoutTest(PluginTestCase):
    def hang(self, run):
        """Calls run() with a descriptor for a keldoctl that does not end. Waits until all that have
        the descriptor are gone. Returns the result of run()."""
        life, end = os.pipe()
        self.fake_keldoctl(f"printf . >&{end}; sleep infinity")
        done = run(life, end)
        os.close(end)
        while os.read(life, 1):
            pass
        os.close(life)
        return done

    def test_keldoctl_and_its_children_end_in_time_or_are_killed(self):
        for name, blocked, reason in (("in time", [], "did not end within 1 s"),
                                      ("killed", [signal.SIGTERM], "was killed")):
            with self.subTest(name):
                self.assertEqual(self.hang(lambda _, end, blocked=blocked: self.run_program(
                    "-t", "1", pass_fds=[end],
                    preexec_fn=lambda: signal.pthread_sigmask(signal.SIG_BLOCK, blocked))), (
                    UNKNOWN, f"KELDOCTL UNKNOWN - keldoctl {reason}\n", ""))

    def test_a_killed_plugin_leaves_neither_a_process_nor_a_file(self):
        temporary = self.prefix / "tmp"
        temporary.mkdir()

        def run(life, end):
            with subprocess.Popen([self.prefix / self.PROGRAM], pass_fds=[end],
                                  env={"PATH": PATH, "TMPDIR": str(temporary)}) as plugin:
                os.read(life, 1)
                plugin.kill()

        self.hang(run)
        self.assertEqual(os.listdir(temporary), [])


if __name__ == "__main__":
    unittest.main()
