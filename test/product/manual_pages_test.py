# SPDX-License-Identifier: MIT
"""The manual pages are well formed and agree with the sources."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from manual import BUILD, PAGES, displays, formatted, page, section, source
from panel import CORE_SERVICES, PROJECT

# Other projects' pages that ours refer to.
FOREIGN_PAGES = {"curl.1", "flock.2", "locale.1", "monit.1", "run-parts.8", "sendmail.8",
                 "sshd.8", "sshd_config.5", "sudo.8", "systemctl.1", "systemd.timer.5", "xsltproc.1"}


def run(*command, env=None):
    """What a command prints, on both streams."""
    done = subprocess.run(command, check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env=os.environ | (env or {}))
    return done.stdout.decode()


def stub(name):
    """A minimal page with a name."""
    title, number = name.rsplit(".", 1)
    return (f".Dd January 1, 2026\n.Dt {title.upper()} {number}\n.Os\n.Sh NAME\n.Nm {title}\n"
            f".Nd stub\n")


class FormTest(unittest.TestCase):
    def test_mandoc_reports_nothing(self):
        # mandoc also looks for referenced pages: ours, and stubs for other projects' pages.
        with tempfile.TemporaryDirectory() as tree:
            for name in FOREIGN_PAGES | {path.name for path in PAGES}:
                folder = pathlib.Path(tree, f"man{name[-1]}")
                folder.mkdir(exist_ok=True)
                text = stub(name) if name in FOREIGN_PAGES else page(name).read_text("utf-8")
                (folder / name).write_text(text, encoding="utf-8")
            self.assertEqual(run("/usr/sbin/makewhatis", tree), "")
            self.assertEqual(run("mandoc", "-Tlint", "-Wstyle", *PAGES, env={"MANPATH": tree}), "")

    def test_groff_reports_nothing(self):
        for path in PAGES:
            with self.subTest(path.name):
                done = subprocess.run(["groff", "-mdoc", "-Tutf8", "-ww", path], check=True,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
                self.assertEqual(done.stderr, b"")

    def test_text_fits_into_80_columns(self):
        for path in PAGES:
            text = run("man", "--local-file", path,
                       env={"MANWIDTH": "80", "LC_ALL": "C.UTF-8", "MAN_KEEP_FORMATTING": ""})
            for line in text.splitlines():
                if not re.match(r" *(<|[#>] )", line):
                    with self.subTest(path.name, line=line):
                        self.assertLessEqual(len(line), 80)

    def test_the_sources_can_be_read_as_pages(self):
        for path in (PROJECT / "doc").glob("*.[1-9]"):
            with self.subTest(path.name):
                self.assertNotRegex(path.read_text(encoding="utf-8"), r"@\w+@")

    def test_references_name_known_pages(self):
        ours = {path.name for path in PAGES}
        for path in PAGES:
            for name, number in re.findall(r"^\.(?:Pq see )?Xr (\S+) (\d)",
                                           path.read_text(encoding="utf-8"), re.M):
                with self.subTest(path.name, reference=name):
                    self.assertIn(f"{name}.{number}", ours | FOREIGN_PAGES)

    def test_every_source_is_built(self):
        sources = {path.name for path in (PROJECT / "doc").glob("*.[1-9]")}
        self.assertEqual({path.name for path in PAGES}, sources)


# --- Messages

# Texts in the sources that are not messages, or that nobody sees. ALL: all texts of a file.
ALL = None
NOT_SHOWN = {
    # The usage, which is an example of the page.
    "src/app/command_line.cpp": {"Usage: ", " --status [--language=LANG_CODE]", "   or: ",
                             " --repair [--language=LANG_CODE] ID..."},
    # Conditions within the message of an assertion.
    "src/conf/autoprepend.cpp": {
        "i > 0 && i <= (sizeof(theKvrConfArray) / sizeof(theKvrConfArray[0]) - 2)",
        "i > 0 && i <= (sizeof(theKvrConfDefauls) / sizeof(theKvrConfDefauls[0]) - 2)",
        "((void *)0) != name"},
    # The prefix by a program's path, which this program does not set.
    "src/conf/messages.cpp": {"%s: "},
    # More conditions, and lines for the log hook, which does not show warnings.
    "src/conf/read_configuration.cpp": ALL,
    # Exceptions that the callers take for a database that is down, and a self-test.
    "src/db/cpp_mysql.cpp": ALL,
    # Statements, and failures after which the connection is used all the same.
    "src/db/panel_database.cpp": {
        "SHOW VARIABLES LIKE 'version'", "set foreign_key_checks=0", "SET NAMES utf8",
        "SET NAMES binary", "SELECT val FROM misc WHERE param='mysql41_compatible'",
        "DB error (%s): unknown error", "fetch version row", "empty version result"},
    # The text of a static_assert.
    "src/exec/file_remover.cpp": {"a signal handler reads it"},
    # Sentences of the report.
    "src/diag/repair.cpp": ALL,
    "src/diag/service_diagnosis.cpp": ALL,
    "src/diag/upgrade_check.cpp": ALL,
    # Statements.
    "src/diag/action_log.cpp": ALL,
    # The usage; names of characters and words of monit's language; settings for monit's test.
    "src/lint/command_line.cpp": {
        "Usage: ",
        " [--show] FILE...\nChecks service definitions, and asks monit to check their control files."
        "\n\n  --show      print the control files that keldoctl gives to monit\n"
        "  --version   print the program's version\n"
        "  -h, --help  print this text\n\nExit status: 0 nothing found, 1 something found, 2 wrong "
        "usage or failure.\n"},
    "src/lint/definition_checks.cpp": {" \t\n\r"},
    "src/lint/run.cpp": {"# ", "# no control file\n"},
    "src/lint/monit_syntax.cpp": ALL,
    "src/lint/monit_acceptance.cpp": {"\nset idfile ", "\nset statefile ", "\nset pidfile ",
                                "\ncheck system ", " -t -c ", "; exit $?"},
    # The control file, the beginnings of monit's remarks, and the monitor's command line.
    "src/monitor/control_file.cpp": ALL,
    "src/monitor/monit_remarks.cpp": ALL,
    "src/monitor/monitor_run.cpp": ALL,
    # The programs that make such directories replace this message by their own.
    "src/exec/private_directory.cpp": ALL,
    # Characters between words, the documents, monit's settings, and words of monit's answers.
    "src/adapter/batch.cpp": ALL,
    "src/adapter/command_line.cpp": {"\n   or: monit-check-status --version | --help\n"},
    "src/adapter/control_file.cpp": {" \t\r\n\f\v,;"},
    "src/adapter/monit.cpp": {
        "\nset daemon 1000000\nset pidfile ", "\nset idfile ", "\nset statefile ",
        "\nset httpd unixsocket ", " allow monit:monit\n", "check system "},
    "src/adapter/service.cpp": {
        '<?xml version="1.0" encoding="UTF-8"?>\n<monit>\n',
        "  <service>\n    <name>", "</name>\n    <status>", "</status>\n  </service>\n",
        "<service "},
    "src/adapter/status_request.cpp": {
        "GET /_status?format=xml HTTP/1.0\r\nAuthorization: Basic bW9uaXQ6bW9uaXQ=\r\n\r\n",
        " 200 "},
}
FOLDERS_OF_KELDOCTL = ("app", "conf", "db", "diag", "exec", "monitor", "report")
# Messages of the libraries.
OF_LIBRARIES = {"terminate called after throwing an instance of 'TYPE'"}

LITERAL = r'"(?:\\.|[^"\\\n])*"'
ESCAPES = {r"\n": "\n", r"\r": "\r", r"\t": "\t", r"\f": "\f", r"\v": "\v", r'\"': '"'}


def texts_in(path):
    """The string literals of a source file with a blank in them; adjacent ones are one."""
    code = re.sub(rf"({LITERAL})|//[^\n]*|/\*.*?\*/", lambda match: match[1] or "",
                  path.read_text(encoding="utf-8"), flags=re.S)
    for literals in re.findall(rf"{LITERAL}(?:\s*{LITERAL})*", code):
        text = "".join(literal[1:-1] for literal in re.findall(LITERAL, literals))
        for escape, character in ESCAPES.items():
            text = text.replace(escape, character)
        if " " in text:
            yield text


def messages_in(paths):
    """The messages in source files."""
    messages = set()
    for path in paths:
        hidden = NOT_SHOWN.get(str(path.relative_to(PROJECT)), set())
        if hidden is not ALL:
            texts = set(texts_in(path))
            # An exception for a text that no longer exists must go.
            assert hidden <= texts, hidden - texts
            messages |= texts - hidden
    return {message.strip("\n") for message in messages}


def pattern(message):
    """A regular expression for the printed form of a text, which may be a format."""
    return re.sub(r"%[sud]", ".+", re.escape(message).replace("%%", "%"))


def diagnostics(name):
    """The messages that a page explains."""
    return {line.removeprefix('.It "').removesuffix('"')
            for line in source(name, "DIAGNOSTICS") if line.startswith('.It "')}


class DiagnosticsTest(unittest.TestCase):
    def check(self, name, *patterns):
        explained = diagnostics(name) - OF_LIBRARIES
        messages = messages_in(path for sources in patterns for path in PROJECT.glob(sources))
        for message in messages:
            with self.subTest("in the sources", message=message):
                self.assertTrue(any(re.search(pattern(message), text) for text in explained))
        for text in explained:
            rest = text
            # Formats first, since another message may fill their placeholders.
            for message in sorted(messages, key=lambda text: ("%" not in text, -len(text))):
                rest = re.sub(pattern(message), "", rest)
            with self.subTest("in the page", text=text):
                # The sources add the program's name before a text, and a detail after it.
                self.assertRegex(rest, r"^(keldoctl|keldo-service-lint)?(: )?"
                                       r"([A-Z_]|/usr/bin/monit|\S+/schemas/keldo/service/1)*$")

    def test_keldoctl_8_explains_each_message_of_keldoctl(self):
        self.check("keldoctl.8", *(f"src/{folder}/*.cpp" for folder in FOLDERS_OF_KELDOCTL))

    def test_keldo_service_lint_1_explains_each_message(self):
        self.check("keldo-service-lint.1", "src/lint/*.cpp")

    def test_monit_check_status_8_explains_each_message(self):
        self.check("monit-check-status.8", "src/adapter/*.cpp")

    def check_scripts(self, name, *scripts):
        """`scripts` are pairs of a program's name and the text that begins its messages."""
        patterns = []
        for program, prefix in scripts:
            [source_file] = [path for folder in ("views/programs", "fleet")
                             for path in (PROJECT / folder).glob(f"{program}.in")]
            code = source_file.read_text(encoding="utf-8")
            for message in re.findall(r'\b(?:die|say|unknown|message) "(?!\$1")(.*?)"',
                                      code.replace("\\\n", "")):
                parts = re.split(r"\$(?:\w+|\{.*?\})", prefix + message)
                patterns.append("[A-Z_]+".join(map(re.escape, parts)))
        explained = diagnostics(name)
        for message in patterns:
            with self.subTest("in the sources", message=message):
                self.assertTrue(any(re.fullmatch(message, text) for text in explained))
        for text in explained:
            with self.subTest("in the page", text=text):
                self.assertTrue(any(re.fullmatch(message, text) for message in patterns))

    def test_keldoctl_report_8_explains_each_message(self):
        self.check_scripts("keldoctl-report.8", ("keldoctl-report", "keldoctl-report: "),
                           ("show-changes", "keldoctl-report: "), ("keep-report", "keep-report: "),
                           ("write-metrics", "write-metrics: "))

    def test_keldoctl_notify_8_explains_each_message(self):
        self.check_scripts("keldoctl-notify.8", ("keldoctl-notify", "keldoctl-notify: "))

    def test_keldoctl_gate_8_explains_each_message(self):
        self.check_scripts("keldoctl-gate.8", ("keldoctl-gate", "keldoctl-gate: "))

    def test_check_keldoctl_8_explains_each_message(self):
        self.check_scripts("check_keldoctl.8", ("check_keldoctl", "KELDOCTL UNKNOWN - "))


# --- Other facts that the pages repeat from the sources


def arrays(name):
    """The entries of a constant array of texts."""
    code = (PROJECT / "src/conf/autoprepend.cpp").read_text(encoding="utf-8")
    return re.findall(r'"([^"]*)"', re.search(rf"{name}\[\] = {{(.*?)}};", code, re.S)[1])


class ContentTest(unittest.TestCase):
    def test_keldoctl_8_lists_the_sentences_of_the_report(self):
        code = "".join(path.read_text(encoding="utf-8")
                       for path in (PROJECT / "src/diag").glob("*.cpp"))
        sentences = set(re.findall(r'\btranslate(?:With)?\("(.*?)"', code))
        text = section("keldoctl.8", "THE REPORT")
        listed = re.search(r"^ *Sentences\n.*?\n\n(.*?)\n\n *Texts$", text, re.M | re.S)[1]
        self.assertEqual({re.sub(r"  +", " ", line.strip()) for line in listed.splitlines()},
                         sentences)

    def test_keldoctl_8_lists_the_core_services(self):
        code = (PROJECT / "src/diag/services_to_check.h").read_text(encoding="utf-8")
        services = re.search(r"coreServices = {(.*?)}", code)[1].replace('"', "")
        self.assertEqual(services, ", ".join(CORE_SERVICES))
        self.assertIn(f"in this order: {services}.",
                      re.sub(r"\s+", " ", formatted(page("keldoctl.8"))))

    def test_keldoctl_inspect_8_explains_each_code_of_a_reason(self):
        code = (PROJECT / "src/inspect/reasons.cpp").read_text(encoding="utf-8")
        codes = set(re.findall(r'{"([a-z_]+)", Subject::', code))
        text = page("keldoctl-inspect.8").read_text(encoding="utf-8")
        listed = text.partition(".Ss Codes of reasons")[2].partition(".Sh ")[0]
        explained = {word for line in re.findall(r"^\.It Li (.*)$", listed, re.M)
                     for word in line.split(" , ")}
        self.assertEqual(explained, codes)

    def test_keldoctl_8_lists_the_ending_signals(self):
        code = (PROJECT / "src/exec/ending_signals.cpp").read_text(encoding="utf-8")
        table = re.search(r"namedEndingSignals\[\] = {(.*?)};", code, re.S)[1]
        self.assertIn(f"ended by {', '.join(re.findall(r'(SIG.*?),', table))} or a real-time signal",
                      re.sub(r"\s+", " ", formatted(page("keldoctl.8"))))

    def test_kvr_conf_5_lists_the_variables_and_their_defaults(self):
        variables = zip(arrays("theKvrConfArray")[1:-1], arrays("theKvrConfDefauls")[1:-1])
        rows = re.findall(r"^\.It Li ([A-Z_]+) Ta Li (\S+)$",
                          page("kvr.conf.5").read_text(encoding="utf-8"), re.M)
        self.assertEqual(rows, sorted(variables))
        self.assertIn(f"these {len(rows)} variables", formatted(page("kvr.conf.5")))

    def test_keldoctl_8_shows_the_usage(self):
        program = BUILD / "keldoctl"
        self.assertIn(f"# keldoctl --help\n{run(program, '--help')}",
                      displays("keldoctl.8", "EXAMPLES"))


if __name__ == "__main__":
    unittest.main()
