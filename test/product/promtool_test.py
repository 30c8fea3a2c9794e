# SPDX-License-Identifier: MIT
"""The view for Prometheus and the alerts, checked by Prometheus's own promtool."""

import subprocess
import unittest

from made_inspections import inspection, service
from views import INSPECTIONS, PROJECT, ViewTestCase

# ctest runs support/unpack-promtool first, which puts it there.
PROMTOOL = PROJECT / "build/prometheus/usr/bin/promtool"


class PromtoolTest(ViewTestCase):
    VIEW = "prometheus"

    def test_promtool_finds_no_error(self):
        texts = {path.name: self.show(path.read_bytes()) for path in INSPECTIONS.iterdir()}
        texts["empty"] = self.show(inspection())
        texts["escaped"] = self.show(inspection([service('\\"\n\\', "up"), service('"', "down")]))
        for name, text in texts.items():
            with self.subTest(name):
                done = subprocess.run([PROMTOOL, "check", "metrics"], input=text.encode(),
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
                self.assertEqual((done.returncode, done.stdout), (0, b""))

    def test_the_alerts_fire_when_they_should(self):
        done = subprocess.run([PROMTOOL, "test", "rules", "alerts.yml"], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              cwd=PROJECT / "test/product")
        self.assertEqual(done.returncode, 0, done.stdout.decode())


if __name__ == "__main__":
    unittest.main()
