# SPDX-License-Identifier: MIT
"""Some hours of inspections and faults in fast motion, with real services; script/long-life runs a
week."""

import unittest

from long_life import LongLife


class LongLifeTest(unittest.TestCase):
    maxDiff = None

    def test_nothing_grows_and_every_change_is_told_once(self):
        life = LongLife(seed=1, keep=8)
        self.addCleanup(life.close)
        life.run(20)
        self.assertEqual(life.verdict(), [], "\n".join(life.table()))
        self.assertGreater(len(life.notifications()), 5)


if __name__ == "__main__":
    unittest.main()
