# SPDX-License-Identifier: MIT
"""The view of the differences between two reports."""

import pathlib
import tempfile
import unittest

from panel import Problem, down_report, report
from views import ViewTestCase, recorded


class ChangesTest(ViewTestCase):
    VIEW = "changes"

    def changes(self, older, newer, **parameters):
        """The view of two reports, given in bytes."""
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory, "older.xml")
            path.write_bytes(older)
            return self.show(newer, older=path, **parameters)

    def test_each_problem_is_in_one_group(self):
        upgrade = "  [Minor] Upgrade is in progress. Please wait.\n"
        dns, mail, web = (f"  [Major] The {service} title service is switched off.\n"
                          for service in ("dns", "mail", "web"))
        for name, older, newer, text in (
                ("no upgrade", down_report("dns", "mail"), down_report("mail", "web"),
                 f"New: 1\n{web}Gone: 1\n{dns}Unchanged: 1\n{mail}"),
                ("empty", report(), report(), "New: 0\nGone: 0\nUnchanged: 0\n"),
                ("an upgrade begins", down_report("web"), recorded("upgrade"),
                 f"New: 1\n{upgrade}Gone: 0\nUnchanged: 0\nNot checked: 1\n{web}"),
                ("an upgrade ends", recorded("upgrade"), recorded("one_down"),
                 f"New: 0\nGone: 1\n{upgrade}Unchanged: 0\nNot checked before: 1\n{web}"),
                ("an upgrade goes on", recorded("upgrade"), recorded("upgrade"),
                 f"New: 0\nGone: 0\nUnchanged: 1\n{upgrade}")):
            with self.subTest(name):
                self.assertEqual(self.changes(older, newer), text)

    def test_a_changed_severity(self):
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

    def test_problems_in_different_languages_are_compared_by_id(self):
        self.assertEqual(self.changes(recorded("one_down"), recorded("two_down_in_german")), """\
Neu: 1
  [Schwerwiegend] Der Dienst „Mailbox Access (IMAP)“ ist ausgeschaltet.
Behoben: 0
Unverändert: 1
  [Schwerwiegend] Der Dienst „Webserver“ ist ausgeschaltet.
""")


if __name__ == "__main__":
    unittest.main()
