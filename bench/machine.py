# SPDX-License-Identifier: MIT
"""Describes the machine of the measurements."""

import os
import pathlib
import re
import subprocess

PACKAGES = ("libc6", "libstdc++6", "libxml2", "libmariadb3", "libssl3", "mariadb-server-core",
            "monit", "dash")


def description():
    """The machine and the versions of the programs that matter, as a text of several lines."""
    processor = re.search(r"^model name\s*: (.*)", _read("/proc/cpuinfo"), re.MULTILINE)
    load = _read("/proc/loadavg").split()[0]
    return (f"Processor: {processor[1] if processor else os.uname().machine}, "
            f"{len(os.sched_getaffinity(0))} of its cores; load before: {load}\n"
            f"Kernel: {os.uname().sysname} {os.uname().release}\n"
            f"Compiler: {compiler()}\n"
            f"Packages: {', '.join(packages(PACKAGES))}\n")


def compiler():
    return subprocess.run(["c++", "--version"], stdout=subprocess.PIPE, check=True,
                          text=True).stdout.splitlines()[0]


def packages(names):
    """The installed packages among `names`, each as "NAME VERSION"."""
    return subprocess.run(["dpkg-query", "--show", "--showformat=${Package} ${Version}\\n", *names],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False,
                          text=True).stdout.splitlines()


def _read(path):
    return pathlib.Path(path).read_text(encoding="utf-8")
