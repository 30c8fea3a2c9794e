# SPDX-License-Identifier: MIT
"""The view for Prometheus, checked by Prometheus's own promtool."""

import subprocess
import unittest

from panel import Action, Problem, report
from views import PROJECT, REPORTS, ViewTestCase

# ctest runs support/unpack-promtool first, which puts it there.
PROMTOOL = PROJECT / "build/prometheus/usr/bin/promtool"


class PromtoolTest(ViewTestCase):
    VIEW = "prometheus"

    def test_promtool_finds_no_error(self):
        texts = {path.name: self.show(path.read_bytes()) for path in REPORTS.iterdir()}
        texts["escaped"] = self.show(report(
            [Problem('\\"&#10;\\', "P")], [Action('"', "A", status="ok")]).replace(b"&amp;", b"&"))
        for name, text in texts.items():
            with self.subTest(name):
                done = subprocess.run([PROMTOOL, "check", "metrics"], input=text.encode(),
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
                self.assertEqual((done.returncode, done.stdout), (0, b""))


if __name__ == "__main__":
    unittest.main()
