# SPDX-License-Identifier: MIT
"""The record of instruction counts."""

import collections
import unittest

import instructions

COUNTS = {"--help": {"ld.so": 7000, "keldoctl": 1000000}, "--status, web is down": {"ld.so": 5}}


def differences(before, now):
    return instructions.differences(*(
        {run: collections.Counter(files) for run, files in counts.items()}
        for counts in (before, now)))


class InstructionsTest(unittest.TestCase):
    def test_what_is_written_is_read_again(self):
        self.assertEqual(instructions.parse(instructions.record(COUNTS, "c++ 12")), COUNTS)

    def test_the_record_has_the_largest_first(self):
        self.assertTrue(instructions.record(COUNTS, "c++ 12").endswith(
            "# c++ 12\n\n--help\n   1,000,000  keldoctl\n       7,000  ld.so\n"
            "\n--status, web is down\n           5  ld.so\n"))

    def test_the_record_of_the_project_can_be_read(self):
        recorded = instructions.parse(instructions.RECORD.read_text(encoding="utf-8"))
        self.assertEqual([run.split()[0] for run in recorded], ["--help", "--status", "--status"])
        self.assertTrue(all(files["keldoctl"] > 0 for files in recorded.values()))

    def test_a_run_that_is_as_before_is_one_line(self):
        self.assertEqual(differences({"--help": {"a": 2000}}, {"--help": {"a": 2000}}),
                         "--help: 2,000 before, 2,000 now (+0, +0.00 %)")

    def test_files_are_told_that_have_changed_by_more_than_runs_differ(self):
        before = {"--help": {"little": 99900, "more": 100, "gone": 60000, "same": 40000}}
        now = {"--help": {"little": 100000, "more": 201, "new": 70000, "same": 40000}}
        self.assertEqual(differences(before, now).splitlines(), [
            "--help: 200,000 before, 210,201 now (+10,201, +5.10 %)",
            "    new: 0 before, 70,000 now (+70,000)",
            "    gone: 60,000 before, 0 now (-60,000, -100.00 %)",
            "    more: 100 before, 201 now (+101, +101.00 %)"])

    def test_a_run_that_was_not_there_is_told_as_new(self):
        self.assertEqual(differences({}, {"--help": {"a": 7}}).splitlines(), [
            "--help: 0 before, 7 now (+7)", "    a: 0 before, 7 now (+7)"])
