# SPDX-License-Identifier: MIT
"""Counts the work that a run of keldoctl repeats."""

import collections
import re

import system_calls
from trace import own, traced


def report(server):
    """A text with the files that --status opens more than once, and the system calls that it makes
    for each further service."""
    few, many = 6, 60
    server.start_services(few)
    lines = ["Files that keldoctl itself opens, or looks for, more than once in a --status in "
             "German with one service down:"]
    lines += [f"- `{name}`: {times} times" for name, times in _opened_again(server)] or ["- none"]
    lines += ["", "System calls that keldoctl itself makes for each further service:"]
    lines += [f"- {name}: {calls:g}" for name, calls in _calls_per_service(server, few, many)]
    return "\n".join(lines) + "\n"


def _opened_again(server):
    server.learn_german()
    server.shut_down("web")
    _, calls = traced(server.panel, "open,openat", "--status", "--language=de-DE")
    server.set_monitor()
    paths = collections.Counter(re.search(r'"(.*?)"', call.arguments)[1] for call in own(calls))
    return sorted({(_pattern(path), times) for path, times in paths.items() if times > 1})


def _pattern(path):
    """The path, with the random part of a control file's name replaced."""
    return re.sub(r"/monitrc\w{6}$", "/monitrcXXXXXX", path)


def _calls_per_service(server, few, many):
    counts = []
    for number in (few, many):
        server.start_services(number)
        counts.append(system_calls.count([server.keldoctl, "--status"], with_children=False))
    growth = [(name, round((calls - counts[0][name]) / (many - few), 1))
              for name, calls in counts[1].most_common()]
    return [(name, calls) for name, calls in growth if calls > 0]
