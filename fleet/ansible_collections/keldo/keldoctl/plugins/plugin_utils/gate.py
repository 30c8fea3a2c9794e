# SPDX-License-Identifier: MIT
"""Asks the gate of a host through an Ansible connection, with limits that hold for a hostile host.

This module imports nothing of Ansible.
"""

from __future__ import annotations

import contextlib
import os
import select
import shlex
import signal
import subprocess
import time

from ansible_collections.keldo.keldoctl.plugins.plugin_utils.inspection import (
    MOST_BYTES, Refusal, last_line)

MOST_ERROR_BYTES = 64 << 10
SSH_FAILED = 255

# ssh takes the first value of an option, so these come before the options of the inventory. An open
# master connection is used, but none is left running. Nobody can be asked for a password, and the host
# gets neither a terminal nor the user's agent.
SSH_OPTIONS = (b"-T", b"-a", b"-x", b"-o", b"BatchMode=yes", b"-o", b"ControlMaster=no")


class Unreachable(Exception):
    """There is no connection to the host. The text is one line."""


def ask(connection, words, seconds):
    """Sends the words, which name the gate and the request, to the host of an Ansible connection.
    Returns the exit status, standard output and standard error (bytes). Raises Unreachable, or Refusal
    if the answer is too long or not complete within the seconds."""
    command = shlex.join(words)
    if connection.transport == "ssh":
        status, stdout, stderr = run(_ssh_command(connection, command), seconds)
        # The host can end with this status as well. It counts as unreachable then.
        if status == SSH_FAILED:
            raise Unreachable(last_line(stderr) or f"ssh ended with status {SSH_FAILED}")
        return status, stdout, stderr
    with _alarm(seconds):
        status, stdout, stderr = connection.exec_command(command, sudoable=False)
    if len(stdout) > MOST_BYTES or len(stderr) > MOST_ERROR_BYTES:
        raise _too_large()
    return status, stdout, stderr


def _ssh_command(connection, command):
    """The arguments with which the connection runs ssh: with the ports, keys and jump hosts of the
    inventory."""
    if connection.get_option("password") or connection._play_context.password:
        raise Refusal("password", "a password is set for this host, but only keys are supported;"
                      " remove ansible_password")
    connection.host = connection.get_option("host") or connection._play_context.remote_addr
    program, *arguments = connection._build_command(
        connection.get_option("ssh_executable"), "ssh", connection.host, command)
    return [program, *SSH_OPTIONS, *arguments]


def run(command, seconds):
    """Runs a command in a session of its own, so that it has no terminal. Returns its exit status,
    standard output and standard error. Raises Refusal if it prints too much or takes longer. In each
    case, all its processes have ended, except those that left its process group."""
    with _EndingSignals() as signals:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, bufsize=0, start_new_session=True)

        def kill():
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)

        try:
            signals.call(kill)
            with process.stdout, process.stderr:
                stdout, stderr = _collect(process, seconds)
        finally:
            kill()  # before wait(), since another group may get the number after it
            process.wait()
    return process.returncode, stdout, stderr


def _collect(process, seconds):
    """Reads both outputs until the process ends."""
    deadline = time.monotonic() + seconds
    outputs = {process.stdout.fileno(): _Output(process.stdout.fileno(), MOST_BYTES),
               process.stderr.fileno(): _Output(process.stderr.fileno(), MOST_ERROR_BYTES)}
    with _end_of(process) as end:
        poll = select.poll()
        for descriptor in (*outputs, end):
            poll.register(descriptor, select.POLLIN)
        has_ended = False
        while not has_ended:
            left = deadline - time.monotonic()
            if left <= 0:
                raise _timed_out(seconds)
            ready = {descriptor for descriptor, _ in poll.poll(left * 1000 + 1)}
            for descriptor in ready & set(outputs):
                if not outputs[descriptor].read():
                    poll.unregister(descriptor)
            has_ended = end in ready
    # Do not wait for the end of the outputs: a child of ssh may keep them open.
    return tuple(bytes(output.text) for output in outputs.values())


class _Output:
    """An output of a process and what was read from it."""

    def __init__(self, descriptor, most_bytes):
        self._descriptor = descriptor
        self._most_bytes = most_bytes
        self.text = bytearray()

    def read(self):
        """Reads all that is there. Returns false at the end of the output."""
        piece = os.read(self._descriptor, self._most_bytes - len(self.text) + 1)
        self.text += piece
        if len(self.text) > self._most_bytes:
            raise _too_large()
        return bool(piece)


def _too_large():
    return Refusal("too_large", f"the answer is longer than {MOST_BYTES} bytes, or its error messages"
                   f" than {MOST_ERROR_BYTES}")


def _timed_out(seconds):
    return Refusal("timed_out", f"no complete answer within {seconds} s")


@contextlib.contextmanager
def _end_of(process):
    """A descriptor that becomes readable when the process ends."""
    descriptor = os.pidfd_open(process.pid)
    try:
        yield descriptor
    finally:
        os.close(descriptor)


class _EndingSignals:
    """In this block, calls a function before a signal ends this process. Ansible ends its workers by
    signals, which do not reach a process in another session."""

    def __enter__(self):
        self._act = None
        self._pending = []
        self._previous = {number: signal.signal(number, self._receive)
                          for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM)}
        return self

    def call(self, act):
        """Calls `act` when a signal comes, or at once if one has come already."""
        self._act = act
        self._pass_on()

    def _receive(self, number, _frame):
        self._pending.append(number)
        if self._act:
            self._pass_on()

    def _pass_on(self):
        if self._pending:
            self._act()
            self.__exit__()

    def __exit__(self, *_exception):
        for number, handler in self._previous.items():
            signal.signal(number, handler)
        while self._pending:
            os.kill(os.getpid(), self._pending.pop())


@contextlib.contextmanager
def _alarm(seconds):
    """Raises Refusal if the block takes more than these seconds. A time limit of the task itself uses
    the same alarm; if there is one, it holds instead."""

    def expire(_number, _frame):
        raise _timed_out(seconds)

    if signal.getitimer(signal.ITIMER_REAL)[0] > 0:
        yield
        return
    previous = signal.signal(signal.SIGALRM, expire)
    signal.setitimer(signal.ITIMER_REAL, seconds)
    try:
        yield
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, previous)
