# SPDX-License-Identifier: MIT
"""The reports on which the views are tested are what keldoctl prints."""

import unittest

from database import Database
from recorded_reports import SITUATIONS, path_of, report_of
from views import REPORTS


class RecordedReportsTest(unittest.TestCase):
    def test_keldoctl_prints_each_of_them(self):
        with Database() as database:
            for situation in SITUATIONS:
                with self.subTest(situation.__name__):
                    self.assertEqual(report_of(situation, database),
                                     path_of(situation).read_bytes())

    def test_there_are_no_others(self):
        self.assertEqual({path.name for path in REPORTS.iterdir()},
                         {path_of(situation).name for situation in SITUATIONS})


if __name__ == "__main__":
    unittest.main()
