# SPDX-License-Identifier: MIT
"""The recorded reports, on which the views are tested, equal the output of keldoctl."""

import unittest

from database import Database
from recorded_reports import SITUATIONS, path_of, report_of
from views import REPORTS


class RecordedReportsTest(unittest.TestCase):
    def test_keldoctl_prints_each_recorded_report(self):
        with Database() as database:
            for situation in SITUATIONS:
                with self.subTest(situation.__name__):
                    self.assertEqual(report_of(situation, database),
                                     path_of(situation).read_bytes())

    def test_every_recorded_report_has_a_situation(self):
        self.assertEqual({path.name for path in REPORTS.iterdir()},
                         {path_of(situation).name for situation in SITUATIONS})


if __name__ == "__main__":
    unittest.main()
