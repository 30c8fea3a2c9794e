# SPDX-License-Identifier: MIT
"""The recorded inspections, on which the views are tested, equal the output of keldoctl-inspect."""

import unittest

import recorded_inspections
import schemas
from views import INSPECTIONS


class RecordedInspectionsTest(unittest.TestCase):
    def test_keldoctl_inspect_prints_each_recorded_inspection(self):
        names = set()
        for name, document in recorded_inspections.record():
            with self.subTest(name):
                schemas.require_inspection(document)
                self.assertEqual(document, (INSPECTIONS / f"{name}.xml").read_bytes())
            names.add(f"{name}.xml")
        self.assertEqual({path.name for path in INSPECTIONS.iterdir()}, names)


if __name__ == "__main__":
    unittest.main()
