# SPDX-License-Identifier: MIT
"""What the measurements see of a program that runs."""

import unittest

import system_calls


class SystemCallsTest(unittest.TestCase):
    def test_a_program_is_counted_with_and_without_its_children(self):
        words = ["/bin/sh", "-c", "/bin/true; /bin/true; exit 0"]
        own = system_calls.count(words, with_children=False)
        all_calls = system_calls.count(words, with_children=True)
        self.assertEqual((own["execve"], all_calls["execve"]), (1, 3))


if __name__ == "__main__":
    unittest.main()
