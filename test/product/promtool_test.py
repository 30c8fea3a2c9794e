# SPDX-License-Identifier: MIT
"""The view for Prometheus, held against Prometheus's own checker."""

import subprocess
import unittest

from panel import Action, Problem, report
from views import PROJECT, REPORTS, ViewTestCase

# Where support/unpack-promtool has it, which ctest runs before.
PROMTOOL = PROJECT / "build/prometheus/usr/bin/promtool"


class PromtoolTest(ViewTestCase):
    VIEW = "prometheus"

    def test_it_finds_no_fault(self):
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
