# SPDX-License-Identifier: MIT
"""keldo-service-lint with the real monit: what it says of definitions, and that monit agrees."""

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
    def test_nothing_is_found_in_the_definitions_that_are_shipped(self):
        for folder in (SERVICES, EXAMPLES):
            files = sorted(folder.glob("*.xml"))
            self.assertTrue(files)
            done = lint(*files)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_nothing_is_left_behind(self):
        places = [pathlib.Path(place) for place in ("/tmp", "/root", "/run", "/var/lib/monit")]
        before = [sorted(place.glob("[!.]*")) + sorted(place.glob(".*")) for place in places]
        done = lint(self.write("a b", definition("a b")), self.write("c", definition("c")))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(
            [sorted(place.glob("[!.]*")) + sorted(place.glob(".*")) for place in places], before)

    def test_it_takes_no_root(self):
        self.folder.chmod(0o755)
        program = shutil.copy(LINT, self.folder)
        done = subprocess.run([program, self.write("c d", definition("c d"))], check=False,
                              capture_output=True, text=True, user="nobody", group="nogroup",
                              extra_groups=[])
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"{REFUSED}line 1: syntax error", done.stderr)


class ControlFileTest(LintTestCase):
    def test_it_is_shown_as_keldoctl_writes_it(self):
        panel = Panel()
        panel.write_service("web", pid_file="/run/web.pid", sockets=["/run/web.sock"],
                            ports=[(80, {"protocol": "http"}), (53, {"type": "UDP"})])
        panel.run("--status")
        written = [call.control_file for call in panel.calls()
                   if "check process web" in call.control_file]
        path = SERVICES / "web.xml"
        self.assertEqual(lint("--show", path).stdout, f"# {path}\n{written[0]}")

    def test_nothing_in_it_is_for_the_terminal(self):
        path = self.write("a\n\x9b", definition("web", "<pid-file>/run/\x9b31m\t&#13;</pid-file>"))
        done = lint("--show", path)
        name = f"{self.folder}/a\\n\\xc2\\x9b.xml"
        self.assertEqual(done.stdout, f"# {name}\ncheck process web\n"
                                      '\twith pidfile "/run/\\xc2\\x9b31m\t\\r"\n')
        self.assertIn(f"\n{name}:1: error: the id is not the name of the file", f"\n{done.stderr}")

    def test_that_of_several_files_is_one_that_monit_reads(self):
        done = lint("--show", *sorted(EXAMPLES.glob("*.xml")))
        self.assertEqual(done.stdout.count("\ncheck "), 3)
        self.assertTrue(self.monit_reads(done.stdout))

    def test_it_is_empty_where_nothing_is_tested(self):
        path = self.write("a", definition("a", "<unix-socket>/run/x</unix-socket>"))
        self.assertEqual(lint("--show", path).stdout, f"# {path}\n")

    def test_there_is_none_of_the_database(self):
        path = self.write("mysql", definition("mysql", ""))
        done = lint("--show", path)
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (0, f"# {path}\n# keldoctl writes no control file for it\n", ""))


class FindingTest(LintTestCase):
    def lines(self, name, text):
        """What is said of a file, without its path; the exit status has to fit."""
        path = self.write(name, text)
        done = lint(path)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        return [line.removeprefix(f"{path}:") for line in done.stderr.splitlines()]

    def test_each_is_a_line_with_its_place(self):
        self.assertEqual(
            self.lines("web", definition("web", '<port number="80" protocol="htp"/>')),
            [f"1: error: {REFUSED}line 3: syntax error 'htp'",
             "6: error: monit cannot read a control file with an unknown protocol -- htp"])

    def test_a_complaint_of_monits_is_told_whole(self):
        self.assertIn(
            f"1: error: {REFUSED}line 4: syntax error '\"\\n/run/x\\n\"'",
            self.lines("web", definition("web", "<pid-file>\n/run/x\n</pid-file>")))

    def test_monit_refuses_what_is_said_to_be_refused(self):
        process = "<pid-file>/run/x</pid-file>"
        for name, checks in (
                ("a b", process), ('a"b', process), ("a'b", process), ("a,b", process),
                ("a(b", process), ("a)b", process), ("a:b", process), ("a%b", process),
                ("pid1", "<pid-file>\n/run/x\n</pid-file>"),
                ("pid2", "<pid-file>/run/x\n</pid-file>"),
                ("pid3", "<pid-file> /run/x</pid-file>"),
                ("pid4", "<pid-file>run/x</pid-file>"),
                ("pid5", '<pid-file>/run/"x</pid-file>'),
                ("sock1", process + "<unix-socket>/run/a b</unix-socket>"),
                ("sock2", process + '<unix-socket>/run/a"b</unix-socket>'),
                ("sock3", process + "<unix-socket>/run/a'b</unix-socket>"),
                ("sock4", process + "<unix-socket>/run/a,b</unix-socket>"),
                ("sock5", process + "<unix-socket>/run/a(b)</unix-socket>"),
                ("sock6", process + "<unix-socket>run/a</unix-socket>"),
                ("sock8", process + "<unix-socket>\n/run/a\nb\n</unix-socket>"),
                ("sock9", process + "<unix-socket> </unix-socket>"),
                ("port", process + '<port number="1" protocol="nonsense"/>'),
                ("port4", process + '<port number="1" protocol="radius"/>'),
                ("port5", process + '<port number="1" type="TCPSSL" protocol="radius"/>')):
            with self.subTest(name=name, checks=checks):
                lines = self.lines(name, definition(name, checks))
                said = [line for line in lines if "error: monit cannot read" in line]
                self.assertEqual(len([line for line in said if REFUSED not in line]), 1, lines)
                self.assertTrue(any(REFUSED in line for line in said), lines)

    def test_monit_reads_what_is_found_for_other_reasons(self):
        for name, checks, text in (
                ("pid6", "<pid-file>/run/x </pid-file>", "white space at the end"),
                ("pid7", "<pid-file>/run/x y</pid-file>", "white space in the path"),
                ("pid8", r"<pid-file>/run/a\nb</pid-file>", "a backslash in the path"),
                ("port1", '<port number="70000"/>', "no port of this number"),
                ("port2", '<port number="0"/><port number="1"/>', "is dropped"),
                ("port3", '<port number="1" type="tcp"/>', "unknown type"),
                ("sock7", '<port number="1"/><unix-socket>/x</unix-socket>', "not tested"),
                ("if", "<pid-file>/run/x</pid-file>", "a word of monit's own language"),
                (socket.gethostname(), "<pid-file>/run/x</pid-file>", "the name of this host")):
            with self.subTest(name=name):
                lines = self.lines(name, definition(name, checks))
                self.assertEqual(len(lines), 1)
                self.assertIn(text, lines[0])

    def test_nothing_is_found_in_what_monit_reads_and_keldoctl_too(self):
        process = "<pid-file>/run/x</pid-file>"
        for name, checks in (
                ("sock", process + "<unix-socket>\n\t/run/a.sock \n</unix-socket>"),
                ("radius", process + '<port number="1" type="UDP" protocol="radius"/>')):
            with self.subTest(name=name):
                done = lint(self.write(name, definition(name, checks)))
                self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_monit_itself_takes_the_hosts_name_for_its_own(self):
        self.assertFalse(self.monit_reads(
            f'check process {socket.gethostname()}\n\twith pidfile "/run/x"\n'))


class SyntaxTest(LintTestCase):
    """The tables of what monit knows, against monit."""

    def words(self, table):
        source = (PROJECT / "src/lint/monit_syntax.cpp").read_text(encoding="utf-8")
        text = re.search(rf"std::string_view {table}\[\] = {{(.*?)}};", source, re.DOTALL)[1]
        words = re.findall(r'"(.*?)"', text)
        self.assertEqual(words, sorted(words))
        return words

    def test_every_protocol_is_known(self):
        tests = "".join(f"\tif failed port 1 {kind}protocol {name} then alert\n"
                        for table, kind in (("protocols", ""),
                                            ("protocolsOfUdpAlone", "type UDP "))
                        for name in self.words(table))
        self.assertTrue(self.monit_reads(f"check host a\n\twith address 127.0.0.1\n{tests}"))

    def test_every_keyword_is_one(self):
        for word in self.words("keywords"):
            with self.subTest(word=word):
                self.assertFalse(self.monit_reads(
                    "check host a\n\twith address 127.0.0.1\n"
                    f"\tif failed host {word} port 80 then alert\n"))

    def test_the_same_characters_are_refused_within_an_id(self):
        # Not those that a file's name cannot have, and no "<", which monit takes but XML does not.
        characters = [chr(code) for code in range(0x20, 0x7F) if chr(code) not in "/<"]
        files = [self.write(f"a{character}b", definition(f"a{character}b"))
                 for character in characters]
        said = lint(*files).stderr
        for character, path in zip(characters, files):
            lines = [line for line in said.splitlines() if line.startswith(f"{path}:1: ")]
            with self.subTest(character=character):
                self.assertEqual(any("cannot read an id" in line for line in lines),
                                 any(REFUSED in line for line in lines), lines)


class StatusTest(LintTestCase):
    def test_a_command_line_that_is_not_understood_is_2(self):
        for arguments, message in (([], "no file given"), (["--x"], "unknown option -- --x")):
            done = lint(*arguments)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (
                2, "", f"keldo-service-lint: {message}\n"
                       "Try `keldo-service-lint --help` for more information.\n"))

    def test_the_usage_is_0(self):
        done = lint("--help")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertTrue(done.stdout.startswith("Usage: keldo-service-lint [--show] FILE...\n"))

    def test_an_unreadable_file_is_2_and_the_others_are_looked_at(self):
        found = self.write("web", definition("apache"))
        done = lint("/nonexistent.xml", found)
        self.assertEqual(done.returncode, 2)
        self.assertEqual(done.stderr, (
            "keldo-service-lint: cannot read a file -- /nonexistent.xml: No such file or directory\n"
            f"{found}:1: error: the id is not the name of the file, by which keldoctl looks for a "
            "service -- apache\n"))

    def test_a_files_name_is_escaped_also_where_it_cannot_be_read(self):
        self.assertEqual(lint("/\x1b[31m").stderr, "keldo-service-lint: cannot read a file -- "
                                                   "/\\x1b[31m: No such file or directory\n")

    def test_findings_are_1_also_where_other_files_are_clean(self):
        done = lint(self.write("a", definition("b")), self.write("c", definition("c")))
        self.assertEqual(done.returncode, 1)

    def test_a_warning_is_a_finding(self):
        self.assertEqual(lint(self.write("if", definition("if"))).returncode, 1)


class OutputTest(LintTestCase):
    """Where what there is to say cannot be written, the status tells."""

    def setUp(self):
        super().setUp()
        self.clean = self.write("c", definition("c"))
        self.full = self.enterContext(open("/dev/full", "wb"))

    def test_a_full_device(self):
        for arguments in (["--help"], ["--show", self.clean]):
            with self.subTest(arguments):
                done = lint(*arguments, stdout=self.full)
                self.assertEqual((done.returncode, done.stderr), (
                    2, "keldo-service-lint: cannot write to standard output -- "
                       "No space left on device\n"))

    def test_a_full_device_for_what_is_found(self):
        found = self.write("a", definition("b"))
        self.assertEqual(lint(found, stderr=self.full).returncode, 2)
        self.assertEqual(lint(self.clean, stderr=self.full).returncode, 0)

    def test_a_pipe_that_nobody_reads(self):
        reader, writer = os.pipe()
        os.close(reader)
        done = lint("--show", self.clean, stdout=writer)
        os.close(writer)
        self.assertEqual((done.returncode, done.stderr), (
            2, "keldo-service-lint: cannot write to standard output -- Broken pipe\n"))


class InheritanceTest(LintTestCase):
    """What a caller has left changes nothing of what is found."""

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

    def test_ignored_signals(self):
        self.check(lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))

    def test_closed_descriptors(self):
        for closed in ((0,), (1,), (2,), (0, 1), (0, 2), (1, 2), (0, 1, 2)):
            with self.subTest(closed):
                self.check(lambda: [os.close(stream) for stream in closed], closed)

    def test_a_file_that_may_not_grow(self):
        done = lint(self.clean, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE,
                                                                      (0, 0)))
        self.assertEqual(done.returncode, 2)
        self.assertRegex(done.stderr, "^keldo-service-lint: cannot write a file -- /tmp/")
        self.assertEqual(directories(), [])


def directories():
    """What runs have made for monit and not removed."""
    return sorted(pathlib.Path("/tmp").glob("keldo-service-lint.*"))


class OtherMonitTest(LintTestCase):
    """With something else in the place of monit."""

    UNTESTED = "keldo-service-lint: monit could not test a control file -- "

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
        self.monit.unlink(missing_ok=True)  # not written anew: it may be running
        self.monit.write_text(text, encoding="utf-8")
        self.monit.chmod(0o755)

    def check_untested(self, reason):
        done = lint(self.clean)
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (2, "", f"{self.UNTESTED}{reason}\n"))
        self.assertEqual(directories(), [])

    def test_what_cannot_be_executed(self):
        self.replace_monit("#!/nonexistent\n")
        self.check_untested("sh: 1: /usr/bin/monit: not found")

    def test_what_is_killed(self):
        self.replace_monit("#!/bin/sh\nkill -KILL $$\n")
        self.check_untested("Killed")

    def test_what_is_killed_under_a_shell_that_becomes_its_last_command(self):
        self.replace_monit("#!/bin/sh\nkill -KILL $$\n")
        shell = pathlib.Path("/usr/bin/sh")
        usual = shell.rename("/usr/bin/sh.usual")
        self.addCleanup(usual.replace, shell)
        shell.symlink_to("bash")
        done = lint(self.clean)
        self.assertEqual(done.returncode, 2)
        self.assertIn(self.UNTESTED, done.stderr)

    def test_what_fails_without_a_word(self):
        self.replace_monit("#!/bin/sh\nexit 3\n")
        self.check_untested("exit status 3")

    def test_what_complains_of_something_else(self):
        self.replace_monit("#!/bin/sh\necho The control file must be owned by you.\nexit 1\n")
        self.check_untested("The control file must be owned by you.")

    def test_a_signal_meanwhile_leaves_nothing_behind(self):
        self.replace_monit(f"#!/bin/sh\necho > ${{3%/*}}/id\necho > {self.started}\n"
                           f"read line < {self.gate}\n")
        for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM,
                       signal.SIGALRM, signal.SIGUSR1, signal.SIGUSR2, signal.SIGXCPU):
            with self.subTest(signal.Signals(number).name):
                run = subprocess.Popen([LINT, self.clean], stderr=subprocess.PIPE, preexec_fn=(
                    lambda: resource.setrlimit(resource.RLIMIT_CORE, (0, 0))))
                self.started.read_text(encoding="utf-8")
                [directory] = directories()
                self.assertEqual(sorted(path.name for path in directory.iterdir()),
                                 ["id", "monitrc"])
                run.send_signal(number)
                _, said = run.communicate()
                self.assertEqual((run.returncode, said, directories()), (-number, b"", []))
                self.gate.write_text("", encoding="utf-8")  # monit's stand-in ends


class UnknownUserTest(LintTestCase):
    def test_monit_that_does_not_work_for_a_user_says_nothing_of_the_file(self):
        self.folder.chmod(0o755)
        program = shutil.copy(LINT, self.folder)
        done = subprocess.run([program, self.write("c", definition("c"))], check=False,
                              capture_output=True, text=True, user=54321, group=54321,
                              extra_groups=[])
        self.assertEqual(done.returncode, 2)
        self.assertRegex(done.stderr, "monit could not test a control file -- .*getpwuid_r failed")


@uncounted
class MemoryTest(LintTestCase):
    """Where there is no memory, nothing is said of a file that is not so, and the status tells."""

    def run_with(self, number):
        """A run in which no more memory is to be had from an allocation on. Returns it, and the
        log of the library that makes it so."""
        log = self.folder / "log"
        log.unlink(missing_ok=True)
        done = lint(self.path, env={"PATH": PATH, "LD_PRELOAD": FAILING_CALLS,
                                    "FAULT_CALL": "malloc", "FAULT_NUMBER": str(number),
                                    "FAULT_FOREVER": "1", "FAULT_LOG": log})
        return done, log.read_text(encoding="utf-8").splitlines()

    def test_it_is_told_or_the_end(self):
        self.path = self.write("a", definition("b"))
        usual, log = self.run_with(0)
        self.assertEqual(usual.returncode, 1)
        [count] = [int(line.removeprefix("calls ")) for line in log if line.startswith("calls ")]
        step = count // 200
        for number in itertools.count(1, step):
            done, log = self.run_with(number)
            if "fault" not in log:  # there were not so many allocations
                break
            with self.subTest(number=number):
                self.assertEqual(directories(), [])
                said = set(done.stderr.splitlines()) - set(usual.stderr.splitlines())
                if done.returncode != -signal.SIGABRT:
                    self.assertEqual((done.returncode, said),
                                     (2, {"keldo-service-lint: std::bad_alloc"}))
                self.assertNotIn(str(self.path), "".join(said))
        self.assertGreater(number, count - 5 * step)


if __name__ == "__main__":
    unittest.main()
