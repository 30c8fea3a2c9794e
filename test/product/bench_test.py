# SPDX-License-Identifier: MIT
"""script/bench: what it reads from callgrind and strace, and what it prints."""

import unittest

import callgrind
import instructions
import system_calls
import table


class ProfileTest(unittest.TestCase):
    def test_callgrind_costs_are_added_by_file_without_those_of_called_functions(self):
        self.assertEqual(callgrind.by_file(
            "version: 1\nevents: Ir\npositions: line\nsummary: 60\n\n"
            "ob=/lib/libc.so.6\nfl=???\nfn=malloc\n0 10\n0 5\n\n"
            "ob=/usr/sbin/keldoctl\nfl=main.cpp\nfn=main\n7 20\nfi=run.cpp\n8 2\n"
            "cob=/lib/libc.so.6\ncfl=???\ncfn=malloc\ncalls=2 0\n7 1000\n9 4\n\n"
            "ob=/lib/libc.so.6\nfl=???\nfn=free\n0 3\ntotals: 60\n"), {"libc.so": 18, "keldoctl": 26})

    def test_strace_calls_are_counted_by_name_without_the_total(self):
        self.assertEqual(system_calls.by_name(
            "    calls syscall\n--------- --------\n     2836 rt_sigaction\n        1 execve\n"
            "--------- --------\n     2837 total\n"), {"rt_sigaction": 2836, "execve": 1})

    def test_a_program_is_counted_with_and_without_its_children(self):
        words = ["/bin/sh", "-c", "/bin/true; /bin/true; exit 0"]
        own = system_calls.count(words, with_children=False)
        all_calls = system_calls.count(words, with_children=True)
        self.assertEqual((own["execve"], all_calls["execve"]), (1, 3))


class InstructionsTest(unittest.TestCase):
    def test_the_projects_record_can_be_read_and_written(self):
        recorded = instructions.parse(instructions.RECORD.read_text(encoding="utf-8"))
        self.assertEqual([run.split()[0] for run in recorded], ["--help", "--status", "--status"])
        self.assertEqual(instructions.parse(instructions.record(recorded, "c++ 12")), recorded)

    def test_a_difference_names_the_run_and_the_files_that_changed_notably(self):
        before = instructions.parse("--help\n 99,900 little\n 100 more\n 60,000 gone\n 40,000 same\n")
        now = instructions.parse("--help\n 100,000 little\n 201 more\n 70,000 new\n 40,000 same\n")
        self.assertEqual(instructions.differences(before, now).splitlines(), [
            "--help: 200,000 before, 210,201 now (+10,201, +5.10 %)",
            "    new: 0 before, 70,000 now (+70,000)",
            "    gone: 60,000 before, 0 now (-60,000, -100.00 %)",
            "    more: 100 before, 201 now (+101, +101.00 %)"])


class TableTest(unittest.TestCase):
    def test_a_row_compares_medians_with_a_target(self):
        for target, at_most, met in ((3, "≤ 3.00", "yes"), (2.9, "≤ 2.90", "no"), (None, "", "")):
            with self.subTest(target):
                self.assertEqual(
                    table.timed("run", [20, 30, 400], [10, 10, 100], "floor", target),
                    table.Row("run", "30.0 ms", "floor: 10.0 ms", "3.00", "2.00 to 4.00",
                              at_most, met, "3"))


if __name__ == "__main__":
    unittest.main()
