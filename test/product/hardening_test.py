# SPDX-License-Identifier: MIT
"""Every program that was built carries the protection of cmake/hardening.cmake."""

import os
import pathlib
import platform
import re
import subprocess
import unittest

BUILD = pathlib.Path(os.environ["KELDOCTL"]).parent
CACHE = (BUILD / "CMakeCache.txt").read_text(encoding="utf-8")
PROGRAMS = [path for folder in (BUILD, BUILD / "libexec") for path in sorted(folder.iterdir())
            if path.is_file() and path.read_bytes()[:4] == b"\x7fELF"]


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


class HardeningTest(unittest.TestCase):
    def check(self, pattern, *command):
        for program in PROGRAMS:
            with self.subTest(program.name):
                self.assertRegex(output(*command, program), pattern)

    def test_there_is_every_program(self):
        self.assertEqual([path.name for path in PROGRAMS], [
            "keldo-service-lint", "keldoctl", "keldoctl-inspect", "monit-check-status",
            "panel-root", "repair-commands"])

    def test_programs_are_position_independent(self):
        self.check(r"Type: +DYN ", "readelf", "--file-header")

    def test_relocations_are_read_only_from_the_start(self):
        self.check("GNU_RELRO", "readelf", "--program-headers", "--wide")
        self.check("BIND_NOW", "readelf", "--dynamic")

    def test_the_stack_is_not_executable(self):
        self.check(r"GNU_STACK.* RW +0x", "readelf", "--program-headers", "--wide")

    def test_the_stack_is_protected(self):
        self.check("__stack_chk_fail", "readelf", "--dyn-syms", "--wide")

    @unittest.skipUnless(re.search("^CMAKE_BUILD_TYPE:[A-Z]+=Release$", CACHE, re.M),
                         "an optimised build only")
    def test_c_functions_check_their_buffers(self):
        # The compiler finds no call to check in monit-check-status.
        program = BUILD / "keldoctl"
        self.assertIn("__snprintf_chk", output("readelf", "--dyn-syms", "--wide", program))

    @unittest.skipUnless(platform.machine() == "x86_64", "a feature of x86")
    def test_indirect_jumps_have_marked_targets(self):
        # The linker notes it only if the C library's start files are marked too.
        self.check(r"<main>:\n.*\bendbr64\b", "objdump", "--disassemble=main", "--no-show-raw-insn")


if __name__ == "__main__":
    unittest.main()
