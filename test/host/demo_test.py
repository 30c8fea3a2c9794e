# SPDX-License-Identifier: MIT
"""script/demo on the private host."""

import os
import subprocess
import unittest

from panel import KELDOCTL, PROJECT

PROGRAMS = ("keldoctl", "keldoctl-inspect", "keldoctl-report", "check_keldoctl",
            "keldo-service-lint", "monit-check-status")
LINES = {
    "type -P " + " ".join(PROGRAMS): [rf"(?m)^/\S+/{name}$" for name in PROGRAMS],
    "man -w keldoctl-inspect keldo-service-lint": [r"/keldoctl-inspect\.8", r"/keldo-service-lint\.1"],
    "complete -p " + " ".join(PROGRAMS): [rf"(?m)^complete -F _keldoctl {name}$"
                                          for name in PROGRAMS],
    "service-control kill web": ["web: killed"],
    "keldoctl --status --language=ja-JP": ['<message xml:lang="ja-JP">'],
    "keldoctl-inspect --language=pl-PL": ['<reason code="no_process" xml:lang="pl-PL">'],
}


def demo(option, text=""):
    return subprocess.run(["script/demo", option], cwd=PROJECT, check=False, input=text, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env=os.environ | {"KELDO_BUILD": str(KELDOCTL.parent)}).stdout


class ShowTest(unittest.TestCase):
    def test_it_shows_each_state_with_its_reason(self):
        shown = demo("--show-on-host")
        place = 0
        for text in ("$ service-control kill web", "names no running process",
                     "$ service-control kill dns", "connection refused", 'code="refused"',
                     "$ service-control stop mail", "There is no space left"):
            with self.subTest(text):
                self.assertIn(text, shown[place:], shown)
                place = shown.index(text, place)


class ShellTest(unittest.TestCase):
    def test_it_has_programs_manuals_completion_and_languages(self):
        shown = demo("--open-shell", "".join(f"{line}\n" for line in LINES))
        for line, patterns in LINES.items():
            for pattern in patterns:
                with self.subTest(line, pattern=pattern):
                    self.assertRegex(shown, pattern)


if __name__ == "__main__":
    unittest.main()
