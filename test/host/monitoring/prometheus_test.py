# SPDX-License-Identifier: MIT
"""The metrics, the alerts and the dashboard, with Prometheus and its node exporter."""

import datetime
import http.server
import json
import queue
import re
import subprocess
import threading
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


class Receiver(http.server.ThreadingHTTPServer):
    """Receives alerts in place of Prometheus' alert manager, by its interface."""

    def __init__(self):
        self.alerts = queue.Queue()
        super().__init__(("127.0.0.1", 0), Handler)
        threading.Thread(target=self.serve_forever, daemon=True).start()


class Handler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        self.send_response(200)
        self.end_headers()
        for alert in json.loads(body):
            self.server.alerts.put(alert)

    def log_message(self, *_):
        pass


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
        self.receiver = Receiver()
        self.addCleanup(self.receiver.server_close)
        self.addCleanup(self.receiver.shutdown)
        (self.directory / "prometheus.yml").write_text(CONFIGURATION.format(
            rules=self.directory / "rules.yml", receiver=self.receiver.server_port),
            encoding="utf-8")

    def write_metrics(self):
        subprocess.run([PREFIX / "libexec/keldoctl/write-metrics", self.collected], check=True)

    def wait_for_alert(self, name, *, resolved, **labels):
        while True:
            alert = self.receiver.alerts.get(timeout=LIMIT_SECONDS)
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
