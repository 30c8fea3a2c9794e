# SPDX-License-Identifier: MIT
"""Instructions in a profile of callgrind's."""

import unittest

import callgrind

HEADING = "version: 1\nevents: Ir\ncmd: keldoctl --help\npositions: line\nsummary: 60\n\n"


class CallgrindTest(unittest.TestCase):
    def test_costs_are_added_up_by_file(self):
        self.assertEqual(callgrind.by_file(
            HEADING + "ob=/lib/libc.so.6\nfl=???\nfn=malloc\n0 10\n0 5\n\n"
            "ob=/usr/sbin/keldoctl\nfl=main.cpp\nfn=main\n7 20\nfi=run.cpp\n8 2\n\n"
            "ob=/lib/libc.so.6\nfl=???\nfn=free\n0 3\n"), {"libc.so": 18, "keldoctl": 22})

    def test_what_a_called_function_costs_is_counted_there_alone(self):
        self.assertEqual(callgrind.by_file(
            HEADING + "ob=/usr/sbin/keldoctl\nfl=main.cpp\nfn=main\n7 20\ncob=/lib/libc.so.6\n"
            "cfl=???\ncfn=malloc\ncalls=2 0\n7 1000\n9 4\n"), {"keldoctl": 24})

    def test_lines_that_are_no_costs_do_not_count(self):
        self.assertEqual(callgrind.by_file(HEADING + "ob=a\nfn=main\n1 2\ntotals: 60\n"), {"a": 2})

    def test_versions_of_libraries_are_left_out_of_their_names(self):
        for path, name in (("/lib/libxml2.so.2.9.14", "libxml2.so"), ("/lib/a.so", "a.so"),
                           ("/lib64/ld-linux-x86-64.so.2", "ld-linux-x86-64.so"), ("???", "???"),
                           ("/usr/sbin/keldoctl", "keldoctl")):
            with self.subTest(path):
                self.assertEqual(callgrind.plain_name(path), name)
