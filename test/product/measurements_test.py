# SPDX-License-Identifier: MIT
"""What script/bench makes of the output of callgrind and strace, and how it prints it."""

import collections
import unittest

import callgrind
import instructions
import system_calls
import table


class CallgrindTest(unittest.TestCase):
    HEADING = "version: 1\nevents: Ir\ncmd: keldoctl --help\npositions: line\nsummary: 60\n\n"

    def test_costs_are_summed_by_file_without_called_functions_and_totals(self):
        for name, profile, costs in (
                ("two files", "ob=/lib/libc.so.6\nfl=???\nfn=malloc\n0 10\n0 5\n\n"
                 "ob=/usr/sbin/keldoctl\nfl=main.cpp\nfn=main\n7 20\nfi=run.cpp\n8 2\n\n"
                 "ob=/lib/libc.so.6\nfl=???\nfn=free\n0 3\n", {"libc.so": 18, "keldoctl": 22}),
                ("a call", "ob=/usr/sbin/keldoctl\nfl=main.cpp\nfn=main\n7 20\n"
                 "cob=/lib/libc.so.6\ncfl=???\ncfn=malloc\ncalls=2 0\n7 1000\n9 4\n",
                 {"keldoctl": 24}),
                ("a total", "ob=a\nfn=main\n1 2\ntotals: 60\n", {"a": 2})):
            with self.subTest(name):
                self.assertEqual(callgrind.by_file(self.HEADING + profile), costs)

    def test_names_of_libraries_have_no_version(self):
        for path, name in (("/lib/libxml2.so.2.9.14", "libxml2.so"), ("/lib/a.so", "a.so"),
                           ("/lib64/ld-linux-x86-64.so.2", "ld-linux-x86-64.so"), ("???", "???"),
                           ("/usr/sbin/keldoctl", "keldoctl")):
            with self.subTest(path):
                self.assertEqual(callgrind.plain_name(path), name)


class SystemCallsTest(unittest.TestCase):
    def test_calls_are_counted_by_name_without_the_total(self):
        self.assertEqual(system_calls.by_name(
            "    calls syscall\n--------- ----------------\n     2836 rt_sigaction\n"
            "        1 execve\n--------- ----------------\n     2837 total\n"),
            {"rt_sigaction": 2836, "execve": 1})

    def test_a_program_is_counted_with_and_without_its_children(self):
        words = ["/bin/sh", "-c", "/bin/true; /bin/true; exit 0"]
        own = system_calls.count(words, with_children=False)
        all_calls = system_calls.count(words, with_children=True)
        self.assertEqual((own["execve"], all_calls["execve"]), (1, 3))


class InstructionsTest(unittest.TestCase):
    COUNTS = {"--help": {"ld.so": 7000, "keldoctl": 1000000},
              "--status, web is down": {"ld.so": 5}}

    def test_a_record_can_be_read_again_and_lists_large_counts_first(self):
        record = instructions.record(self.COUNTS, "c++ 12")
        self.assertEqual(instructions.parse(record), self.COUNTS)
        self.assertTrue(record.endswith("# c++ 12\n\n--help\n   1,000,000  keldoctl\n"
                                        "       7,000  ld.so\n\n--status, web is down\n"
                                        "           5  ld.so\n"))

    def test_the_record_of_the_project_can_be_read(self):
        recorded = instructions.parse(instructions.RECORD.read_text(encoding="utf-8"))
        self.assertEqual([run.split()[0] for run in recorded], ["--help", "--status", "--status"])
        self.assertTrue(all(files["keldoctl"] > 0 for files in recorded.values()))

    def test_differences_name_a_file_only_if_it_changed_more_than_runs_differ(self):
        for before, now, lines in (
                ({"--help": {"a": 2000}}, {"--help": {"a": 2000}},
                 ["--help: 2,000 before, 2,000 now (+0, +0.00 %)"]),
                ({"--help": {"little": 99900, "more": 100, "gone": 60000, "same": 40000}},
                 {"--help": {"little": 100000, "more": 201, "new": 70000, "same": 40000}},
                 ["--help: 200,000 before, 210,201 now (+10,201, +5.10 %)",
                  "    new: 0 before, 70,000 now (+70,000)",
                  "    gone: 60,000 before, 0 now (-60,000, -100.00 %)",
                  "    more: 100 before, 201 now (+101, +101.00 %)"]),
                ({}, {"--help": {"a": 7}},
                 ["--help: 0 before, 7 now (+7)", "    a: 0 before, 7 now (+7)"])):
            with self.subTest(lines[0]):
                counters = ({run: collections.Counter(files) for run, files in counts.items()}
                            for counts in (before, now))
                self.assertEqual(instructions.differences(*counters).splitlines(), lines)


class TableTest(unittest.TestCase):
    def test_numbers_have_three_digits_and_a_unit(self):
        for number, text in ((table.Milliseconds(0.6543), "0.65 ms"),
                             (table.Milliseconds(20.44), "20.4 ms"),
                             (table.Milliseconds(1271.4), "1271 ms"),
                             (table.Kibibytes(-1.5), "-1.50 KiB"),
                             (table.Kibibytes(10240), "10.0 MiB"),
                             (table.Count(7833583), "7,833,583")):
            with self.subTest(text):
                self.assertEqual(str(number), text)

    def test_a_ratio_meets_a_target_that_is_not_smaller(self):
        for own, target, shown, met in ((115, 1.15, "≤ 1.15", "yes"), (116, 1.15, "≤ 1.15", "no"),
                                        (300, None, "", "")):
            row = table.compared("calls", table.Count(own), table.Count(100), "floor",
                                 *([target] if target else []))
            self.assertEqual((row.own, row.beside, row.ratio, row.target, row.met),
                             (str(own), "floor: 100", f"{own / 100:.2f}", shown, met))

    def test_times_are_medians_and_so_is_the_ratio_of_the_rounds(self):
        row = table.timed("run", [20, 30, 400], [10, 10, 100], "floor", 3)
        self.assertEqual(row, table.Row("run", "30.0 ms", "floor: 10.0 ms", "3.00", "2.00 to 4.00",
                                        "≤ 3.00", "yes", "3"))

    def test_a_number_alone_has_its_target_in_its_unit(self):
        row = table.alone("memory", table.Kibibytes(10240), 5, 12288)
        self.assertEqual(row, table.Row("memory", "10.0 MiB", target="≤ 12.0 MiB", met="yes",
                                        runs="5"))

    def test_columns_are_aligned(self):
        lines = table.markdown([table.Row("a", "1 ms"), table.Row("bcd", "20 ms")]).splitlines()
        self.assertEqual(len({len(line) for line in lines}), 1)
        self.assertEqual([line.split(" | ")[:2] for line in lines], [
            ["| What", "keldoctl"], ["| ----", "-------:"], ["| a   ", "    1 ms"],
            ["| bcd ", "   20 ms"]])


if __name__ == "__main__":
    unittest.main()
