# SPDX-License-Identifier: MIT
"""System calls in a summary of strace's."""

import unittest

import system_calls

SUMMARY = """\
    calls syscall
--------- ----------------
     2836 rt_sigaction
        1 execve
--------- ----------------
     2837 total
"""


class SystemCallsTest(unittest.TestCase):
    def test_calls_are_counted_by_name_without_the_total(self):
        self.assertEqual(system_calls.by_name(SUMMARY), {"rt_sigaction": 2836, "execve": 1})
