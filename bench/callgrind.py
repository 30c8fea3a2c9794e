# SPDX-License-Identifier: MIT
"""How many instructions a program carries out itself, without its children, counted by callgrind.

The count has to be the same on every machine with the same libraries. So the environment is fixed,
nothing is at a random address, and the C library and OpenSSL take the plain version of each of
their functions, whatever faster ones the processor would allow.
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
    """Runs a command, its path and arguments. Returns a Counter of its instructions by the file
    that they are in, such as "libc.so"."""
    with tempfile.TemporaryDirectory() as directory:
        # A child that is forked and has not become another program yet writes a file of its own.
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
    """Adds up a profile without compressed names and positions: under each "ob=FILE" lines with a
    cost of their own, and after each "calls=" one line with that of what was called."""
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
