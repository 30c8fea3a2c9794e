# SPDX-License-Identifier: MIT
"""doc/fleet.md: its configuration and commands work as they stand, on a controller with three hosts."""

import os
import pathlib
import re
import shlex
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ET

import fleet
from panel import BUILD, PROJECT

GUIDE = (PROJECT / "doc/fleet.md").read_text(encoding="utf-8")
BLOCK = re.compile(r"(?:^(?:    .*)?\n)+", re.M)
# The tests of the packages run ansible-galaxy.
COMMANDS = re.findall(r"^    (ansible(?:-playbook|-doc)? .*)$", GUIDE, re.M)


def block(text):
    """The block of the guide that contains a text, without its indentation."""
    [found] = [found for found in BLOCK.findall(GUIDE) if text in found]
    return re.sub("^    ", "", found, flags=re.M)


class FleetGuideTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (cls.directory / "ansible.cfg").write_text(block("callbacks_enabled"), encoding="utf-8")
        (cls.directory / "install.yml").write_text(block("host_gate_keys:"), encoding="utf-8")
        shutil.copy(fleet.DIRECTORY / "inventory", cls.directory / "hosts")

    def run_command(self, command, status):
        """Runs a command of the guide on a fleet with one problem. Returns the verdict of the run's
        document, or None."""
        fleet.hosts()["host1.example"].run("service-control", "kill", "web")
        words = shlex.split(command.replace("web1.example", "host1.example"))
        if words[-1] == "keldo.keldoctl.install":  # it would need packages
            words.insert(1, "--syntax-check")
        document = self.directory / "keldoctl-fleet/fleet.xml"
        document.unlink(missing_ok=True)
        done = subprocess.run(words, check=False, cwd=self.directory, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              env={"PATH": os.environ["PATH"], "LANG": "C.UTF-8",
                                   "HOME": str(self.directory),
                                   "ANSIBLE_COLLECTIONS_PATH": str(BUILD / "fleet")})
        self.assertEqual(done.returncode, status, done.stdout)
        return ET.parse(document).getroot().get("verdict") if document.exists() else None

    def test_each_command_runs(self):
        self.assertGreater(len(COMMANDS), 7)
        for command in COMMANDS:
            with self.subTest(command):
                name = command.rpartition(" ")[2]
                if name == "keldo.keldoctl.ask" or "--check keldo.keldoctl.repair" in command:
                    self.assertEqual(self.run_command(command, status=2), "problems")
                    self.assertTrue((self.directory / "keldoctl-fleet/fleet.html").exists())
                elif name == "keldo.keldoctl.repair":
                    self.assertEqual(self.run_command(command, status=0), "well")
                else:
                    self.run_command(command, status=0)

    def test_the_guide_explains_each_code_of_a_reason(self):
        sources = (PROJECT / "fleet/ansible_collections/keldo/keldoctl/plugins").rglob("*.py")
        text = "\n".join(path.read_text(encoding="utf-8") for path in sources)
        # The codes are in raise statements and in the table of the gate's exit statuses.
        codes = set(re.findall(r'(?:Refusal|[0-9]:) ?\("([a-z_]+)"', text))
        self.assertGreater(len(codes), 12)
        self.assertEqual([code for code in sorted(codes) if f"`{code}`" not in GUIDE], [])


if __name__ == "__main__":
    unittest.main()
