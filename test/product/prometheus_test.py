# SPDX-License-Identifier: MIT
"""The view for Prometheus."""

import unittest

from panel import Problem, report
from views import ViewTestCase

UPGRADE_HELP = ("# HELP keldoctl_upgrade_in_progress Whether an upgrade runs (1), in which no "
                "service is checked, or not (0).\n# TYPE keldoctl_upgrade_in_progress gauge\n")
ACTION_HELP = ("# HELP keldoctl_action_succeeded Whether an action that was carried out succeeded "
               "(1) or failed (0).\n# TYPE keldoctl_action_succeeded gauge\n")


def numbers(minor=0, major=0, critical=0, unrated=0):
    return f"""\
# HELP keldoctl_problems Number of problems found, by severity.
# TYPE keldoctl_problems gauge
keldoctl_problems{{severity="minor"}} {minor}
keldoctl_problems{{severity="major"}} {major}
keldoctl_problems{{severity="critical"}} {critical}
keldoctl_problems{{severity="unrated"}} {unrated}
"""


def metrics(*problems):
    lines = [f'keldoctl_problem{{id="{name}",severity="{severity}"}} 1\n'
             for name, severity in problems]
    return ("# HELP keldoctl_problem A problem found; the value is always 1.\n"
            "# TYPE keldoctl_problem gauge\n" + "".join(lines))


def upgrade(value):
    return f"{UPGRADE_HELP}keldoctl_upgrade_in_progress {value}\n"


class PrometheusTest(ViewTestCase):
    VIEW = "prometheus"

    def test_recorded_reports(self):
        web = ("service-down:web", "major")
        for name, text in (
                ("all_well", numbers() + upgrade(0)),
                ("two_down_in_german",
                 numbers(major=2) + metrics(("service-down:mail", "major"), web) + upgrade(0)),
                ("upgrade", numbers(minor=1) + metrics(("upgrade", "minor")) + upgrade(1)),
                ("repair_failed", numbers(major=1) + metrics(web) + upgrade(0) + ACTION_HELP
                 + 'keldoctl_action_succeeded{id="restart-service:dns"} 1\n'
                 + 'keldoctl_action_succeeded{id="restart-service:web"} 0\n')):
            with self.subTest(name):
                self.check(name, text)

    def test_every_severity(self):
        text = self.show(report([Problem("a", "A", "minor"), Problem("b", "B", "critical"),
                                 Problem("c", "C", "critical"), Problem("d", "D", None)]))
        self.assertTrue(text.startswith(
            numbers(1, 0, 2, 1) + metrics(("a", "minor"), ("b", "critical"), ("c", "critical"),
                                       ("d", "unrated"))))

    def test_labels_are_escaped(self):
        for name, label in (("a\\b", r"a\\b"), ('a"b', r"a\"b"), ("a\nb", r"a\nb"),
                            ('\\"\n\\n', r'\\\"\n\\n'), ("{a=b}#,", "{a=b}#,")):
            with self.subTest(name):
                text = self.show(report([Problem(name.replace("\n", "&#10;"), "P")])
                                 .replace(b"&amp;", b"&"))
                self.assertIn(metrics((label, "major")), text)


if __name__ == "__main__":
    unittest.main()
