# SPDX-License-Identifier: MIT
"""The view of what has changed between two reports."""

import pathlib
import tempfile
import unittest

from panel import Problem, down_report, report
from views import REPORTS, ViewTestCase, recorded, run_view


class ChangesTest(ViewTestCase):
    VIEW = "changes"

    def changes(self, older, newer, **parameters):
        """What is shown of two reports, in bytes."""
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory, "older.xml")
            path.write_bytes(older)
            return self.show(newer, older=path, **parameters)

    def test_new_gone_and_unchanged(self):
        self.assertEqual(self.changes(down_report("dns", "mail"), down_report("mail", "web")), """\
New: 1
  [Major] The web title service is switched off.
Gone: 1
  [Major] The dns title service is switched off.
Unchanged: 1
  [Major] The mail title service is switched off.
""")

    def test_nothing_at_all(self):
        self.assertEqual(self.changes(report(), report()), "New: 0\nGone: 0\nUnchanged: 0\n")

    def test_what_is_not_checked_during_an_upgrade_is_not_gone(self):
        self.assertEqual(self.changes(down_report("web"), recorded("upgrade")), """\
New: 1
  [Minor] Upgrade is in progress. Please wait.
Gone: 0
Unchanged: 0
Not checked: 1
  [Major] The web title service is switched off.
""")

    def test_what_is_found_after_an_upgrade_is_not_new(self):
        self.assertEqual(self.changes(recorded("upgrade"), recorded("one_down")), """\
New: 0
Gone: 1
  [Minor] Upgrade is in progress. Please wait.
Unchanged: 0
Not checked before: 1
  [Major] The web title service is switched off.
""")

    def test_an_upgrade_that_goes_on(self):
        self.assertEqual(self.changes(recorded("upgrade"), recorded("upgrade")), """\
New: 0
Gone: 0
Unchanged: 1
  [Minor] Upgrade is in progress. Please wait.
""")

    def test_another_severity_is_a_change(self):
        older = {"a": "minor", "b": "critical", "c": None, "d": "major", "e": None, "f": "major"}
        newer = {"a": "critical", "b": "major", "c": "minor", "d": None, "e": None, "f": "major"}
        reports = [report([Problem(name, f"{name}.", severity) for name, severity in each.items()])
                   for each in (older, newer)]
        self.assertEqual(self.changes(*reports), """\
New: 0
Gone: 0
Changed in severity: 4
  [Minor -> Critical] a.
  [Critical -> Major] b.
  [Not rated -> Minor] c.
  [Major -> Not rated] d.
Unchanged: 2
  [Not rated] e.
  [Major] f.
""")

    def test_a_problem_is_the_same_in_another_language(self):
        self.assertEqual(self.changes(recorded("one_down"), recorded("two_down_in_german")), """\
Neu: 1
  [Schwerwiegend] Der Dienst „Mailbox Access (IMAP)“ ist ausgeschaltet.
Behoben: 0
Unverändert: 1
  [Schwerwiegend] Der Dienst „Webserver“ ist ausgeschaltet.
""")

    def test_an_older_report_that_is_none_is_refused(self):
        done = run_view("changes", report(), older=REPORTS.parent / "changes_test.py")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn(b"the older report is not one of keldoctl", done.stderr)


if __name__ == "__main__":
    unittest.main()
