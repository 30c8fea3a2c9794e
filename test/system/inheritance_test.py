# SPDX-License-Identifier: MIT
"""A run with unusual descriptors, signals, limits, environment or working directory.

Whatever a run inherits, it prints a complete report, or it prints nothing and ends abnormally. It
leaves no control file and no process behind.
"""

import contextlib
import fcntl
import os
import resource
import select
import shutil
import signal
import socket
import sys
import tempfile
import unittest
import xml.etree.ElementTree

from counting import uncounted
from panel import KELDOCTL, WEB_DOWN, Panel, down_report, report, restart, service_down
from subreaper import become_subreaper

SAY_WEB_DOWN = f"echo '{WEB_DOWN}'\n"
STANDARD_STREAMS = ((0,), (1,), (2,), (0, 1), (0, 2), (1, 2), (0, 1, 2))


class InheritanceTest(unittest.TestCase):
    """The service web is down, and its repair prints `repaired`."""

    def setUp(self):
        become_subreaper()
        self.panel = Panel()
        self.panel.remove_definitions()
        self.repair("echo repaired")
        self.panel.write_program("monit", "#!/bin/sh\n" + SAY_WEB_DOWN)

    def repair(self, commands):
        self.panel.write_service("web", start=commands)

    def repaired(self, log="repaired\n", status="ok"):
        """The report of a run whose repair of web did not help."""
        return report([service_down("web")], [restart("web", status=status, log=log)])

    def run_repair(self, preexec=None, **options):
        done = self.panel.run("--repair", "restart-service:web", preexec_fn=preexec, **options)
        self.check_nothing_left()
        return done

    def check(self, preexec=None, log="repaired\n", **options):
        """Checks that a run is complete."""
        done = self.run_repair(preexec, **options)
        self.assertEqual((done.returncode, done.stdout), (0, self.repaired(log)))

    def check_whole_or_nothing(self, preexec=None, **options):
        """Checks that a run prints a whole report, or ends abnormally and prints nothing."""
        done = self.run_repair(preexec, **options)
        if done.returncode == 0:
            self.assertEqual(xml.etree.ElementTree.fromstring(done.stdout).tag, "keldoctl")
        else:
            self.assertEqual(done.stdout, b"")
        return done.returncode

    def check_nothing_left(self):
        self.assertEqual(os.listdir(self.panel.root / "tmp"), [])
        with self.assertRaises(ChildProcessError):
            os.waitpid(-1, os.WNOHANG)


class DescriptorTest(InheritanceTest):
    def test_a_run_is_complete_whichever_streams_are_closed(self):
        for closed in STANDARD_STREAMS:
            with self.subTest(closed):
                self.repair("echo repaired | tee /usr/local/kvr/repaired")
                done = self.run_repair(lambda: [os.close(stream) for stream in closed])
                self.assertEqual(done.returncode, 0)
                self.assertEqual(done.stdout, b"" if 1 in closed else self.repaired())
                self.assertEqual(done.stderr, b"")
                os.unlink("/usr/local/kvr/repaired")  # the repair was carried out

    def test_a_message_for_a_closed_stream_is_dropped(self):
        for closed in STANDARD_STREAMS:
            with self.subTest(closed):
                done = self.panel.run(preexec_fn=lambda: [os.close(stream) for stream in closed])
                self.assertEqual(done.returncode, 1)
                self.assertEqual(done.stdout, b"")
                self.assertEqual(done.stderr != b"", 2 not in closed)

    def test_a_daemon_does_not_inherit_other_descriptors_of_the_caller(self):
        self.repair("setsid sh -c 'ls -l /proc/$$/fd | grep -c /usr/local/kvr/caller' & wait")
        with open("/usr/local/kvr/caller", "wb") as low:
            high = fcntl.fcntl(low, fcntl.F_DUPFD, 200)
            self.check(log="0\n", pass_fds=(low.fileno(), high))
            os.close(high)

    def test_a_run_is_complete_if_standard_input_cannot_be_read(self):
        with open("/dev/null", "wb") as written:
            self.check(stdin=written)
        directory = os.open("/", os.O_RDONLY)
        self.check(stdin=directory)
        os.close(directory)

    def test_a_run_is_complete_with_one_socket_for_all_streams(self):
        ours, theirs = socket.socketpair()
        with ours, theirs:
            done = self.run_repair(stdin=theirs, stdout=theirs, stderr=theirs)
            theirs.close()
            with ours.makefile("rb") as output:
                self.assertEqual((done.returncode, output.read()), (0, self.repaired()))

    def test_a_run_is_complete_on_a_full_pipe_that_does_not_block(self):
        self.repair("head -c 1000000 /dev/zero | tr '\\0' x")
        os.mkfifo("/usr/local/kvr/trace")
        reader, writer = os.pipe()
        os.set_blocking(writer, False)
        filling = os.write(writer, b"-" * (1 << 20))  # fills the pipe
        strace = ["strace", "-qq", "-e", "trace=write", "-o", "/usr/local/kvr/trace", KELDOCTL]
        run = self.panel.start("--repair", "restart-service:web", program=strace, stdout=writer,
                               stderr=None)
        os.close(writer)
        with open(reader, "rb") as output, open("/usr/local/kvr/trace", encoding="utf-8") as trace:
            # Reads only after the run has found the pipe full.
            self.assertTrue(any("EAGAIN" in line for line in trace))
            received = output.read()
            trace.read()
        self.assertEqual(run.wait(), 0)
        self.assertTrue(received == b"-" * filling + self.repaired("x" * 1000000))

    def test_a_pipe_that_nobody_reads_is_no_failure(self):
        reader, writer = os.pipe()
        os.close(reader)
        self.assertEqual(self.run_repair(stdout=writer).returncode, 0)
        os.close(writer)

    def test_a_full_device_is_no_failure(self):
        with open("/dev/full", "wb") as full:
            self.assertEqual(self.run_repair(stdout=full).returncode, 0)

    def test_a_file_size_limit_cuts_the_report(self):
        for size in (0, 100):
            with self.subTest(size), tempfile.TemporaryFile() as file:
                self.run_repair(limit(resource.RLIMIT_FSIZE, size), stdout=file)
                file.seek(0)
                self.assertEqual(file.read(), self.repaired()[:size])


class SignalTest(InheritanceTest):
    def child_masks(self, kind, preexec):
        """The signals in a `Sig` row of /proc of a repair, the upgrade tool and the monitor."""
        show = f"grep ^Sig{kind} /proc/self/status >> /usr/local/kvr/masks"  # a bit for each
        self.repair(show)
        self.panel.upgrade_tool(0, commands=show)
        self.panel.write_program("monit", f"#!/bin/sh\n{show}\n")
        self.run_repair(preexec)
        with open("/usr/local/kvr/masks", encoding="utf-8") as file:
            masks = [int(line.split()[1], 16) for line in file]
        os.unlink("/usr/local/kvr/masks")
        return [{number for number in range(1, 32) if mask >> (number - 1) & 1} for mask in masks]

    def test_a_run_is_complete_if_the_caller_ignores_signals_that_it_needs(self):
        for number in (signal.SIGCHLD, signal.SIGPIPE, signal.SIGXFSZ):
            with self.subTest(number):
                self.check(lambda: signal.signal(number, signal.SIG_IGN))

    def test_commands_do_not_inherit_ignored_signals_that_a_run_needs(self):
        def ignore():
            for number in (signal.SIGCHLD, signal.SIGPIPE, signal.SIGXFSZ):
                signal.signal(number, signal.SIG_IGN)
        self.assertEqual(self.child_masks("Ign", ignore), [set()] * 3)

    def test_a_run_is_complete_if_all_signals_are_blocked(self):
        self.check(block_all)

    def test_commands_block_no_signal(self):
        self.assertEqual(self.child_masks("Blk", block_all), [set()] * 3)

    def test_a_run_is_complete_if_all_signals_are_ignored(self):
        def ignore():
            for number in set(range(1, 32)) - {signal.SIGKILL, signal.SIGSTOP}:
                signal.signal(number, signal.SIG_IGN)
        self.check(ignore)

    def test_commands_inherit_an_ignored_hangup(self):
        self.assertEqual(self.child_masks("Ign", ignore_hangup), [{signal.SIGHUP}] * 3)


def block_all():
    signal.pthread_sigmask(signal.SIG_BLOCK, signal.valid_signals())


def ignore_hangup():
    signal.signal(signal.SIGHUP, signal.SIG_IGN)


class EndedRunTest(InheritanceTest):
    """A run that gets a signal while the monitor or a repair works."""

    STARTED, GATE = "/usr/local/kvr/started", "/usr/local/kvr/gate"
    WAIT = f"echo > {STARTED}; read line < {GATE}\n"

    def setUp(self):
        super().setUp()
        for path in (self.STARTED, self.GATE):
            os.mkfifo(path)

    @contextlib.contextmanager
    def waiting(self, preexec=None):
        """A run whose monitor or repair waits until the block ends."""
        run = self.panel.start("--repair", "restart-service:web", preexec_fn=preexec)
        with open(self.STARTED, "rb") as started:
            started.read()
        yield run
        with open(self.GATE, "wb"):
            pass

    def reap(self):
        """Reaps the child that an ended run leaves, which waits for the command of the run."""
        with contextlib.suppress(ChildProcessError):
            os.waitpid(-1, 0)

    def check_ended(self, number, preexec=None):
        with self.waiting(preexec) as run:
            run.send_signal(number)
        output = run.communicate()
        self.reap()
        left = os.listdir(self.panel.root / "tmp")
        self.assertEqual((run.returncode, output, left), (-number, (b"", b""), []))

    def test_a_signal_while_the_monitor_runs_leaves_no_control_file(self):
        self.panel.write_program("monit", "#!/bin/sh\ntest -s \"$2\" || exit\n" + self.WAIT)
        for name in ("HUP", "INT", "QUIT", "USR1", "USR2", "ALRM", "TERM", "XCPU", "IO", "VTALRM",
                     "PROF", "PWR", "STKFLT", "RTMIN", "RTMAX"):
            number = getattr(signal, f"SIG{name}", 16)  # some versions of Python lack SIGSTKFLT
            with self.subTest(name):
                self.check_ended(number, limit(resource.RLIMIT_CORE, 0))

    def test_a_signal_that_the_caller_blocked_leaves_no_control_file(self):
        self.panel.write_program("monit", "#!/bin/sh\n" + self.WAIT)
        self.check_ended(signal.SIGTERM, block_all)

    def test_the_callers_pipes_close_with_the_run_while_the_monitor_still_runs(self):
        self.panel.write_program("monit", "#!/bin/sh\n" + self.WAIT)
        with self.waiting() as run:
            run.kill()
            run.wait()
            pipes = [run.stdout.fileno(), run.stderr.fileno()]
            poll = select.poll()
            for pipe in pipes:
                poll.register(pipe, 0)
            ended = poll.poll(0)
        run.communicate()
        self.reap()
        self.assertEqual(ended, [(pipe, select.POLLHUP) for pipe in pipes])

    def test_a_signal_ends_a_run_while_a_repair_runs(self):
        self.repair(self.WAIT)
        self.check_ended(signal.SIGTERM)

    def test_a_signal_that_the_caller_ignores_does_not_end_the_run(self):
        self.panel.write_program("monit", "#!/bin/sh\n" + self.WAIT + SAY_WEB_DOWN)
        with self.waiting(ignore_hangup) as run:
            run.send_signal(signal.SIGHUP)
        stdout, _ = run.communicate()
        self.assertEqual((run.returncode, stdout), (0, self.repaired()))
        self.check_nothing_left()


class LimitTest(InheritanceTest):
    def test_with_few_descriptors_a_report_is_whole_or_absent(self):
        ends = [self.check_whole_or_nothing(limit(resource.RLIMIT_NOFILE, count))
                for count in range(3, 17)]
        self.assertEqual(ends[-1], 0)

    @uncounted
    def test_a_run_is_complete_if_files_may_not_grow(self):
        self.check(limit(resource.RLIMIT_FSIZE, 0))

    @uncounted
    def test_a_command_that_exceeds_the_file_size_limit_is_killed(self):
        self.repair("head -c 1 /dev/zero > /usr/local/kvr/file; kill -l $?")
        self.check(limit(resource.RLIMIT_FSIZE, 0), log="File size limit exceeded\nXFSZ\n")

    def test_a_repair_for_which_no_process_can_be_made_has_failed(self):
        # Root is exempt from the limit, so another user runs keldoctl and may write to the folders.
        user = 54321
        for directory, _, _ in os.walk(self.panel.root):
            os.chmod(directory, 0o777)
        program = shutil.copy(KELDOCTL, self.panel.root)

        def as_user():
            os.setgroups([])
            os.setgid(user)
            resource.setrlimit(resource.RLIMIT_NPROC, (1, 1))
            os.setuid(user)
        done = self.run_repair(as_user, program=[program])
        self.assertEqual((done.returncode, done.stdout), (0, report(actions=[
            restart("web", status="error", log="keldoctl: failed to create a child process")])))

    def ends_with_memory(self, step):
        """The exit statuses of runs with increasing memory. The first run has too little to load
        the program; the last three are complete."""
        unloaded, enough = 1 << 20, 1 << 28
        while enough - unloaded > 1 << 17:
            middle = (unloaded + enough) // 2
            if self.run_repair(limit(resource.RLIMIT_AS, middle)).returncode == 127:
                unloaded = middle
            else:
                enough = middle
        ends = []
        while ends[-3:] != [0] * 3:
            size = unloaded + len(ends) * step
            ends.append(self.check_whole_or_nothing(limit(resource.RLIMIT_AS, size)))
        return ends

    @uncounted
    def test_with_little_memory_a_report_is_whole_or_absent(self):
        ends = self.ends_with_memory(1 << 15)
        self.assertEqual(ends[0], 127)
        self.assertLessEqual(set(ends), {127, 1, -signal.SIGABRT, 0})

    def test_with_little_memory_a_report_with_a_large_log_is_whole_or_absent(self):
        self.repair("head -c 10000000 /dev/zero | tr '\\0' x")
        ends = self.ends_with_memory(5 << 20)
        self.assertEqual(set(ends), {127, -signal.SIGABRT, 0})

    def test_with_a_small_stack_a_report_is_whole_or_absent(self):
        ends = [self.check_whole_or_nothing(limit(resource.RLIMIT_STACK, 4096 << step))
                for step in range(10)]
        self.assertEqual(ends[-1], 0)

    def test_the_answer_of_a_monitor_that_exceeds_its_cpu_time_counts(self):
        # The limit is the kernel's shortest, a second of computing time.
        self.panel.write_program("monit", "#!/bin/sh\nulimit -c 0\n" + SAY_WEB_DOWN
                                 + "while :; do :; done\n")
        self.check(limit(resource.RLIMIT_CPU, 1))


def limit(kind, value):
    """Returns a function that sets a resource limit, soft and hard."""
    return lambda: resource.setrlimit(kind, (value, value))


class PlaceTest(InheritanceTest):
    def test_the_umask_does_not_change_the_mode_of_the_control_file(self):
        self.panel.write_program("monit", "#!/bin/sh\nstat -c %a $2 > /usr/local/kvr/mode\n"
                                 + SAY_WEB_DOWN)
        for mask in (0, 0o077, 0o777):
            with self.subTest(mask):
                self.repair("umask")
                self.check(umask=mask, log=f"{mask:04o}\n")
                with open("/usr/local/kvr/mode", encoding="utf-8") as mode:
                    self.assertEqual(mode.read(), "600\n")
                os.unlink("/usr/local/kvr/mode")

    def test_a_removed_working_directory_is_replaced_by_the_root(self):
        def remove():
            os.mkdir("/usr/local/kvr/gone")
            os.chdir("/usr/local/kvr/gone")
            os.rmdir("/usr/local/kvr/gone")
        self.repair("pwd -P; sh -c pwd")
        self.check(remove, log="/\n/\n")

    def test_an_existing_working_directory_is_kept(self):
        self.repair("pwd")
        self.check(cwd="/usr/local", log="/usr/local\n")


# Arguments: PROGRAM COUNT ARGUMENT... VARIABLE...
# Executes PROGRAM with COUNT arguments and exactly these variables.
EXECUTE = """
import ctypes, os, sys
count = int(sys.argv[2])
words = [os.fsencode(word) for word in sys.argv[3:]]
array = lambda texts: (ctypes.c_char_p * (len(texts) + 1))(*texts, None)
ctypes.CDLL(None).execve(os.fsencode(sys.argv[1]), array(words[:count]), array(words[count:]))
"""


class ArgumentTest(InheritanceTest):
    def executed(self, arguments, environment=()):
        program = [sys.executable, "-IS", "-c", EXECUTE, KELDOCTL, str(len(arguments)),
                   *arguments, *environment]
        done = self.panel.run(program=program)
        self.check_nothing_left()
        return done

    def test_without_a_program_name_messages_begin_with_a_dot(self):
        message = b".: missing command\nTry `. --help` for more information.\n"
        for arguments in ([], [""]):
            with self.subTest(arguments):
                done = self.executed(arguments)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (1, b"", message))

    def test_a_run_is_complete_with_an_odd_program_name(self):
        for name in ("", "/", "//", "a/", "x" * 100000, "%s%n"):
            with self.subTest(name[:10]):
                done = self.executed([name, "--status"])
                self.assertEqual((done.returncode, done.stdout), (0, down_report("web")))

    def test_a_run_is_complete_with_malformed_entries_of_the_environment(self):
        done = self.executed(["keldoctl", "--repair", "restart-service:web"],
                             ["", "=", "=x", "LANGUAGE", "A=1", "A=2", "LANGUAGE=de", "LANGUAGE=fr",
                              "LC_ALL", "\udcff=\udcff"])
        self.assertEqual((done.returncode, done.stdout), (0, self.repaired()))


class EnvironmentTest(InheritanceTest):
    NONSENSE = ("", "/", "xx_XX.UTF-8", "de_DE", "C.UTF-8", "../../../../etc", "%n%s", "\udcff\x01",
                "x" * 10000)

    def test_a_run_is_complete_without_an_environment(self):
        self.check(program=["env", "--ignore-environment", KELDOCTL])

    def test_a_run_is_complete_with_a_megabyte_of_environment(self):
        self.check(env={f"LARGE{number}": "x" * 125000 for number in range(8)})
        self.check(env={f"MANY{number}": "x" for number in range(20000)})

    def test_a_run_is_complete_with_nonsense_in_variables_of_the_locale(self):
        names = ["LC_ALL", "LC_CTYPE", "LC_MESSAGES", "LC_NUMERIC", "LC_COLLATE", "LC_TIME", "LANG",
                 "LANGUAGE", "NLSPATH", "OUTPUT_CHARSET", "CHARSET", "LOCPATH", "TZ", "TZDIR",
                 "GCONV_PATH", "TEXTDOMAIN", "TEXTDOMAINDIR", "I18NPATH"]
        for value in self.NONSENSE:
            with self.subTest(value[:20]):
                self.check(env={name: value for name in names})

    def test_a_run_is_complete_with_nonsense_in_variables_of_the_shell(self):
        for value in self.NONSENSE:
            with self.subTest(value[:20]):
                self.check(env={name: value for name in (
                    "IFS", "ENV", "BASH_ENV", "CDPATH", "PS1", "PS4", "HOME", "PWD", "OLDPWD",
                    "SHELL", "SHELLOPTS", "POSIXLY_CORRECT", "TMPDIR", "TEMP")})

    def test_a_run_is_complete_with_a_path_that_leads_nowhere(self):
        for value in ("", "/", "/nowhere", "x" * 10000):
            with self.subTest(value[:20]):
                self.check(env={"PATH": value})

    def test_a_run_is_complete_with_odd_values_for_the_allocator(self):
        # Numbers: from version 2.41 on, the C library reports other values on standard error.
        for value in ("165", "0", "1"):
            with self.subTest(value):
                self.check(env={name: value for name in (
                    "MALLOC_CHECK_", "MALLOC_PERTURB_", "MALLOC_ARENA_MAX", "MALLOC_TOP_PAD_",
                    "MALLOC_TRIM_THRESHOLD_", "MALLOC_MMAP_THRESHOLD_", "MALLOC_MMAP_MAX_")})

    def test_a_run_is_complete_with_nonsense_in_variables_of_the_libraries(self):
        for value in ("0", "1", *self.NONSENSE):
            with self.subTest(value[:20]):
                self.check(env={name: value for name in (
                    "XML_CATALOG_FILES", "SGML_CATALOG_FILES", "XMLLINT_INDENT", "MYSQL_HOME",
                    "MYSQL_UNIX_PORT", "MYSQL_TCP_PORT", "MYSQL_HOST", "MYSQL_PWD", "MYSQL_DEBUG",
                    "LIBMYSQL_PLUGINS", "LIBMYSQL_PLUGIN_DIR")})

    def test_a_run_is_complete_if_the_allocator_hands_out_garbage(self):
        self.check(env={"MALLOC_PERTURB_": "165"})


if __name__ == "__main__":
    unittest.main()
