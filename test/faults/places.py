# SPDX-License-Identifier: MIT
"""What can go wrong in a run, and where: system calls, with the errors that the manual names for
them, allocations, transfers, and what a fork does before it is the shell."""

import re
from typing import NamedTuple

from injection import Fault

# The errors of the manual's page of each call, as far as they can come about with the arguments
# that keldoctl and its libraries give it. A call that is not named here cannot fail then.
OPEN = ("EACCES", "EINTR", "ELOOP", "EMFILE", "ENFILE", "ENOENT", "ENOMEM", "ENOTDIR", "EPERM")
ERRORS = {
    "brk": ("ENOMEM",),
    "chdir": ("EACCES", "EIO", "ENOENT", "ENOMEM"),
    "clock_nanosleep": ("EINTR",),
    "clone": ("EAGAIN", "ENOMEM"),
    "connect": ("EACCES", "EAGAIN", "ECONNREFUSED", "EINTR", "EPERM", "EPROTOTYPE", "ETIMEDOUT"),
    "dup": ("EMFILE",),
    "dup2": ("EBUSY", "EINTR", "EMFILE"),
    "fchmod": ("EIO", "EPERM", "EROFS"),
    "fcntl": ("EINVAL", "EMFILE"),
    "getcwd": ("EACCES", "ENOENT", "ENOMEM"),
    "ioctl": ("EINVAL", "ENOTTY"),
    "lseek": ("EINVAL", "EOVERFLOW", "ESPIPE"),
    "mmap": ("EAGAIN", "ENFILE", "ENOMEM"),
    "mprotect": ("ENOMEM",),
    "newfstatat": ("EACCES", "ELOOP", "ENOENT", "ENOMEM", "ENOTDIR", "EOVERFLOW"),
    "openat": OPEN,
    "pipe2": ("EMFILE", "ENFILE"),
    "poll": ("EINTR", "ENOMEM"),
    "read": ("EINTR", "EIO", "EISDIR"),
    "recvfrom": ("ECONNREFUSED", "ECONNRESET", "EINTR", "ENOMEM", "ENOTCONN"),
    "sendto": ("ECONNRESET", "EINTR", "ENOBUFS", "ENOMEM", "ENOTCONN", "EPIPE"),
    "setsockopt": ("EINVAL", "ENOPROTOOPT"),
    "socket": ("EACCES", "EAFNOSUPPORT", "EMFILE", "ENFILE", "ENOBUFS", "ENOMEM"),
    "unlink": ("EACCES", "EBUSY", "EIO", "ELOOP", "ENOENT", "ENOMEM", "ENOTDIR", "EPERM", "EROFS"),
    "wait4": ("ECHILD", "EINTR"),
    "write": ("EAGAIN", "EDQUOT", "EFBIG", "EINTR", "EIO", "ENOSPC", "EPERM", "EPIPE"),
}
CREATING = ("EDQUOT", "EEXIST", "ENOSPC", "EROFS")  # of openat, beyond OPEN

# An interrupted call is made again, and so is a write for which there is no room yet. Where that
# never changed, there would be no end, nor soon where each of the 238328 names that mkstemp(3)
# tries was taken. The database's client library tries again for half a minute: its own socket is
# enough. By error, for which calls that is, told by the start of their arguments.
PASSING = {"EEXIST": "", "EINTR": "", "EAGAIN": r'\d+, "|.*/nscd/'}

# How many of these there are depends on how fast the database server answers.
PACED = ("poll", "recvfrom")

TRANSFERS = ("read", "write", "recv", "send")

# The kernel closes a descriptor also where it has an error to tell. strace would leave it open.
CLOSE_ERRORS = ("EDQUOT", "EINTR", "EIO", "ENOSPC")

CHILD_ERRORS = {"dup2": ("EBUSY", "EINTR", "EMFILE"), "system": ("EAGAIN", "ENOMEM")}


class Series(NamedTuple):
    """Faults that are alike but for the number of the call, which goes from 1 on for as long as a
    run makes so many calls. `faults` are those of call 1; at() moves them to another call."""

    faults: tuple

    def at(self, number):
        return [fault._replace(number=number) for fault in self.faults]


def system_places(calls):
    """For each system call of a trace (Walk.calls) that can fail, the faults that can happen there:
    a list of lists. What the loader calls before main() is not keldoctl's: it says itself what it
    lacks, and ends."""
    places = []
    for call in calls:
        if call.context != "loader" and call.name not in PACED and can_fail(call):
            places.append(system_faults(call.name, call.number, errors_of(call), call.arguments))
    return places


def can_fail(call):
    """Of a descriptor that is open its own flags can always be had and set."""
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


def series():
    """What no trace tells beforehand: the faults of calls that come in numbers."""
    for call in PACED:
        yield Series(tuple(system_faults(call, 1, ERRORS[call])))
    yield from transfer_series()
    yield Series(tuple(Fault("close", "close", 1, error, forever) for error in CLOSE_ERRORS
                       for forever in (False, True)))
    yield memory_series()


def transfer_series():
    for call in TRANSFERS:
        yield Series(tuple(Fault("short", call, 1, "-", forever) for forever in (False, True)))


def memory_series():
    return Series(tuple(Fault("memory", "malloc", 1, "-", forever) for forever in (False, True)))


def is_slow(fault):
    """Whether the client library tries again and again for as long as it may."""
    return fault.call == "connect" and fault.error == "EAGAIN" and fault.forever


def child_places(scenario):
    """The same as system_places() for the forks of a run, each of which runs a command."""
    captured = len(scenario.repairs) + 1  # of these commands both streams
    commands = captured if scenario.findings.upgrade else captured + len(scenario.checked())
    places = [[Fault("child", "clone3", 1, error, False) for error in ERRORS["clone"]]]
    for child in range(1, commands + 1):
        for call, number in (("dup2", 1), ("dup2", 2), ("system", 1)):
            if number == 1 or child <= captured:
                places.append([Fault("child", call, number, error, False, child)
                               for error in CHILD_ERRORS[call]])
    return places
