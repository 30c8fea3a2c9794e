# SPDX-License-Identifier: MIT
"""The view for Nagios."""

import unittest

from panel import Problem, report, service_down
from views import DIRECTIONS, DIRECTIONS_REPLACED, ViewTestCase

ALL = [Problem("a", "A.", "minor"), Problem("b", "B.", "major"), Problem("c", "C.", "critical")]


class NagiosTest(ViewTestCase):
    VIEW = "nagios"

    def test_recorded_reports(self):
        for name, text, numbers in (
                ("all_well", "OK - no problems",
                 "problems=0;;;0 minor=0;0;;0 major=0;0;0;0"),
                ("one_down", "CRITICAL - 1 problem:"
                 " [major] The web title service is switched off.",
                 "problems=1;;;0 minor=0;0;;0 major=1;0;0;0"),
                ("two_down_in_german", "CRITICAL - 2 problems:"
                 " [major] Der Dienst „Mailbox Access (IMAP)“ ist ausgeschaltet."
                 " [major] Der Dienst „Webserver“ ist ausgeschaltet.",
                 "problems=2;;;0 minor=0;0;;0 major=2;0;0;0"),
                ("upgrade", "WARNING - 1 problem: [minor] Upgrade is in progress. Please wait.",
                 "problems=1;;;0 minor=1;0;;0 major=0;0;0;0"),
                # One line with one bar.
                ("odd_texts", "CRITICAL - 3 problems: [major] The Q & A service is switched off."
                 f" [major] The {'x' * 115}… [major] The <b>\"A\" & 'B'</b> ¦ x second line"
                 " \ufffd31m service is switched off.",
                 "problems=3;;;0 minor=0;0;;0 major=3;0;0;0")):
            with self.subTest(name):
                self.check(name, f"KELDOCTL {text} | {numbers} critical=0;0;0;0\n")

    def test_the_worst_problem_comes_first(self):
        self.assertIn(" - 3 problems: [critical] C. [major] B. [minor] A. | ",
                      self.show(report(ALL)))

    def test_a_problem_without_a_text_is_named_by_its_id(self):
        self.assertIn(" - 1 problem: [major] p | ", self.show(report([Problem("p", "")])))

    def test_no_character_changes_the_direction_of_the_line(self):
        self.assertIn(f"[major] {DIRECTIONS_REPLACED} |",
                      self.show(report([Problem("p", DIRECTIONS)])))

    def test_the_first_of_many_problems_are_named(self):
        text = self.show(report([service_down(f"s{number:03}") for number in range(200)]))
        self.assertEqual(text.count("[major]"), 8)
        self.assertTrue(text.endswith(
            " [major] The s007 title service is switched off. and 192 more"
            " | problems=200;;;0 minor=0;0;;0 major=200;0;0;0 critical=0;0;0;0\n"))

    def test_a_line_is_short_enough_for_a_monitor(self):
        text = self.show(report([Problem(f"p{number}", "ä" * 1000) for number in range(1000)]))
        self.assertLess(len(text.encode()), 4096)

    def test_thresholds(self):
        # The states for a problem of each severity and for a problem without one.
        for warning, critical, states in (
                ("minor", "major", "WARNING CRITICAL CRITICAL WARNING"),
                ("major", "critical", "OK WARNING CRITICAL OK"),
                ("critical", "none", "OK OK WARNING OK"),
                ("none", "none", "OK OK OK OK"),
                ("none", "minor", "CRITICAL CRITICAL CRITICAL CRITICAL"),
                ("minor", "none", "WARNING WARNING WARNING WARNING")):
            with self.subTest(warning=warning, critical=critical):
                found = [self.show(report([problem]), warning=warning, critical=critical)
                         .split(" ")[1] for problem in (*ALL, Problem("d", "D.", None))]
                self.assertEqual(" ".join(found), states)

    def test_performance_data_contain_the_thresholds(self):
        self.assertTrue(self.show(report(ALL), warning="major", critical="none").endswith(
            " | problems=3;;;0 minor=1;;;0 major=1;0;;0 critical=1;0;;0\n"))


if __name__ == "__main__":
    unittest.main()
