# SPDX-License-Identifier: MIT
"""The views of runs with real services, a real database and a real monitor."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

from manual import shown_commands
from panel import BUILD
from services import service_control
from views import install_views


def without_times(text):
    """The text of a report without the host's name, the time and the duration of the inspection."""
    text = text.replace(os.uname().nodename + " ", "panel.example ")
    return re.sub(r" [0-9-]{10} [0-9:]{5} \S+  (.* in) [0-9.]+ s", r" \1 s", text)


class ViewsTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        service_control("start-all")
        directory = cls.enterClassContext(tempfile.TemporaryDirectory())
        cls.prefix = install_views(directory)
        for program in ("keldoctl", "keldoctl-inspect"):
            (cls.prefix / "sbin" / program).symlink_to(shutil.which(program))
        (cls.prefix / "libexec/keldoctl/repair-commands").symlink_to(
            BUILD / "libexec/repair-commands")

    def shell(self, command, status):
        """The output of a command line that ends with this status, without times."""
        done = subprocess.run(["bash", "-c", command], check=False, stdout=subprocess.PIPE, text=True,
                              env={"PATH": f"{self.prefix}/sbin:{os.environ['PATH']}"})
        self.assertEqual(done.returncode, status)
        return without_times(done.stdout)

    def test_the_examples_of_the_manual_print_what_it_shows(self):
        service_control("kill", "web")
        for (command, output), status in zip(shown_commands("keldoctl-report.8", "EXAMPLES"),
                                             (1, 0, 0), strict=True):
            with self.subTest(command):
                self.assertEqual(self.shell(command, status), without_times(output))

    def test_the_commands_that_the_report_shows_repair_the_services(self):
        """They repair one service, and then all that are down."""
        for services in (["web"], ["web", "redis"]):
            with self.subTest(services):
                for service in services:
                    service_control("kill", service)
                text = self.shell("keldoctl-report --language=de-DE", 1)
                command = re.findall(r"keldoctl-report --repair .*", text)[-1]
                text = self.shell(command, 0)
                self.assertEqual(len(re.findall(r"^\[\+\] Succeeded: ", text, re.M)), len(services))
                self.assertIn("\n[+] All 7 services that ought to run are up: ", text)

    def test_a_terminal_shows_the_beginning_and_the_end_of_a_repair(self):
        text = self.shell("script -qec 'keldoctl-report --repair restart-service:dns' /dev/null", 0)
        # A slow host also shows how far it is, and erases that line. A carriage return is read as \n.
        text = re.sub(r"[^\n]*\n\x1b\[K", "", text)
        self.assertRegex(text, r"\ARestart the Name Server service\.\n"
                               r"Restart the Name Server service\. Done in \d+\.\d+ s\.\n\n"
                               r"panel\.example ")


if __name__ == "__main__":
    unittest.main()
