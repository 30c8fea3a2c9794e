# SPDX-License-Identifier: MIT
"""The metrics in the alerts and in the dashboard are those that the view prints, which is the only
list of them."""

import json
import re
import unittest

from views import INSPECTIONS, PROJECT, show

MONITORING = PROJECT / "monitoring"
ALERTS = MONITORING / "prometheus/keldoctl.rules.yml"
DASHBOARD = json.loads((MONITORING / "grafana/keldoctl.json").read_text(encoding="utf-8"))
QUERIES = [target["expr"] for panel in DASHBOARD["panels"] for target in panel["targets"]]


def metrics_in(text):
    return set(re.findall(r"\bkeldoctl_\w+", text))


def printed_metrics():
    """The metrics that the view makes of the recorded inspections. Only a repair has the metric of
    actions, and no repair is carried out for the collector."""
    return {name for path in INSPECTIONS.iterdir()
            for name in re.findall(r"(?m)^# TYPE (\w+) gauge$",
                                   show("prometheus", path.read_bytes()))
            if name != "keldoctl_action_succeeded"}


class MetricsTest(unittest.TestCase):
    def test_the_dashboard_shows_every_metric_and_no_other(self):
        self.assertEqual(metrics_in(" ".join(QUERIES)), printed_metrics())

    def test_the_alerts_know_no_other_metric(self):
        expressions = re.findall(r"expr: ((?:.|\n)*?)\n +(?:for|labels):",
                                 ALERTS.read_text(encoding="utf-8"))
        self.assertEqual(len(expressions), 6)
        self.assertLessEqual(metrics_in(" ".join(expressions)), printed_metrics())

    def test_the_manual_explains_every_metric(self):
        page = (PROJECT / "doc/keldoctl-report.8").read_text(encoding="utf-8")
        self.assertLessEqual(printed_metrics(), metrics_in(page))


class DashboardTest(unittest.TestCase):
    def test_no_two_panels_overlap(self):
        cells = [(x, y) for position in (panel["gridPos"] for panel in DASHBOARD["panels"])
                 for x in range(position["x"], position["x"] + position["w"])
                 for y in range(position["y"], position["y"] + position["h"])]
        self.assertEqual(len(set(cells)), len(cells))
        self.assertLess(max(x for x, _ in cells), 24)  # Grafana's columns

    def test_every_query_obeys_the_choice_of_data_source_and_hosts(self):
        for panel in DASHBOARD["panels"]:
            for target in panel["targets"]:
                with self.subTest(panel["title"]):
                    self.assertEqual({panel["datasource"]["uid"], target["datasource"]["uid"]},
                                     {"${datasource}"})
                    self.assertEqual(len(re.findall(r"keldoctl_\w+", target["expr"])),
                                     target["expr"].count('{instance=~"$instance"}'))


if __name__ == "__main__":
    unittest.main()
