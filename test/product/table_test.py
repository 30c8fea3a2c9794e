# SPDX-License-Identifier: MIT
"""The table of measurements."""

import unittest

import table


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

    def test_a_ratio_meets_its_target_up_to_it(self):
        for own, met in ((115, "yes"), (116, "no")):
            row = table.compared("calls", table.Count(own), table.Count(100), "floor", 1.15)
            self.assertEqual((row.own, row.beside, row.ratio, row.target, row.met),
                             (str(own), "floor: 100", f"{own / 100:.2f}", "≤ 1.15", met))

    def test_without_a_target_none_is_met(self):
        row = table.compared("calls", table.Count(3), table.Count(2), "floor")
        self.assertEqual((row.target, row.met), ("", ""))

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
