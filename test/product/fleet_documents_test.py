# SPDX-License-Identifier: MIT
"""The fleet documents on which the views are tested are those that the callback writes today."""

import unittest

import recorded_fleets
import schemas


class FleetDocumentsTest(unittest.TestCase):
    def test_the_kept_documents_are_those_that_are_made(self):
        self.assertEqual({file.stem: file.read_bytes() for file in recorded_fleets.FLEETS.iterdir()},
                         {made.__name__: made() for made in recorded_fleets.ALL})

    def test_the_documents_are_valid(self):
        for made in recorded_fleets.ALL:
            for form in schemas.FORMS:
                with self.subTest(made.__name__, form=form):
                    self.assertEqual(schemas.errors(made(), schemas.FLEET, form), "")


if __name__ == "__main__":
    unittest.main()
