# SPDX-License-Identifier: MIT
"""keldo-service-lint with the real monit: its findings, and whether monit agrees with them."""

import itertools
import os
import pathlib
import re
import resource
import shutil
import signal
import socket
import subprocess
import tempfile
import unittest
from xml.sax.saxutils import escape, quoteattr

from counting import uncounted
from panel import NAMESPACE, PATH, PROJECT, SERVICES, Panel, require_private_host

LINT = pathlib.Path(os.environ.get("SERVICE_LINT", PROJECT / "build/release/keldo-service-lint"))
EXAMPLES = LINT.parent / "examples"
FAILING_CALLS = os.environ.get("FAILING_CALLS", LINT.parent / "test/libfailing_calls.so")
REFUSED = "monit cannot read the control file of the service -- "


def lint(*arguments, **options):
    usual = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
             "env": {"PATH": PATH}}
    return subprocess.run([LINT, *arguments], check=False, text=True, **(usual | options))


def definition(service, checks="<pid-file>/run/x.pid</pid-file>", title="Title"):
    return (f"<service xmlns={quoteattr(NAMESPACE)} id={quoteattr(service)}>\n"
            f'<title xml:lang="en-US">{escape(title)}</title>\n'
            '<action type="start">start</action>\n<action type="stop">stop</action>\n'
            f"<checks>\n{checks}\n</checks>\n</service>\n")


class LintTestCase(unittest.TestCase):
    def setUp(self):
        require_private_host()
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def write(self, name, text):
        path = self.folder / f"{name}.xml"
        path.write_text(text, encoding="utf-8")
        return path

    def monit_reads(self, control):
        """Whether monit itself can read a control file. It is kept from writing elsewhere."""
        path = self.folder / "monitrc"
        path.write_text(f"{control}\nset idfile {self.folder}/id\n"
                        f"set statefile {self.folder}/state\n", encoding="utf-8")
        path.chmod(0o600)
        return subprocess.run(["/usr/bin/monit", "-t", "-c", path], check=False,
                              capture_output=True).returncode == 0


class CleanTest(LintTestCase):
    def test_shipped_definitions_have_no_findings(self):
        for folder in (SERVICES, EXAMPLES):
            files = sorted(folder.glob("*.xml"))
            self.assertTrue(files)
            done = lint(*files)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_no_files_are_left(self):
        places = [pathlib.Path(place) for place in ("/tmp", "/root", "/run", "/var/lib/monit")]
        before = [sorted(place.glob("[!.]*")) + sorted(place.glob(".*")) for place in places]
        done = lint(self.write("a b", definition("a b")), self.write("c", definition("c")))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(
            [sorted(place.glob("[!.]*")) + sorted(place.glob(".*")) for place in places], before)

    def test_any_user_can_run_it_but_monit_needs_a_user_with_a_name(self):
        self.folder.chmod(0o755)
        program = shutil.copy(LINT, self.folder)
        for user, status, text in (
                ("nobody", 1, f"{re.escape(REFUSED)}line 1: syntax error"),
                (54321, 2, "monit could not test the control file -- .*getpwuid_r failed")):
            with self.subTest(user):
                done = subprocess.run([program, self.write("c d", definition("c d"))], check=False,
                                      capture_output=True, text=True, user=user, group="nogroup",
                                      extra_groups=[])
                self.assertEqual(done.returncode, status)
                self.assertRegex(done.stderr, text)


class ShowTest(LintTestCase):
    def test_it_shows_the_control_file_that_keldoctl_writes(self):
        panel = Panel()
        panel.write_service("web", pid_file="/run/web.pid", sockets=["/run/web.sock"],
                            ports=[(80, {"protocol": "http"}), (53, {"type": "UDP"})])
        panel.run("--status")
        written = [call.control_file for call in panel.calls()
                   if "check process web" in call.control_file]
        path = SERVICES / "web.xml"
        self.assertEqual(lint("--show", path).stdout, f"# {path}\n{written[0]}")

    def test_monit_reads_the_control_files_of_several_definitions_together(self):
        done = lint("--show", *sorted(EXAMPLES.glob("*.xml")))
        self.assertEqual(done.stdout.count("\ncheck "), 3)
        self.assertTrue(self.monit_reads(done.stdout))


class FindingTest(LintTestCase):
    def lines(self, name, text):
        """The findings of a file, without its path. Also checks the exit status."""
        path = self.write(name, text)
        done = lint(path)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        return [line.removeprefix(f"{path}:") for line in done.stderr.splitlines()]

    def test_a_finding_is_a_line_with_its_place(self):
        self.assertEqual(
            self.lines("web", definition("web", '<port number="80" protocol="htp"/>')),
            ["6: error: monit cannot read an unknown protocol -- htp",
             f"6: error: {REFUSED}line 3: syntax error 'htp'"])

    def test_a_complaint_of_monit_is_one_finding(self):
        self.assertIn(
            f"6: error: {REFUSED}line 4: syntax error '\"\\n/run/x\\n\"'",
            self.lines("web", definition("web", "<pid-file>\n/run/x\n</pid-file>")))

    def test_monit_refuses_what_the_definition_checks_refuse(self):
        process = "<pid-file>/run/x</pid-file>"
        pid_files = ["\n/run/x\n", "/run/x\n", " /run/x", "run/x", '/run/"x']
        sockets = ["/run/a b", '/run/a"b', "/run/a'b", "/run/a,b", "/run/a(b)", "run/a",
                   "\n/run/a\nb\n", " "]
        for checks in (
                *(f"<pid-file>{path}</pid-file>" for path in pid_files),
                *(f"{process}<unix-socket>{path}</unix-socket>" for path in sockets),
                process + '<port number="1" protocol="nonsense"/>',
                process + '<port number="1" protocol="radius"/>',
                process + '<port number="1" type="TCPSSL" protocol="radius"/>'):
            with self.subTest(checks):
                lines = self.lines("web", definition("web", checks))
                said = [line for line in lines if "error: monit cannot read" in line]
                self.assertEqual(len([line for line in said if REFUSED not in line]), 1, lines)
                self.assertTrue(any(REFUSED in line for line in said), lines)

    def test_monit_accepts_definitions_with_other_faults(self):
        for name, checks, text in (
                ("web", "<pid-file>/run/x </pid-file>", "white space at the end"),
                ("web", "<pid-file>/run/x y</pid-file>", "contains white space"),
                ("web", r"<pid-file>/run/a\nb</pid-file>", "a backslash in a pid file path"),
                ("web", '<port number="70000"/>', "the highest port number is 65535"),
                ("web", '<port number="0"/><port number="1"/>', "keldoctl ignores a port"),
                ("web", '<port number="1" type="tcp"/>', "an unknown port type"),
                ("web", '<port number="1"/><unix-socket>/x</unix-socket>', "not tested"),
                (socket.gethostname(), "<pid-file>/run/x</pid-file>", "this host's name")):
            with self.subTest(checks):
                lines = self.lines(name, definition(name, checks))
                self.assertEqual(len(lines), 1)
                self.assertIn(text, lines[0])

    def test_unusual_but_right_definitions_have_no_findings(self):
        process = "<pid-file>/run/x</pid-file>"
        for name, checks in (
                ("web", process + "<unix-socket>\n\t/run/a.sock \n</unix-socket>"),
                ("if", process),  # a word of monit's language
                ("web", process + '<port number="1" type="UDP" protocol="radius"/>')):
            with self.subTest(name=name, checks=checks):
                done = lint(self.write(name, definition(name, checks)))
                self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_monit_refuses_a_service_with_the_hosts_name(self):
        self.assertFalse(self.monit_reads(
            f'check process {socket.gethostname()}\n\twith pidfile "/run/x"\n'))


class SyntaxTest(LintTestCase):
    """Compares the tables in monit_syntax.cpp with monit."""

    @staticmethod
    def words(table):
        source = (PROJECT / "src/lint/monit_syntax.cpp").read_text(encoding="utf-8")
        text = re.search(rf"std::string_view {table} =(.*?);", source, re.DOTALL)[1]
        return " ".join(re.findall(r'"(.*?)"', text)).split()

    def test_monit_knows_every_protocol(self):
        tests = "".join(f"\tif failed port 1 {kind}protocol {name} then alert\n"
                        for table, kind in (("protocols", ""), ("udpProtocols", "type UDP "))
                        for name in self.words(table))
        self.assertGreater(tests.count("\n"), 35)
        self.assertTrue(self.monit_reads(f"check host a\n\twith address 127.0.0.1\n{tests}"))

    def test_monit_refuses_the_same_characters_in_an_id(self):
        # Without "/", which no file name has, and "<", which XML does not allow here.
        characters = [chr(code) for code in range(0x20, 0x7F) if chr(code) not in "/<"]
        files = [self.write(f"a{character}b", definition(f"a{character}b"))
                 for character in characters]
        said = lint(*files).stderr.splitlines()
        for character, path in zip(characters, files):
            lines = [line for line in said if line.startswith(f"{path}:")]
            with self.subTest(character=character):
                self.assertEqual(any("cannot read an id" in line for line in lines),
                                 any(REFUSED in line for line in lines), lines)


class OutputTest(LintTestCase):
    """The exit status is 2 if something cannot be written."""

    def setUp(self):
        super().setUp()
        self.clean = self.write("c", definition("c"))
        self.full = self.enterContext(open("/dev/full", "wb"))

    def test_standard_output_that_cannot_be_written_gives_status_2(self):
        reader, writer = os.pipe()
        os.close(reader)
        self.addCleanup(os.close, writer)
        shown = f"{self.clean}: "
        for arguments, output, about, reason in (
                (["--help"], self.full, "", "No space left on device"),
                (["--show", self.clean], self.full, shown, "No space left on device"),
                (["--show", self.clean], writer, shown, "Broken pipe")):
            with self.subTest(arguments, reason=reason):
                done = lint(*arguments, stdout=output)
                self.assertEqual((done.returncode, done.stderr), (
                    2, f"keldo-service-lint: {about}cannot write to standard output -- {reason}\n"))

    def test_findings_that_cannot_be_written_give_status_2(self):
        found = self.write("a", definition("b"))
        self.assertEqual(lint(found, stderr=self.full).returncode, 2)
        self.assertEqual(lint(self.clean, stderr=self.full).returncode, 0)


class InheritanceTest(LintTestCase):
    """Inherited state does not change the findings."""

    def setUp(self):
        super().setUp()
        self.clean = self.write("c", definition("c"))
        self.refused = self.write("web", definition("web", '<port number="80" protocol="htp"/>'))
        self.said = lint(self.refused).stderr

    def check(self, preexec, closed=()):
        done = lint(self.clean, preexec_fn=preexec)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        done = lint(self.refused, preexec_fn=preexec)
        said = "" if 2 in closed else self.said
        self.assertEqual((done.returncode, done.stdout, done.stderr), (1, "", said))

    def test_ignored_signals_do_not_change_the_findings(self):
        self.check(lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))

    def test_closed_descriptors_do_not_change_the_findings(self):
        for closed in ((0,), (1,), (2,), (0, 1), (0, 2), (1, 2), (0, 1, 2)):
            with self.subTest(closed):
                self.check(lambda: [os.close(stream) for stream in closed], closed)

    def test_a_file_that_may_not_grow_gives_status_2_and_leaves_nothing(self):
        done = lint(self.clean, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE,
                                                                      (0, 0)))
        self.assertEqual(done.returncode, 2)
        self.assertIn(f"keldo-service-lint: {self.clean}: cannot write a file -- /tmp/",
                      done.stderr)
        self.assertEqual(directories(), [])


def directories():
    """The directories for monit that runs have left."""
    return sorted(pathlib.Path("/tmp").glob("keldo-service-lint.*"))


class OtherMonitTest(LintTestCase):
    """Runs with another program in the place of monit."""

    UNTESTED = "monit could not test the control file -- "

    def setUp(self):
        super().setUp()
        self.clean = self.write("c", definition("c"))
        self.started, self.gate = self.folder / "started", self.folder / "gate"
        for path in (self.started, self.gate):
            os.mkfifo(path)
        self.monit = pathlib.Path("/usr/bin/monit")
        stock = self.monit.rename("/usr/bin/monit.stock")
        self.addCleanup(stock.rename, self.monit)

    def replace_monit(self, text):
        self.monit.unlink(missing_ok=True)  # a running program cannot be overwritten
        self.monit.write_text(text, encoding="utf-8")
        self.monit.chmod(0o755)

    def check_untested(self, reason):
        done = lint(self.clean)
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (2, "", f"keldo-service-lint: {self.clean}: {self.UNTESTED}{reason}\n"))
        self.assertEqual(directories(), [])

    def test_a_monit_that_cannot_test_is_reported(self):
        for script, reason in (
                (f"#!{self.folder}/missing\n", "sh: 1: /usr/bin/monit: not found"),
                ("#!/bin/sh\nkill -KILL $$\n", "Killed"),
                ("#!/bin/sh\nexit 3\n", "exit status 3"),
                ("#!/bin/sh\necho The control file must be owned by you.\nexit 1\n",
                 "The control file must be owned by you.")):
            with self.subTest(script):
                self.replace_monit(script)
                self.check_untested(reason)

    def test_a_monit_that_is_killed_in_place_of_the_shell_is_reported(self):
        self.replace_monit("#!/bin/sh\nkill -KILL $$\n")
        shell = pathlib.Path("/usr/bin/sh")
        usual = shell.rename("/usr/bin/sh.usual")
        self.addCleanup(usual.replace, shell)
        shell.symlink_to("bash")
        done = lint(self.clean)
        self.assertEqual(done.returncode, 2)
        self.assertIn(self.UNTESTED, done.stderr)

    def test_a_signal_while_monit_runs_leaves_no_files(self):
        self.replace_monit(f"#!/bin/sh\necho > ${{3%/*}}/id\necho > {self.started}\n"
                           f"read line < {self.gate}\n")
        # One of each kind; the unit tests of FileRemover try all.
        for number in (signal.SIGHUP, signal.SIGTERM, signal.SIGXCPU, signal.SIGIO, signal.SIGPWR,
                       signal.SIGRTMIN, signal.SIGRTMAX):
            with self.subTest(number):
                run = subprocess.Popen([LINT, self.clean], stderr=subprocess.PIPE, preexec_fn=(
                    lambda: resource.setrlimit(resource.RLIMIT_CORE, (0, 0))))
                self.started.read_text(encoding="utf-8")
                [directory] = directories()
                self.assertEqual(sorted(path.name for path in directory.iterdir()),
                                 ["id", directory.name, "monitrc"])
                run.send_signal(number)
                _, said = run.communicate()
                self.assertEqual((run.returncode, said, directories()), (-number, b"", []))
                self.gate.write_text("", encoding="utf-8")  # the fake monit ends


@uncounted
class MemoryTest(LintTestCase):
    """Without memory, there are no wrong findings, and the exit status shows the failure."""

    def run_with(self, number):
        """Runs with all allocations failing from that number on. Returns the run, and the log of
        the library that makes them fail."""
        log = self.folder / "log"
        log.unlink(missing_ok=True)
        done = lint(self.path, env={"PATH": PATH, "LD_PRELOAD": FAILING_CALLS,
                                    "FAULT_CALL": "malloc", "FAULT_NUMBER": str(number),
                                    "FAULT_FOREVER": "1", "FAULT_LOG": log})
        return done, log.read_text(encoding="utf-8").splitlines()

    def test_it_prints_a_message_or_aborts(self):
        self.path = self.write("a", definition("b"))
        usual, log = self.run_with(0)
        self.assertEqual(usual.returncode, 1)
        [count] = [int(line.removeprefix("calls ")) for line in log if line.startswith("calls ")]
        step = count // 200
        for number in itertools.count(1, step):
            done, log = self.run_with(number)
            if "fault" not in log:  # there were fewer allocations
                break
            with self.subTest(number=number):
                self.assertEqual(directories(), [])
                said = set(done.stderr.splitlines()) - set(usual.stderr.splitlines())
                if done.returncode != -signal.SIGABRT:
                    self.assertEqual((done.returncode, said),
                                     (2, {f"keldo-service-lint: {self.path}: std::bad_alloc"}))
                else:
                    self.assertNotIn(str(self.path), "".join(said))
        self.assertGreater(number, count - 5 * step)


if __name__ == "__main__":
    unittest.main()
