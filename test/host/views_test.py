# SPDX-License-Identifier: MIT
"""The views of runs with real services, a real database and a real monitor."""

import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from services import service_control
from views import install_views, show


class ViewsTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        service_control("start-all")
        directory = cls.enterClassContext(tempfile.TemporaryDirectory())
        cls.prefix = install_views(directory)
        (cls.prefix / "sbin/keldoctl").symlink_to(shutil.which("keldoctl"))

    def run_program(self, name, *arguments):
        """The status and the output of an installed program. It must print no message."""
        done = subprocess.run([self.prefix / name, *arguments], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(done.stderr, b"")
        return done.returncode, done.stdout.decode()

    def show_report(self, *arguments):
        status, output = self.run_program("sbin/keldoctl-report", *arguments)
        self.assertEqual(status, 0)
        return output

    def test_the_views_of_a_crash_and_of_its_repair_by_the_shown_command(self):
        self.assertEqual(self.show_report(), "No problems found\n")
        service_control("kill", "web")
        text = self.show_report("--language=de-DE")
        self.assertEqual(text, """\
Probleme: 1

[Schwerwiegend] Der Dienst „Webserver“ ist ausgeschaltet.
    Den Dienst „Webserver“ neu starten.
        keldoctl --repair restart-service:web
""")
        self.assertIn('<h3 dir="auto" lang="en-US">The Web Server service is switched off.</h3>',
                      self.show_report("--html"))
        self.assertIn('keldoctl_problem{id="service-down:web",severity="major"} 1\n',
                      self.show_report("--prometheus"))
        self.assertEqual(self.run_program("lib/nagios/plugins/check_keldoctl"), (
            2, "KELDOCTL CRITICAL - 1 problem: [major] The Web Server service is switched off."
               " | problems=1;;;0 minor=0;0;;0 major=1;0;0;0 critical=0;0;0;0\n"))
        down = subprocess.run(["keldoctl", "--status"], check=True, stdout=subprocess.PIPE).stdout

        command = re.search(r"^ +(keldoctl --repair .*)", text, re.MULTILINE)[1]
        repaired = subprocess.run(["sh", "-c", command], check=True, stdout=subprocess.PIPE).stdout
        self.assertEqual(show("text", repaired), """\
Repairs carried out: 1

[Succeeded] Restart the Web Server service.
    web: was not running any more
    web: started

No problems found
""")
        with tempfile.NamedTemporaryFile(suffix=".xml") as older:
            pathlib.Path(older.name).write_bytes(down)
            self.assertEqual(show("changes", repaired, older=older.name), """\
New: 0
Gone: 1
  [Major] The Web Server service is switched off.
Unchanged: 0
""")


if __name__ == "__main__":
    unittest.main()
