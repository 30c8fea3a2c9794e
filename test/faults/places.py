# SPDX-License-Identifier: MIT
"""The faults that a run can meet: errors of system calls as their manual pages name them, failed
allocations, short transfers, and failures of a fork before it executes the shell."""

import re
from typing import NamedTuple

from injection import Fault

# The errors that the manual page of each call names and that the arguments of keldoctl and its
# libraries allow. A call that is missing here cannot fail.
OPEN = ("EACCES", "EINTR", "ELOOP", "EMFILE", "ENFILE", "ENOENT", "ENOMEM", "ENOTDIR", "EPERM")
ERRORS = {
    "brk": ("ENOMEM",),
    "chdir": ("EACCES", "EIO", "ENOENT", "ENOMEM"),
    "clock_nanosleep": ("EINTR",),
    "access": ("EACCES", "EIO", "ENOENT", "ENOMEM"),
    "clone": ("EAGAIN", "ENOMEM"),
    "connect": ("EACCES", "EAGAIN", "ECONNREFUSED", "EINTR", "EPERM", "EPROTOTYPE", "ETIMEDOUT"),
    "dup": ("EMFILE",),
    "faccessat2": ("EACCES", "EIO", "ENOENT", "ENOMEM"),
    "dup2": ("EBUSY", "EINTR", "EMFILE"),
    "fchmod": ("EIO", "EPERM", "EROFS"),
    "fcntl": ("EINVAL", "EMFILE"),
    "flock": ("EINTR", "ENOLCK"),
    "getcwd": ("EACCES", "ENOENT", "ENOMEM"),
    "getdents64": ("ENOENT",),
    "ioctl": ("EINVAL", "ENOTTY"),
    "lseek": ("EINVAL", "EOVERFLOW", "ESPIPE"),
    "mkdir": ("EACCES", "EDQUOT", "EEXIST", "ENOENT", "ENOMEM", "ENOSPC", "EROFS"),
    "mmap": ("EAGAIN", "ENFILE", "ENOMEM"),
    "mprotect": ("ENOMEM",),
    "newfstatat": ("EACCES", "ELOOP", "ENOENT", "ENOMEM", "ENOTDIR", "EOVERFLOW"),
    "openat": OPEN,
    "pipe2": ("EMFILE", "ENFILE"),
    "poll": ("EINTR", "ENOMEM"),
    "read": ("EINTR", "EIO", "EISDIR"),
    "recvfrom": ("ECONNREFUSED", "ECONNRESET", "EINTR", "ENOMEM", "ENOTCONN"),
    "rmdir": ("EACCES", "EBUSY", "ENOMEM", "EPERM", "EROFS"),
    "sendto": ("ECONNRESET", "EINTR", "ENOBUFS", "ENOMEM", "ENOTCONN", "EPIPE"),
    "setsockopt": ("EINVAL", "ENOPROTOOPT"),
    "signalfd4": ("EMFILE", "ENFILE", "ENODEV", "ENOMEM"),
    "socket": ("EACCES", "EAFNOSUPPORT", "EMFILE", "ENFILE", "ENOBUFS", "ENOMEM"),
    "unlink": ("EACCES", "EBUSY", "EIO", "ELOOP", "ENOENT", "ENOMEM", "ENOTDIR", "EPERM", "EROFS"),
    "unlinkat": ("EACCES", "EBUSY", "EIO", "ENOMEM", "EPERM", "EROFS"),
    "wait4": ("ECHILD", "EINTR"),
    "waitid": ("ECHILD", "EINTR"),
    "write": ("EAGAIN", "EDQUOT", "EFBIG", "EINTR", "EIO", "ENOSPC", "EPERM", "EPIPE"),
}
CREATING = ("EDQUOT", "EEXIST", "ENOSPC", "EROFS")  # more errors of openat with O_CREAT

# Errors after which the caller repeats the call: EINTR; EAGAIN of a write without room; EEXIST of
# mkstemp(3). They are never injected forever, since the run would not end. The key is the error,
# the value matches the start of the arguments of such calls.
PASSING = {"EEXIST": "", "EINTR": "", "EAGAIN": r'\d+, "|.*/nscd/'}

# The number of these calls depends on how fast the database server answers.
PACED = ("poll", "recvfrom")

# The other programs watch several processes at once, or ask again until monit has finished.
PACED_IN_LOOPS = (*PACED, "connect", "read", "sendto", "socket", "wait4", "waitid", "write")

TRANSFERS = ("read", "write", "recv", "send")

# The kernel closes a descriptor even if it reports an error; strace would leave it open.
CLOSE_ERRORS = ("EDQUOT", "EINTR", "EIO", "ENOSPC")

DATABASE_CHILD = 1  # the fork of keldoctl-inspect that asks the database

CHILD_ERRORS = {"dup2": ("EBUSY", "EINTR", "EMFILE"), "system": ("EAGAIN", "ENOMEM")}


class Series(NamedTuple):
    """Faults that differ only in the number of the call, to the last call of a run. `faults` belong
    to call 1; at() moves them to another call. The first `skipped` calls are the loader's."""

    faults: tuple
    skipped: int = 0

    def at(self, number):
        return [fault._replace(number=self.skipped + number) for fault in self.faults]


def paced(scenario):
    return PACED_IN_LOOPS if scenario.is_paced() else PACED


def system_places(calls, scenario):
    """The possible faults of each system call of a trace (Walk.calls), as a list of lists. Calls of
    the loader, before main(), are left out: the loader reports its errors itself."""
    places = []
    for call in calls:
        if call.context != "loader" and call.name not in paced(scenario) and can_fail(call):
            places.append(system_faults(call.name, call.number, errors_of(call), call.arguments))
    return places


def can_fail(call):
    """F_GETFD and F_SETFD cannot fail on an open descriptor."""
    return call.name in ERRORS and not re.search("F_[GS]ETFD", call.arguments)


def errors_of(call):
    if call.name == "openat" and "O_CREAT" in call.arguments:
        return ERRORS["openat"] + CREATING
    return ERRORS[call.name]


def system_faults(call, number, errors, arguments=""):
    faults = []
    for error in errors:
        faults.append(Fault("system", call, number, error, False))
        if error not in PASSING or not re.match(PASSING[error], arguments):
            faults.append(Fault("system", call, number, error, True))
    return faults


def series(calls, scenario):
    """The faults of calls whose number a trace does not tell in advance."""
    for name in paced(scenario):
        skipped = sum(call.name == name and call.context == "loader" for call in calls)
        arguments = next((call.arguments for call in reversed(calls) if call.name == name), "")
        yield Series(tuple(system_faults(name, 1, ERRORS[name], arguments)), skipped)
    yield from transfer_series()
    yield Series(tuple(Fault("close", "close", 1, error, forever) for error in CLOSE_ERRORS
                       for forever in (False, True)))
    yield memory_series()
    if scenario.program == "keldoctl-inspect":
        yield database_child_series()


def transfer_series():
    for call in TRANSFERS:
        yield Series(tuple(Fault("short", call, 1, "-", forever) for forever in (False, True)))


def memory_series():
    return Series(tuple(Fault("memory", "malloc", 1, "-", forever) for forever in (False, True)))


def database_child_series():
    return Series(tuple(fault._replace(kind="child", child=DATABASE_CHILD)
                        for fault in memory_series().faults))


def is_slow(fault):
    """Whether the client library retries until its time limit."""
    return fault.call == "connect" and fault.error == "EAGAIN" and fault.forever


def child_places(scenario):
    """Does what system_places() does, for the forks of a run of keldoctl, which run commands."""
    if scenario.program != "keldoctl":
        return []
    captured = len(scenario.repairs) + 1  # both streams of these commands are captured
    commands = captured if scenario.findings.upgrade else captured + len(scenario.checked())
    places = [[Fault("child", "clone3", 1, error, False) for error in ERRORS["clone"]]]
    for child in range(1, commands + 1):
        for call, number in (("dup2", 1), ("dup2", 2), ("system", 1)):
            if number == 1 or child <= captured:
                places.append([Fault("child", call, number, error, False, child)
                               for error in CHILD_ERRORS[call]])
    return places
