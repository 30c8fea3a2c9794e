# SPDX-License-Identifier: MIT
"""A program is run with limits, and nothing of it is left."""

from __future__ import annotations

import os
import select
import signal
import subprocess
import sys
import tempfile
import unittest
from functools import partial
from unittest import mock

from ansible_collections.keldo.keldoctl.plugins.plugin_utils import gate
from ansible_collections.keldo.keldoctl.plugins.plugin_utils.inspection import MOST_BYTES, Refusal

LONG = 10  # seconds; a test waits for it only if it fails


def shell(script, seconds=LONG):
    return gate.run(["sh", "-c", script], seconds)


def comes_to_its_end(descriptor):
    """Whether a pipe is empty and nobody holds its other end any more."""
    poll = select.poll()
    poll.register(descriptor, select.POLLIN)
    return bool(poll.poll(LONG * 1000)) and os.read(descriptor, 1) == b""


class RunTest(unittest.TestCase):
    def assert_refused(self, code, script, seconds=LONG):
        """The script and its children inherit the write end of a pipe."""
        read, write = os.pipe()
        self.addCleanup(os.close, read)
        with open(write, "wb"), mock.patch("subprocess.Popen", partial(inheriting, {write})):
            with self.assertRaises(Refusal) as caught:
                shell(script, seconds)
        self.assertEqual(caught.exception.code, code)
        self.assertTrue(comes_to_its_end(read), "a process is left")

    def test_both_outputs_and_the_exit_status_are_returned(self):
        self.assertEqual(shell("echo out; echo err >&2; exit 7"), (7, b"out\n", b"err\n"))
        self.assertEqual(shell("kill -TERM $$"), (-signal.SIGTERM, b"", b""))

    def test_the_program_has_no_input_and_a_session_of_its_own(self):
        self.assertEqual(shell("cat; read -r _ _ _ _ _ session _ </proc/$$/stat; exec [ $$ = $session ]"),
                         (0, b"", b""))

    def test_an_answer_of_1_mib_is_read_whole(self):
        status, stdout, _ = shell(f"head -c {MOST_BYTES} /dev/zero")
        self.assertEqual((status, len(stdout)), (0, MOST_BYTES))

    def test_a_longer_answer_is_refused_and_ended(self):
        for script in ("yes", "yes >&2", f"head -c {MOST_BYTES + 1} /dev/zero; exec sleep 1000",
                       "sleep 1000 & yes", "trap '' TERM HUP PIPE; yes; sleep 1000"):
            with self.subTest(script):
                self.assert_refused("too_large", script)

    def test_a_program_is_ended_when_its_time_is_over(self):
        for script in ("exec sleep 1000", "sleep 1000 & sleep 1000", "exec >&- 2>&-; exec sleep 1000",
                       "trap '' TERM HUP; sleep 1000; sleep 1000", "echo half; exec sleep 1000"):
            with self.subTest(script):
                self.assert_refused("timed_out", script, 0.1)

    def test_a_child_that_keeps_an_output_open_does_not_delay_the_end(self):
        self.assertEqual(shell("sleep 1000 & echo out"), (0, b"out\n", b""))

    def test_a_missing_program_is_an_error(self):
        with tempfile.TemporaryDirectory() as directory, self.assertRaises(FileNotFoundError):
            gate.run([f"{directory}/missing"], LONG)

    def test_an_answer_that_waits_in_the_pipe_is_read_after_the_end(self):
        script = ("import fcntl, os; fcntl.fcntl(1, fcntl.F_SETPIPE_SZ, 1 << 20);"
                  "os.write(1, bytes(1 << 20))")
        self.assertEqual(len(gate.run([sys.executable, "-c", script], LONG)[1]), MOST_BYTES)

    def test_a_signal_that_ends_the_caller_ends_the_program(self):
        for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
            with self.subTest(number):
                read, write = os.pipe()
                self.addCleanup(os.close, read)
                caller = os.fork()
                if caller == 0:
                    run_until_a_signal(write)
                os.close(write)
                self.assertEqual(os.read(read, 2), b"x\n")
                os.kill(caller, number)
                os.waitpid(caller, 0)
                self.assertTrue(comes_to_its_end(read), "a process is left")


def run_until_a_signal(descriptor):
    """Runs a program that inherits a descriptor and writes to it. Ends this process."""
    try:
        with mock.patch("subprocess.Popen", partial(inheriting, {descriptor})):
            gate.run(["sh", "-c", f"echo x >/proc/self/fd/{descriptor}; exec sleep 1000"], 1000)
    finally:
        os._exit(1)


def inheriting(descriptors, *arguments, popen=subprocess.Popen, **options):
    """Starts a program that inherits descriptors."""
    return popen(*arguments, pass_fds=descriptors, **options)


class FakeConnection:
    """A connection other than ssh."""

    transport = "local"

    def __init__(self, *answer):
        self.answer = answer
        self.command = None

    def exec_command(self, command, sudoable):
        self.command = command
        assert not sudoable
        if self.answer:
            return self.answer
        signal.pause()


class FakeSshConnection:
    """An ssh connection of which the program is a shell script. It prints its arguments."""

    transport = "ssh"
    _play_context = mock.Mock(password=None, remote_addr="address")

    def __init__(self, script='printf "%s|" "$@"', **options):
        self.script = script
        self.options = {"ssh_executable": "ssh", "password": None, "host": "h", **options}

    def get_option(self, name):
        return self.options[name]

    def _build_command(self, program, subsystem, *words):
        assert (program, subsystem) == ("ssh", "ssh")
        return [b"sh", b"-c", self.script.encode(), b"ssh", b"-o", b"ControlMaster=auto",
                *(word.encode() for word in words)]


class AskTest(unittest.TestCase):
    WORDS = ("keldoctl-gate", "repair", "restart-service:web", "a b")
    COMMAND = "keldoctl-gate repair restart-service:web 'a b'"

    def ask_ssh(self, **options):
        with mock.patch.object(gate, "SSH_OPTIONS", ()):
            return gate.ask(FakeSshConnection(**options), self.WORDS, LONG)

    def test_ssh_gets_the_words_as_one_command_without_quotes_for_plain_words(self):
        self.assertEqual(self.ask_ssh(),
                         (0, f"-o|ControlMaster=auto|h|{self.COMMAND}|".encode(), b""))
        self.assertIn(b"|address|", self.ask_ssh(host=None)[1])

    def test_our_options_of_ssh_come_before_those_of_the_inventory(self):
        with mock.patch.object(gate, "run", return_value=(0, b"", b"")) as run:
            gate.ask(FakeSshConnection(), self.WORDS, LONG)
        words = run.call_args[0][0]
        self.assertLess(words.index(b"ControlMaster=no"), words.index(b"ControlMaster=auto"))
        self.assertIn(b"BatchMode=yes", words)

    def test_the_status_of_ssh_itself_means_unreachable(self):
        for script, text in (("echo reason >&2; exit 255", "reason"),
                             ("echo '<inspection/>'; exit 255", "ssh ended with status 255")):
            with self.subTest(script), self.assertRaisesRegex(gate.Unreachable, f"^{text}$"):
                self.ask_ssh(script=script)

    def test_a_password_is_refused(self):
        with self.assertRaises(Refusal) as caught:
            self.ask_ssh(password="secret")
        self.assertEqual(caught.exception.code, "password")
        self.assertNotIn("secret", str(caught.exception))

    def test_another_connection_is_asked_by_its_own_means(self):
        connection = FakeConnection(1, b"out", b"err")
        self.assertEqual(gate.ask(connection, self.WORDS, LONG), (1, b"out", b"err"))
        self.assertEqual(connection.command, self.COMMAND)

    def test_the_limits_hold_for_another_connection(self):
        for answer, seconds, code in (((0, b"x" * (MOST_BYTES + 1), b""), LONG, "too_large"),
                                      ((0, b"", b"x" * (1 << 20)), LONG, "too_large"),
                                      ((), 0.05, "timed_out")):
            with self.subTest(code), self.assertRaises(Refusal) as caught:
                gate.ask(FakeConnection(*answer), self.WORDS, seconds)
            self.assertEqual(caught.exception.code, code)
        self.assertEqual(signal.getitimer(signal.ITIMER_REAL)[0], 0)


if __name__ == "__main__":
    unittest.main()
