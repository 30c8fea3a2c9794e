# SPDX-License-Identifier: MIT
"""Counts the instructions of a program itself, without its children, by callgrind.

The count must be the same on every machine with the same libraries. So the environment is fixed,
addresses are not random, and the C library and OpenSSL use the plain version of each of their
functions, even if the processor allows a faster one.
"""

import collections
import os
import pathlib
import re
import subprocess
import tempfile

PLAIN = ("AVX", "AVX2", "AVX512F", "AVX512VL", "AVX512BW", "AVX_Fast_Unaligned_Load", "BMI1",
         "BMI2", "ERMS", "FSRM", "LZCNT", "MOVBE", "POPCNT", "RTM", "SSE4_1", "SSE4_2", "SSSE3")
ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
               "OPENSSL_ia32cap": "0:0",
               "GLIBC_TUNABLES": "glibc.cpu.hwcaps=" + ",".join(f"-{name}" for name in PLAIN)}
COST = re.compile(r"[+*-]?\d*(?: [+*-]?\d+)* (\d+)")


def count(words):
    """Runs a command, given as its path and arguments. Returns a Counter of its instructions by
    program or library, such as "libc.so"."""
    with tempfile.TemporaryDirectory() as directory:
        # A forked child writes a file of its own for the time before its exec.
        program = subprocess.Popen(
            ["setarch", "--addr-no-randomize", "valgrind", "--quiet", "--tool=callgrind",
             "--compress-strings=no", "--compress-pos=no",
             f"--callgrind-out-file={directory}/%p", *words],
            env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE)
        _, complaints = program.communicate()
        if program.returncode != 0:
            raise RuntimeError(f"{words} has failed under callgrind:\n{complaints.decode()}")
        return by_file(pathlib.Path(directory, str(program.pid)).read_text(encoding="utf-8"))


def by_file(profile):
    """Adds up a profile without compressed names and positions. The lines after "ob=FILE" have the
    file's own costs. The line after "calls=" has the cost of the called function: it is skipped."""
    counts = collections.Counter()
    file = ""
    is_of_called = False
    for line in profile.splitlines():
        if line.startswith("ob="):
            file = plain_name(line.removeprefix("ob="))
        elif line.startswith("calls="):
            is_of_called = True
        elif cost := COST.fullmatch(line):
            if not is_of_called:
                counts[file] += int(cost[1])
            is_of_called = False
    return counts


def plain_name(path):
    """A file's name without directory and version."""
    return re.sub(r"\.so[.\d]*$", ".so", os.path.basename(path))
