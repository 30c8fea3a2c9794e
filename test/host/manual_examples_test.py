# SPDX-License-Identifier: MIT
"""The examples of keldoctl(8), on a private host."""

import subprocess
import unittest

from manual import shown_commands
from services import service_control


def shell(command):
    """The output of a command line."""
    done = subprocess.run(["bash", "-o", "pipefail", "-c", command], check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.stdout.decode()


class ManualExamplesTest(unittest.TestCase):
    def test_each_command_prints_what_is_shown(self):
        usage, down, repair, well, repair_all, limited = shown_commands("keldoctl.8", "EXAMPLES")
        self.assertEqual(shell(usage[0]), usage[1])
        service_control("start-all")
        service_control("kill", "web")
        self.assertEqual(shell(down[0]), down[1])
        self.assertEqual(shell(repair[0]), repair[1])
        self.assertEqual(shell(well[0]), well[1])
        service_control("kill", "web")
        service_control("kill", "redis")
        self.assertEqual(shell(repair_all[0]).count("<status>ok</status>"), 2)
        self.assertEqual(shell(limited[0]), well[1])
        # With nothing to repair, the pipe runs nothing.
        self.assertEqual(shell(repair_all[0]), "")


if __name__ == "__main__":
    unittest.main()
