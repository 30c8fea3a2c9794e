# SPDX-License-Identifier: MIT
"""The gate, with keldoctl-inspect replaced by programs that answer as a test needs."""

import contextlib
import os
import pathlib
import shlex
import signal
import socket
import stat
import subprocess
import unittest

from installed_views import InstalledViewsTestCase
from made_inspections import inspection, service
from panel import PATH
from views import INSPECTIONS, inspected

LOCK = pathlib.Path("/run/keldoctl-gate.lock")
LOG = pathlib.Path("/dev/log")
NOBODY = 65534
WELL, PROBLEMS, UNKNOWN, NO_DOCUMENT, UPGRADE = range(5)
USAGE, BUSY, NOT_PROPOSED, LIMIT = 64, 75, 77, 124
ONE_DOWN = inspected("one_down").decode()
ALL_WELL = inspected("all_well").decode()
REFUSED = "keldoctl-gate: only inspect and repair are accepted; see keldoctl-gate(8)\n"
CONTROLLER = "192.0.2.7 50212 192.0.2.80 22"


class GateTestCase(InstalledViewsTestCase):
    PROGRAM = "sbin/keldoctl-gate"

    def setUp(self):
        super().setUp()
        self.addCleanup(LOCK.unlink, missing_ok=True)
        LOG.unlink(missing_ok=True)
        self.log = self.enterContext(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM))
        self.log.bind(str(LOG))
        self.log.setblocking(False)
        self.lines = []
        self.addCleanup(LOG.unlink, missing_ok=True)
        self.fake_inspection("one_down", PROBLEMS)

    def fake_repair(self, commands=f"cat {INSPECTIONS}/all_well.xml"):
        """A keldoctl-inspect that finds one service down, and runs shell commands as a repair."""
        return self.fake_inspect(f'if [[ "$*" == *--repair* ]]; then {commands}\n'
                                 f"else cat {INSPECTIONS}/one_down.xml; exit {PROBLEMS}; fi")

    def forced(self, command, **options):
        """Runs the gate as the forced command of a key. Returns the status and both outputs."""
        env = {"SSH_ORIGINAL_COMMAND": command, "SSH_CONNECTION": CONTROLLER}
        return self.run_program(env=env | options.pop("env", {}), **options)

    def start(self, *arguments, **options):
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                   "stderr": subprocess.PIPE, "env": {"PATH": PATH}}
        return subprocess.Popen([self.prefix / self.PROGRAM, *arguments], **streams | options)

    def run_program(self, *arguments, **options):
        answer = super().run_program(*arguments, **options)
        self.read_log()  # the log's socket holds only a few lines
        return answer

    def read_log(self):
        with contextlib.suppress(BlockingIOError):
            while True:
                header, _, line = self.log.recv(1 << 17).decode().partition("]: ")
                self.assertRegex(header, r"\A<85>.* keldoctl-gate\[\d+\Z")  # authpriv.notice
                self.lines.append(line)

    def take_log(self):
        """The lines that the gate has written to the system log since the last call."""
        self.read_log()
        lines, self.lines = self.lines, []
        return lines

    def fifo(self, name):
        path = self.prefix / name
        os.mkfifo(path)
        return path


class WordsTest(GateTestCase):
    def test_accepted_words_reach_keldoctl_inspect(self):
        self.fake_repair()
        for words, calls in (
                ("inspect", [[]]),
                ("inspect --language=de-DE", [["--language=de-DE"]]),
                ("repair restart-service:web", [[], ["--repair", "restart-service:web"]]),
                ("repair --language=de-DE restart-service:web",
                 [["--language=de-DE"], ["--language=de-DE", "--repair", "restart-service:web"]]),
                ("repair restart-service:web restart-service:web",
                 [[], ["--repair", "restart-service:web"]])):
            answer = (WELL, ALL_WELL, "") if "repair" in words else (PROBLEMS, ONE_DOWN, "")
            for way, run in (("forced", lambda words=words: self.forced("keldoctl-gate " + words)),
                             ("sudo", lambda words=words: self.run_program(*words.split()))):
                with self.subTest(words, way=way):
                    self.assertEqual(run(), answer)
                    self.assertEqual(self.take_calls(), calls)

    def test_arguments_override_the_command_of_the_caller(self):
        self.assertEqual(self.run_program("inspect", env={"SSH_ORIGINAL_COMMAND": "x"})[0], PROBLEMS)

    def test_other_words_are_refused(self):
        many = " ".join(f"x{i}" for i in range(257))
        rows = ["", "inspects", "inspect x", "inspect --json", "inspect --help", "--help",
                "--version", "--help inspect", "inspect --language=de", "inspect --language=de_DE",
                "inspect --language=de-DE --language=de-DE", "inspect --language=de-DEx",
                "inspect --timeout=1", "repair", "repair --language=de-DE", "repair -x",
                "repair --repair web", "repair x --language=de-DE", f"repair {'x' * 201}",
                "repair " + many]
        quoting = ["inspect ", "  inspect", "inspect  --language=de-DE", "inspect\n", "inspect;id",
                   "inspect;", "inspect&", "inspect|id", "inspect >/x", "repair $(id)", "repair `id`",
                   "repair 'x'", 'repair "x"', "repair x\\", "repair x\ny", "repair x\ty", "repair *",
                   "repair x?", "repair [x]", "repair {x,y}", "repair ~", "repair x#", "repair x!",
                   "repair \u00e4", "repair x\u00a0y", "repair \ud800".encode(
                       "utf-8", "surrogatepass").decode("utf-8", "surrogateescape")]
        has_run = self.fake_inspect("")
        commands = [f"keldoctl-gate {words}" for words in rows + quoting] + [
            "inspect", "", "keldoctl-gate", "keldoctl-gates inspect", " keldoctl-gate inspect",
            "/usr/sbin/keldoctl-gate inspect", "sh -c 'keldoctl-gate inspect'", "KELDOCTL-GATE inspect",
            "/usr/lib/openssh/sftp-server", "keldoctl-gate\ninspect", "keldoctl-gate " + "a" * 130000]
        for command in commands:
            with self.subTest(command[:50], way="forced"):
                self.assertEqual(self.forced(command), (USAGE, "", REFUSED))
        for words in rows:
            # These two are for people, who are not behind a forced command.
            if words not in ("--help", "--version"):
                with self.subTest(words[:50], way="sudo"):
                    self.assertEqual(self.run_program(*words.split()), (USAGE, "", REFUSED))
        for argument in ("inspect ", "inspect --language=de-DE", "in\nspect", ""):
            with self.subTest(argument, way="one argument"):
                self.assertEqual(self.run_program(argument), (USAGE, "", REFUSED))
        for argument in ("", "x y", "x\n", "a;b", "x" * 201, "\u00e4"):
            with self.subTest(argument, way="one id"):
                self.assertEqual(self.run_program("repair", argument), (USAGE, "", REFUSED))
        self.assertFalse(has_run.exists())

    def test_version_and_help_are_printed(self):
        self.assertRegex(self.run_program("--version")[1], r"\Akeldoctl-gate \d+\.\d+\.\d+\n\Z")
        self.assertIn("\n   or: keldoctl-gate repair [--language=LANG_CODE] ID...\n",
                      self.run_program("--help")[1])

    def test_only_root_may_call_it(self):
        self.assertEqual(self.run_program("inspect", user=NOBODY, group=NOBODY, extra_groups=[]),
                         (NO_DOCUMENT, "", "keldoctl-gate: needs root\n"))

    def test_the_callers_surroundings_reach_no_program(self):
        record = self.prefix / "record"
        self.fake_repair(f'{{ tr "\\0" "\\n" </proc/$$/environ; umask; pwd; ls /proc/$$/fd; }}'
                         f" >{record}; cat {INSPECTIONS}/all_well.xml")
        evil = self.prefix / "evil"
        evil.write_text(f"touch {self.prefix}/evil-has-run\n", encoding="utf-8")
        evil.chmod(0o755)
        function = f"() {{ . {evil}; }}"
        foreign = dict.fromkeys(("LOCPATH", "GCONV_PATH", "HOME", "TMPDIR", "LD_LIBRARY_PATH",
                                 "XML_CATALOG_FILES", "LANG", "LC_MESSAGES", "A-B"), "/nowhere")
        for name in ("env", "flock", "logger", "xsltproc", "keldoctl-inspect"):
            (self.prefix / name).symlink_to(evil)
        self.assertEqual(self.forced(
            "keldoctl-gate repair restart-service:web", umask=0, env=foreign | {
                "BASH_ENV": str(evil), "ENV": str(evil), "PS4": f"$(. {evil})",
                "SHELLOPTS": "xtrace", "IFS": "-", "PATH": str(self.prefix),
                "SUDO_USER": "x", "BASH_FUNC_exec%%": function, "BASH_FUNC_env%%": function}),
            (WELL, ALL_WELL, ""))
        self.assertFalse((self.prefix / "evil-has-run").exists())
        *environment, umask, directory, fds = record.read_text(encoding="utf-8").split("\n", 8)
        self.assertEqual(sorted(environment), [
            "HOME=/root", "LC_ALL=C.UTF-8", "LOGNAME=root", f"PATH={PATH}", "SHELL=/bin/sh",
            "USER=root"])
        self.assertEqual((umask, directory), ("0022", "/"))
        self.assertLessEqual({"0", "1", "2"}, set(fds.split()))


class RepairTest(GateTestCase):
    def refuse(self, shown, *ids):
        self.assertEqual(self.run_program("repair", *ids), (
            NOT_PROPOSED, "", f"keldoctl-gate: {shown} is not proposed: nothing is repaired\n"))
        self.assertEqual(self.take_calls(), [[]])

    def test_an_id_that_is_not_proposed_is_refused_and_nothing_is_carried_out(self):
        self.fake_repair()
        for ids, shown in ((["restart-service:mail"], "restart-service:mail"),
                           (["restart-service:web", "restart-service:mail"], "restart-service:mail"),
                           (["restart-service:../../tmp/x"], "restart-service:../../tmp/x"),
                           (["restart-service:we"], "restart-service:we"),
                           (["start-service:web"], "start-service:web"), (["@"], "@")):
            with self.subTest(ids):
                self.refuse(shown, *ids)

    def test_each_proposed_action_is_accepted_whether_default_or_not(self):
        down = service("web", "down")
        solutions = ('<solutions><action id="a" default="true"/><action id="b"/>'
                     '<action id="c&#10;d"/></solutions>')
        problem = down.problem.replace("</problem>", solutions + "</problem>")
        self.fake_inspection(inspection([down._replace(problem=problem)]), PROBLEMS)
        for words in (["a"], ["b"], ["b", "a"]):
            with self.subTest(words):
                self.assertEqual(self.run_program("repair", *words)[0], PROBLEMS)
                self.assertEqual(self.take_calls(), [[], ["--repair", *words]])
        for name in ("c", "d"):  # lines of an id that is not plain
            with self.subTest(name):
                self.refuse(name, name)

    def test_an_action_outside_a_problem_is_not_proposed(self):
        self.fake_inspection("repaired", WELL)
        self.refuse("restart-service:web", "restart-service:web")

    def test_nothing_is_carried_out_without_a_fresh_inspection(self):
        for commands, status in ((f"exit {NO_DOCUMENT}", NO_DOCUMENT), ("echo x", NO_DOCUMENT),
                                 (f"cat {INSPECTIONS}/upgrade.xml; exit {UPGRADE}", NOT_PROPOSED)):
            with self.subTest(commands):
                self.fake_inspect(commands)
                self.assertEqual(self.run_program("repair", "restart-service:web")[:2], (status, ""))
                self.assertEqual(self.take_calls(), [[]])
        self.fake_repair()
        self.have_programs({"xsltproc": None})
        self.assertEqual(self.run_program("repair", "restart-service:web"), (
            NO_DOCUMENT, "", "keldoctl-gate: the proposed repairs cannot be read\n"))
        self.assertEqual(self.take_calls(), [[]])


class AnswerTest(GateTestCase):
    def test_the_status_is_that_of_keldoctl_inspect(self):
        for name, status in (("all_well", WELL), ("one_down", PROBLEMS), ("disk_full", UNKNOWN),
                             ("upgrade", UPGRADE)):
            with self.subTest(name):
                self.fake_inspection(name, status)
                self.assertEqual(self.run_program("inspect"), (status, inspected(name).decode(), ""))

    def test_only_a_whole_inspection_is_passed_on(self):
        well = INSPECTIONS / "all_well.xml"
        for commands, reason in (
                ("true", "printed no inspection"),
                ("echo text", "printed no inspection"),
                ("head -c 99999 /dev/urandom", "printed no inspection"),
                (f"head -n -1 {well}", "printed no inspection"),
                (f"echo; cat {well}", "printed no inspection"),
                (f"cat {well}; echo x", "printed no inspection"),
                (f"tail -n +2 {well}", "printed no inspection"),
                (f'sed "1a <!DOCTYPE inspection>" {well}', "printed no inspection"),
                (f"cat {well}; exit 3", "could make no document"),
                (f"cat {well}; exit 64", "ended with status 64"),
                (f"cat {well}; exit 124", "ended with status 124"),
                (f"cat {well}; kill -KILL $$", "ended with status 137")):
            with self.subTest(commands):
                self.fake_inspect(commands)
                self.assertEqual(self.run_program("inspect"),
                                 (NO_DOCUMENT, "", f"keldoctl-gate: keldoctl-inspect {reason}\n"))
        self.inspect.unlink()
        self.assertEqual(self.run_program("inspect"), (
            NO_DOCUMENT, "", "keldoctl-gate: keldoctl-inspect is not installed\n"))

    def test_messages_of_keldoctl_inspect_are_not_printed(self):
        self.fake_inspect(f"echo x >&2; cat {INSPECTIONS}/all_well.xml")
        self.assertEqual(self.run_program("inspect"), (WELL, ALL_WELL, ""))

    def test_a_document_of_up_to_1_mib_is_passed_on(self):
        head, tail = ALL_WELL.encode().split(b"<keldoctl", 1)
        for length, is_accepted in ((32768, True), (32769, True), (1048576, True), (1048577, False)):
            with self.subTest(length):
                document = head + b" " * (length - len(ALL_WELL.encode())) + b"<keldoctl" + tail
                self.fake_inspection(document)
                self.assertEqual(self.run_program("inspect"), (
                    (WELL, document.decode(), "") if is_accepted else
                    (NO_DOCUMENT, "",
                     "keldoctl-gate: the inspection is longer than 1048576 bytes\n")))

    def test_output_that_cannot_be_written_gives_status_3_and_is_logged(self):
        reader, broken = os.pipe()
        os.close(reader)
        self.addCleanup(os.close, broken)
        message = "keldoctl-gate: the inspection cannot be written\n"
        for length in (0, 99999):
            padded = inspected("one_down").replace(b"<summary", b" " * length + b"<summary")
            self.fake_inspection(padded, PROBLEMS)
            with open("/dev/full", "wb") as full:
                for name, output in (("full", full), ("broken", broken)):
                    with self.subTest(name, length=length):
                        self.assertEqual(self.run_program("inspect", stdout=output),
                                         (NO_DOCUMENT, "", message))
                        self.assertEqual(self.take_log(), [
                            '"inspect" status 3 (the inspection cannot be written); from this host'])

    def test_a_call_is_logged_even_if_the_controller_has_gone(self):
        reader, broken = os.pipe()
        os.close(reader)
        self.addCleanup(os.close, broken)
        for words in (["inspect"], ["x"]):
            with self.subTest(words):
                with self.start(*words, stdout=broken, stderr=broken) as gate:
                    pass
                self.assertEqual(gate.returncode, NO_DOCUMENT if words == ["inspect"] else USAGE)
                self.assertEqual(len(self.take_log()), 1)

    def test_a_caller_that_reads_nothing_is_given_up_and_delays_no_other(self):
        self.fake_inspection(inspected("one_down").replace(b"<summary", b" " * 999999 + b"<summary"),
                             PROBLEMS)
        reader, full = os.pipe()
        self.addCleanup(os.close, reader)
        with self.start("inspect", stdout=full) as gate:
            os.close(full)
            os.read(reader, 1)  # the gate prints
            self.edit_program("lock_seconds=10", "lock_seconds=0")
            self.assertEqual(self.run_program("inspect")[0], PROBLEMS)
            gate.terminate()
        self.edit_program("print_seconds=60", "print_seconds=0.01")
        reader, full = os.pipe()
        self.addCleanup(os.close, reader)
        with self.start("inspect", stdout=full) as gate:
            os.close(full)
        self.assertEqual(gate.returncode, NO_DOCUMENT)

    def test_only_a_closed_standard_output_prevents_a_repair(self):
        for closed in ([0], [2], [0, 2]):
            with self.subTest(closed):
                self.assertEqual(self.run_program(
                    "inspect", preexec_fn=lambda closed=closed: [os.close(fd) for fd in closed]),
                    (PROBLEMS, ONE_DOWN, ""))
        has_run = self.fake_repair()
        has_run.unlink(missing_ok=True)
        for closed in ([1], [0, 1], [0, 1, 2]):
            with self.subTest(closed):
                self.assertEqual(self.run_program(
                    "repair", "restart-service:web",
                    preexec_fn=lambda closed=closed: [os.close(fd) for fd in closed])[:2],
                    (NO_DOCUMENT, ""))
        self.assertFalse(has_run.exists())


class LockTest(GateTestCase):
    def test_one_caller_is_served_at_a_time(self):
        inside = self.prefix / "inside"
        self.fake_inspect(f"mkdir {inside} || exit 99; cat {INSPECTIONS}/one_down.xml;"
                          f" rmdir {inside}; exit {PROBLEMS}")
        gates = [self.start("inspect") for _ in range(8)]
        for gate in gates:
            output, errors = gate.communicate()
            self.assertEqual((gate.returncode, output.decode(), errors), (PROBLEMS, ONE_DOWN, b""))

    def test_a_caller_is_refused_if_another_is_served_for_too_long(self):
        started, go = self.fifo("started"), self.fifo("go")
        self.fake_inspect(f"echo >{started}; read -r <{go}; cat {INSPECTIONS}/one_down.xml;"
                          f" exit {PROBLEMS}")
        self.edit_program("lock_seconds=10", "lock_seconds=0")
        busy = (BUSY, "", "keldoctl-gate: another caller is being served\n")
        with self.start("inspect") as gate:
            started.read_text(encoding="utf-8")
            self.assertEqual(self.run_program("inspect"), busy)
            # The lock belongs to keldoctl-inspect as well.
            gate.kill()
            gate.wait()
            self.assertEqual(self.run_program("repair", "restart-service:web"), busy)
            go.write_text("\n", encoding="utf-8")
            gate.communicate()  # until keldoctl-inspect has closed its output
        self.assertEqual(len(self.take_calls()), 1)
        self.fake_inspection("one_down", PROBLEMS)
        self.edit_program("lock_seconds=0", "lock_seconds=10")
        self.assertEqual(self.run_program("inspect")[0], PROBLEMS)

    def test_only_root_can_hold_the_lock(self):
        self.run_program("inspect", umask=0)
        self.assertEqual(stat.S_IMODE(LOCK.stat().st_mode), 0o600)

    def test_nothing_runs_if_the_lock_cannot_be_taken(self):
        has_run = self.fake_inspect("")
        LOCK.mkdir()
        self.assertEqual(self.run_program("inspect"), (
            NO_DOCUMENT, "", f"keldoctl-gate: cannot open {LOCK}\n"))
        LOCK.rmdir()
        self.have_programs({"flock": None})
        self.assertEqual(self.run_program("inspect"), (
            NO_DOCUMENT, "", f"keldoctl-gate: cannot lock {LOCK}\n"))
        self.assertFalse(has_run.exists())


class LimitTest(GateTestCase):
    """The processes of a test inherit the write end of the pipe `life`. Its end of file shows that all
    of them have ended."""

    def setUp(self):
        super().setUp()
        self.event = self.fifo("event")

    def open_life(self):
        self.life, self.end = os.pipe()
        self.addCleanup(os.close, self.life)

    def reach_limit(self):
        """Makes the gate reach its time limit when a line is written to the FIFO `event`."""
        self.edit_program("    waiter=$!\n",
                          f"    waiter=$!\n    read -r _ <{self.event}\n    limit=0.001\n")

    def run_to_the_end_of_all(self, *words):
        """Runs the gate. Returns its answer when all processes that hold `end` are gone."""
        answer = self.run_program(*words, pass_fds=[self.end])
        os.close(self.end)
        self.assertEqual(os.read(self.life, 1), b"")
        return answer

    def test_nothing_is_left_of_an_inspection(self):
        self.edit_program("grace_seconds=5", "grace_seconds=0.01")
        self.reach_limit()
        hang = "exec sleep infinity"
        group = "import os, time; os.setpgid(0, 0); open({!r}, 'w').write('\\n'); time.sleep(1e6)"
        for name, commands in (
                ("hangs", f"echo >{self.event}; {hang}"),
                ("ignores SIGTERM", f"trap '' TERM; echo >{self.event}; {hang}"),
                ("is stopped", f"echo >{self.event}; kill -STOP $$"),
                ("has closed its output", f"exec >&-; echo >{self.event}; {hang}"),
                ("prints all the time", f"echo >{self.event}; exec yes"),
                ("has a child that ignores SIGTERM",
                 f"(trap '' TERM; echo >{self.event}; {hang}) & wait"),
                ("has a child in another group",
                 f'trap "" TERM; python3 -c {shlex.quote(group.format(str(self.event)))} & wait'),
                ("has an odd name", f"exec -a 'a) R 1 (' bash -c 'trap \"\" TERM; "
                                    f"echo >{self.event}; read <>{self.fifo('never')}'")):
            with self.subTest(name):
                self.fake_inspect(commands)
                self.open_life()
                status, output, errors = self.run_to_the_end_of_all("inspect")
                self.assertEqual(output, "")
                if name != "prints all the time":  # its document may also be too long
                    self.assertEqual((status, errors), (
                        LIMIT, "keldoctl-gate: keldoctl-inspect did not end within 0.001 s\n"))

    def test_keldoctl_inspect_can_remove_its_files(self):
        file = self.prefix / "its-file"
        self.reach_limit()
        self.fake_inspect(f"trap 'rm {file}; exit' TERM; touch {file}; echo >{self.event};"
                          " read <>" + str(self.fifo("never")))
        self.assertEqual(self.run_program("inspect")[0], LIMIT)
        self.assertFalse(file.exists())

    def test_a_daemon_that_a_repair_has_started_lives_on(self):
        self.edit_program("grace_seconds=5", "grace_seconds=0.01")
        # Only the limit of the repair is reached.
        self.edit_program('        ask "$repair_seconds"', '        is_repair=yes\n'
                          '        ask "$repair_seconds"')
        self.edit_program("    waiter=$!\n", "    waiter=$!\n    if [[ ${is_repair-} ]]; then"
                          f" read -r _ <{self.event}; limit=0.001; fi\n")
        ask, answer = self.fifo("ask"), self.fifo("answer")
        for name, start in (("left the session", "setsid bash -c {} &"),
                            ("has no parent", "(bash -c {} &)")):
            with self.subTest(name):
                self.open_life()
                daemon = f"exec {self.end}>&-; echo >{self.event}; read -r word <{ask};" \
                         f" echo $word >{answer}"
                self.fake_repair(f"exec >/dev/null; trap '' TERM;"
                                 f" {start.format(shlex.quote(daemon))}\nexec sleep infinity")
                self.assertEqual(self.run_to_the_end_of_all("repair", "restart-service:web"), (
                    LIMIT, "", "keldoctl-gate: keldoctl-inspect did not end within 0.001 s\n"))
                ask.write_text("alive\n", encoding="utf-8")
                self.assertEqual(answer.read_text(encoding="utf-8"), "alive\n")

    def test_a_signal_ends_the_gate_and_keldoctl_inspect(self):
        self.fake_inspect(f"echo >{self.event}; exec sleep infinity")
        for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
            with self.subTest(number):
                self.open_life()
                with self.start("inspect", pass_fds=[self.end]) as gate:
                    os.close(self.end)
                    self.event.read_text(encoding="utf-8")
                    gate.send_signal(number)
                    self.assertEqual(os.read(self.life, 1), b"")
                    self.assertEqual(gate.stdout.read(), b"")
                self.assertEqual(gate.returncode, -number)
                self.assertEqual(self.take_log(), [
                    '"inspect" ended by a signal or a failure; from this host'])

    def test_a_second_signal_leaves_no_process_either(self):
        # The second signal comes while the processes are stopped.
        self.edit_program("    freeze\n    # SIGTERM lets",
                          "    freeze\n    kill -TERM $$\n    # SIGTERM lets")
        self.fake_inspect(f"echo >{self.event}; exec sleep infinity")
        self.open_life()
        with self.start("inspect", pass_fds=[self.end]) as gate:
            os.close(self.end)
            self.event.read_text(encoding="utf-8")
            gate.terminate()
            self.assertEqual(os.read(self.life, 1), b"")


class LogTest(GateTestCase):
    def test_each_call_is_in_the_system_log(self):
        self.fake_repair()
        ssh = "from 192.0.2.7 port 50212"
        for command, lines in (
                ("keldoctl-gate inspect", ["status 1"]),
                ("keldoctl-gate repair restart-service:web", ["begins", "status 0"]),
                ("keldoctl-gate repair x",
                 ["status 77 (x is not proposed: nothing is repaired)"]),
                ("id", ["status 64 (only inspect and repair are accepted; see keldoctl-gate(8))"])):
            with self.subTest(command):
                self.forced(command)
                self.assertEqual(self.take_log(), [f'"{command}" {line}; {ssh}' for line in lines])

    def test_the_log_names_who_asks(self):
        self.fake_inspection("all_well")
        for env, who in (({}, "from this host"),
                         ({"SUDO_USER": "fleet"}, 'from "fleet" by sudo'),
                         ({"SSH_CONNECTION": "2001:db8::7 5 ::1 22", "SUDO_USER": "x"},
                          "from 2001:db8::7 port 5")):
            with self.subTest(env):
                self.run_program("inspect", env=env)
                self.assertEqual(self.take_log(), [f'"inspect" status 0; {who}'])

    def test_no_caller_can_forge_a_line(self):
        evil = 'x"\n<85>Nov 22 08:00:00 sshd[1]: y\r\x1b[2J\x7f\u00e4' + "z" * 99999
        for kind, env in (("words", {"SSH_ORIGINAL_COMMAND": evil}), ("sudo", {"SUDO_USER": evil}),
                          ("address", {"SSH_CONNECTION": evil})):
            with self.subTest(kind):
                self.run_program(env=env)
                [line] = self.take_log()
                self.assertRegex(line, r"\A[ -~]{1,1400}\Z")
                self.assertEqual(line.count('"'), 4 if kind == "sudo" else 2)

    def test_the_answer_is_the_same_without_a_system_log(self):
        LOG.unlink()
        self.assertEqual(self.run_program("inspect"), (PROBLEMS, ONE_DOWN, ""))

    def test_the_answer_is_the_same_if_the_system_log_hangs(self):
        self.edit_program("log_seconds=5", "log_seconds=0.01")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as writer:
            writer.setblocking(False)
            with contextlib.suppress(BlockingIOError):
                while True:
                    writer.sendto(b"<85>x keldoctl-gate[1]: full", str(LOG))
        self.assertEqual(self.run_program("inspect"), (PROBLEMS, ONE_DOWN, ""))
        self.assertEqual(set(self.take_log()), {"full"})


if __name__ == "__main__":
    unittest.main()
