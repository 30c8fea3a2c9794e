# SPDX-License-Identifier: MIT
"""Runs a program while a call of it fails, and records the outcome.

strace answers system calls instead of the kernel. A preloaded library (failing_calls.cpp) replaces
the allocator and the calls that strace cannot answer.
"""

import collections
import errno
import os
import pathlib
import re
import select
import shutil
import signal
import subprocess
from typing import NamedTuple

from inspection import INSPECT
from panel import BUILD, KELDOCTL, PATH, PRODUCT_ROOT
from trace import whole

import scenarios

LIBRARY = os.environ.get("FAILING_CALLS", BUILD / "test/libfailing_calls.so")
LOG = pathlib.Path("/run/fault-log")
PROGRAMS = {"keldoctl": KELDOCTL, "keldoctl-inspect": INSPECT,
            "monit-check-status": os.environ.get("MONIT_CHECK_STATUS",
                                                 BUILD / "libexec/monit-check-status")}
CONTROL_FILES = PRODUCT_ROOT / "tmp"
FOLDERS = (CONTROL_FILES, pathlib.Path("/run"), pathlib.Path("/tmp"))  # of temporary files
HANGS_AFTER = 200  # seconds; a run gives up a silent database within this time
GRACE = 10  # seconds
PF_EXITING = 0x4  # the kernel's flag of a process that is ending: a signal has no effect any more
STANDARD_STREAMS = {0, 1, 2}


class Fault(NamedTuple):
    """What fails: the `number`th call of `call` and, if `forever`, all later ones too.

    The `kind` is "system", a system call of the program itself that fails with `error`; "child", a
    call of its forks, the `child`th or all; "memory", a failed allocation; "short", a transfer that
    moves one byte; "close", a close that fails with `error` but closes.
    """

    kind: str
    call: str
    number: int
    error: str  # "-" if the kind needs none
    forever: bool
    child: int = 0  # 0 for all

    def __str__(self):
        return (f"{self.kind} {self.call} {self.number} {self.error} "
                f"{'forever' if self.forever else 'once'} {self.child}")

    @classmethod
    def parse(cls, words):
        """The fault that str() turned into these words."""
        kind, call, number, error, duration, child = words
        return cls(kind, call, int(number), error, duration == "forever", int(child))

    def place(self):
        return self.kind, self.call, self.number, self.child

    def is_traced(self):
        """Whether strace makes the call fail."""
        return self.kind == "system" or self.call == "clone3"


class Outcome(NamedTuple):
    """The outcome of a run."""

    status: int  # as in subprocess; None if the run hung and was killed
    stdout: bytes
    faults: int  # number of calls that failed
    calls: int  # number of calls of that name; None if unknown
    contexts: frozenset  # contexts of the failed calls (see Walk); None if unknown
    open: tuple  # descriptors that were open when the run exited
    orphans: tuple  # names of processes that were left behind
    control_files: tuple  # names of temporary files and directories that were left behind


# --- A run


def run(scenario, fault):
    """Runs the scenario with a fault, or without one (None). Call subreaper.become_subreaper() and
    scenarios.lay_out() first."""
    scenarios.prepare(scenario)
    LOG.unlink(missing_ok=True)
    others = children()
    files = temporary_files()
    program, environment = injector(PROGRAMS[scenario.program], fault)
    process = subprocess.Popen([*program, *scenario.arguments],
                               env={"PATH": PATH} | scenario.environment() | environment,
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, start_new_session=True)
    status = wait_for(process)
    # The children of a process that a signal ends get a signal too, and need a moment to end.
    may_end_late = status is not None and status < 0 and scenario.program != "keldoctl"
    orphans = tuple(sorted(filter(None, (
        end(child, may_end_late) for child in children() - others))))
    # A report fits into a pipe, and no process holds the other end any more.
    stdout, _ = process.communicate()
    left = remove_all(temporary_files() - files - {LOG})
    return Outcome(status, stdout, *what_happened(fault), orphans, left)


def wait_for(process):
    """Returns the exit status of the process, or None if it had to be killed."""
    descriptor = os.pidfd_open(process.pid)
    ended, _, _ = select.select([descriptor], [], [], HANGS_AFTER)
    os.close(descriptor)
    if not ended:
        os.killpg(process.pid, signal.SIGKILL)
    status = process.wait()
    return status if ended else None


def injector(program, fault):
    """The command that runs the program with the fault, and additions to its environment."""
    if fault is None or fault.is_traced():
        return [*strace(fault), program], {}
    plan = {"LD_PRELOAD": str(LIBRARY), "FAULT_CALL": fault.call,
            "FAULT_NUMBER": str(fault.number), "FAULT_LOG": str(LOG)}
    if fault.forever:
        plan["FAULT_FOREVER"] = "1"
    if fault.kind == "child":
        plan["FAULT_CHILD"] = str(fault.child)
    if fault.error != "-":
        plan["FAULT_ERROR"] = str(getattr(errno, fault.error))
    return [program], plan


def strace(fault):
    command = ["strace", "-qq", "-s", "64", "-e", "signal=none", "-o", LOG]
    if fault is None:
        return command
    when = f"{fault.number}{'+' * fault.forever}"
    inject = f"inject={fault.call}:error={fault.error}:when={when}"
    return [*command, *["-f"] * (fault.kind == "child"), "-e", inject]


def children():
    """The process ids of this process's children."""
    file = pathlib.Path("/proc/self/task", str(os.getpid()), "children")
    return set(file.read_text(encoding="utf-8").split())


def end(process, may_end_late):
    """Waits for the end of a process that outlived the run, and kills it at last. Returns its name, or
    "" if it was ending already, if a signal of the run ended it, or if it ended by itself and may do so
    after the run."""
    name, _, fields = pathlib.Path("/proc", process, "stat").read_text(
        encoding="utf-8").partition(" (")[2].rpartition(") ")
    is_ending = bool(int(fields.split()[6]) & PF_EXITING)
    descriptor = os.pidfd_open(int(process))
    ended, _, _ = select.select([descriptor], [], [], GRACE)
    os.close(descriptor)
    if not ended:
        os.kill(int(process), signal.SIGKILL)
    _, status = os.waitpid(int(process), 0)
    is_fine = is_ending or ended and (may_end_late or os.WIFSIGNALED(status))
    return "" if is_fine else name


def temporary_files():
    return {file for folder in FOLDERS for file in folder.iterdir()}


def remove_all(files):
    """Removes files and directories. Returns their names."""
    for file in files:
        if file.is_dir():
            shutil.rmtree(file)
        else:
            file.unlink()
    return tuple(sorted(file.name for file in files))


# --- What happened


def what_happened(fault):
    """Reads from the log: the last fields of Outcome, from `faults` to `open`."""
    lines = []
    if LOG.exists():
        lines = LOG.read_text(encoding="utf-8", errors="replace").splitlines()
    if fault is None or fault.is_traced():
        walk = Walk(lines)
        calls = sum(call.name == fault.call for call in walk.calls) if fault else None
        return len(walk.faults), calls, frozenset(walk.faults), tuple(sorted(walk.open))
    calls = [int(line.split()[1]) for line in lines if line.startswith("calls ")]
    left = [int(line.split()[1]) for line in lines if line.startswith("open ")]
    contexts = {"short": frozenset(), "close": frozenset(),
                "child": frozenset({f"command:{fault.child}"})}
    return (lines.count("fault"), calls[0] if calls else None, contexts.get(fault.kind),
            tuple(left))


def trace():
    """The calls of the last run, which ran under strace."""
    return Walk(LOG.read_text(encoding="utf-8", errors="replace").splitlines()).calls


class Call(NamedTuple):
    """One system call of the program itself. `arguments` and `result` are strace's texts."""

    name: str
    number: int  # of the calls of that name, from 1 on
    arguments: str
    result: str
    context: str

    def failed(self):
        return self.result.startswith("-1 ")


LINE = re.compile(r"(?:(\d+) +)?(\w+)\((.*?)(?:\) += (.*)| <unfinished \.\.\.>)")

# The context that a call begins, by its name and the start of its arguments. First match.
BEGINNINGS = [(name, re.compile(arguments), context) for name, arguments, context in (
    ("fcntl", r"0, F_GETFD", "start"),
    ("openat", r'[^"]*"[^"]*/locale', "language"),
    ("dup", "[0-2]$", "streams"),  # libxml2 2.15 duplicates the descriptors of files
    ("dup2", "", "streams"),
    ("openat", r'[^"]*"/dev/null', "streams"),
    ("openat", r'[^"]*"/etc/kvr/kvr.conf', "configuration"),
    ("openat|newfstatat", r'[^"]*"/service/(\w+)\.xml', "definition"),
    ("openat", r'[^"]*"/etc/kvr/.kvr.shadow', "connection"),
    ("openat", r'[^"]*"[^"]*/tmp/monitrc.*O_EXCL', "control"),
    ("pipe2", "", "command"),
    ("unlink", r'"[^"]*/tmp/monitrc', "removal"),
    ("openat", r'[^"]*"[^"]*/(?:keldoctl-inspect|monit-check-status)\.\w{6}"', "directory"),
    ("write", r'1, "(?:<\?xml|\{)', "report"),
)]
NUMBERED = {"connection", "control", "command"}  # contexts counted through the run
TALKING = {"poll", "recvfrom", "sendto"}  # only to the database
OPENING = {"openat", "socket", "dup"}


class Walk:
    """Reads the trace of a run and notes the context of each call from main() on:
    "definition:web", "command:2", "report"...
    """

    def __init__(self, lines):
        self.calls = []  # includes calls before main(), in the context "loader"
        self.faults = []  # the context of each injected failure
        self.open = set()
        self._context = "loader"
        self._numbers = collections.Counter()
        self._process = None
        for line in whole(lines):
            self._add(line)

    def _add(self, line):
        match = LINE.match(line)
        own = False
        if match:
            process, name, arguments, result = match.groups()
            self._process = self._process or process
            own = process == self._process
        if own:
            self._enter(name, arguments)
            self._numbers[name] += 1
            call = Call(name, self._numbers[name], arguments, result or "", self._context)
            self.calls.append(call)
            self._follow(call)
        if line.endswith("(INJECTED)"):
            self.faults.append(self._context)

    def _enter(self, name, arguments):
        if name in TALKING:
            self._context = f"connection:{self._numbers['connection']}"
            return
        for names, start, context in BEGINNINGS:
            match = re.fullmatch(names, name) and start.match(arguments)
            if not match or (self._context == "loader" and context not in ("start", "streams")):
                continue
            if context in NUMBERED:
                self._numbers[context] += 1
                context += f":{self._numbers[context]}"
            elif match.groups():
                context += f":{match[1]}"
            self._context = context
            return

    def _follow(self, call):
        """Tracks open descriptors."""
        if call.name == "close":
            self.open.discard(int(call.arguments))
        elif not call.failed() and self._context != "loader":
            if call.name in OPENING or (call.name == "fcntl" and "F_DUPFD" in call.arguments):
                self.open.add(int(call.result.split()[0]))
            elif call.name == "pipe2":
                self.open.update(map(int, re.findall(r"\d+", call.arguments)[:2]))
        self.open -= STANDARD_STREAMS
