# SPDX-License-Identifier: MIT
"""The metrics, the alerts and the dashboard, with Prometheus and its node exporter."""

import datetime
import json
import re
import subprocess
import unittest
import urllib.parse
import urllib.request

from kit import KIT, LIMIT_SECONDS, PREFIX, KitTestCase
from services import service_control

CONFIGURATION = """\
global: {{scrape_interval: 1s, evaluation_interval: 1s}}
scrape_configs:
  - job_name: node
    static_configs: [{{targets: ["127.0.0.1:9100"]}}]
rule_files: [{rules}]
alerting:
  alertmanagers:
    - static_configs: [{{targets: ["127.0.0.1:{receiver}"]}}]
"""


def is_resolved(alert):
    """Prometheus sends a firing alert with an end in the future."""
    end = datetime.datetime.fromisoformat(re.sub(r"\.\d+Z|Z", "+00:00", alert["endsAt"]))
    return end <= datetime.datetime.now(datetime.timezone.utc)


class PrometheusTest(KitTestCase):
    def setUp(self):
        self.collected = self.directory / "collected"
        self.collected.mkdir()
        # The alerts fire at once; product tests look at how long they wait.
        rules = re.sub(r"\bfor: \w+", "for: 0s",
                       (KIT / "prometheus/keldoctl.rules.yml").read_text(encoding="utf-8"))
        (self.directory / "rules.yml").write_text(rules, encoding="utf-8")
        port, self.posted = self.receive_json()  # in place of Prometheus' alert manager
        (self.directory / "prometheus.yml").write_text(CONFIGURATION.format(
            rules=self.directory / "rules.yml", receiver=port),
            encoding="utf-8")

    def write_metrics(self):
        subprocess.run([PREFIX / "libexec/keldoctl/write-metrics", self.collected], check=True)

    def wait_for_alert(self, name, *, resolved, **labels):
        while True:
            for alert in self.posted.get(timeout=LIMIT_SECONDS):
                if (alert["labels"].items() >= {"alertname": name, **labels}.items()
                        and is_resolved(alert) == resolved):
                    return alert

    def query(self, expression):
        address = "http://127.0.0.1:9090/api/v1/query?" + urllib.parse.urlencode(
            {"query": expression})
        with urllib.request.urlopen(address) as answer:
            return json.load(answer)["data"]["result"]

    def test_a_crash_fires_an_alert_and_its_repair_resolves_it(self):
        self.write_metrics()
        self.start("prometheus-node-exporter", "--collector.disable-defaults",
                   "--collector.textfile", f"--collector.textfile.directory={self.collected}",
                   "--web.listen-address=127.0.0.1:9100")
        self.start("prometheus", f"--config.file={self.directory}/prometheus.yml",
                   f"--storage.tsdb.path={self.directory}/data",
                   "--web.listen-address=127.0.0.1:9090")
        alert = self.wait_for_alert("KeldoctlServiceDown", service="web", resolved=False)
        self.assertEqual(alert["annotations"]["summary"], "web is down on 127.0.0.1:9100")
        self.assertEqual(alert["labels"]["severity"], "critical")
        service_control("start", "web")
        self.write_metrics()
        self.wait_for_alert("KeldoctlServiceDown", service="web", resolved=True)

        dashboard = json.loads((KIT / "grafana/keldoctl.json").read_text(encoding="utf-8"))
        for panel in dashboard["panels"]:
            for target in panel["targets"]:
                with self.subTest(panel["title"]):
                    self.assertNotEqual(self.query(target["expr"].replace("$instance", ".*")), [])


if __name__ == "__main__":
    unittest.main()
