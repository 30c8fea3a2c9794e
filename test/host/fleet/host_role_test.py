# SPDX-License-Identifier: MIT
"""The role that installs keldoctl and its gate. The package is made for the test; it has the programs
that the role calls."""

import json
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import playbooks
from panel import BUILD, PRODUCT_ROOT, require_private_host

KEY = "ssh-ed25519 AAAAC3Nza+/x= controller"
OTHER_KEY = "ssh-ed25519 AAAAC3other administrator"
LINE = f'restrict,command="/usr/sbin/keldoctl-gate" {KEY}\n'
RULE = pathlib.Path("/etc/sudoers.d/keldoctl-gate")
CONTROL = """\
Package: keldoctl
Version: 1.0
Architecture: all
Maintainer: A <a@b.example>
Description: x
"""


class HostRoleTest(unittest.TestCase):
    def setUp(self):
        require_private_host()
        self.addCleanup(self.clean)
        self.clean()
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.keys = self.directory / "ssh/authorized_keys"
        self.package = self.make_package()

    @staticmethod
    def clean():
        subprocess.run(["dpkg", "--purge", "keldoctl"], check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        for path in (PRODUCT_ROOT, "/var/lib/keldoctl", "/var/cache/keldoctl"):
            shutil.rmtree(path, ignore_errors=True)
        RULE.unlink(missing_ok=True)

    def make_package(self):
        tree = self.directory / "tree"
        for name in ("link-into-panel", "panel-links", "panel-root"):
            self.add(tree / f"usr/libexec/keldoctl/{name}", (BUILD / "libexec" / name).read_bytes())
        for name in ("keldoctl", "keldoctl-inspect"):
            self.add(tree / f"usr/sbin/{name}", b"")
        self.add(tree / "DEBIAN/control", CONTROL.encode())
        package = self.directory / "keldoctl_1.0_all.deb"
        subprocess.run(["dpkg-deb", "--build", "--root-owner-group", "-Znone", tree, package],
                       check=True, stdout=subprocess.DEVNULL)
        return package

    @staticmethod
    def add(path, content):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        path.chmod(0o755)

    def install(self, *options, status=0, **variables):
        """Runs the playbook. Returns the number of tasks that changed something, and the output."""
        variables = {"host_packages": [], "host_authorized_keys_file": str(self.keys)} | variables
        done = subprocess.run(
            [*playbooks.command("install", "localhost,", "--connection=local"), *options,
             "--extra-vars", json.dumps(variables)],
            env=playbooks.environment(self.directory), cwd=self.directory, check=False,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertEqual(done.returncode, status, done.stdout)
        return int(re.search(r"changed=([0-9]+)", done.stdout)[1]), done.stdout

    def test_it_installs_everything_once_and_nothing_in_check_mode(self):
        wanted = {"host_packages": [str(self.package)], "host_gate_keys": [KEY],
                  "host_gate_sudo_users": ["nobody"]}
        changes, _ = self.install("--check", **wanted)
        self.assertGreater(changes, 0)
        for path in (self.keys, RULE, pathlib.Path("/usr/sbin/keldoctl"), PRODUCT_ROOT / "tmp"):
            self.assertFalse(path.exists(), path)
        self.install(**wanted)
        self.assertEqual((PRODUCT_ROOT / "admin/sbin/keldoctl").readlink(),
                         pathlib.Path("/usr/sbin/keldoctl"))
        self.assertEqual(self.keys.read_text(encoding="utf-8"), LINE)
        self.assertEqual((self.keys.stat().st_mode & 0o777, self.keys.parent.stat().st_mode & 0o777),
                         (0o600, 0o700))
        self.assertIn("\nnobody ALL=(root) NOPASSWD: /usr/sbin/keldoctl-gate\n",
                      RULE.read_text(encoding="utf-8"))
        changes, output = self.install(**wanted)
        self.assertEqual(changes, 0, output)

    def test_links_of_a_panel_that_has_moved_are_made_again(self):
        wanted = {"host_packages": [str(self.package)]}
        self.install(**wanted)
        shutil.rmtree(PRODUCT_ROOT)
        self.assertEqual(self.install("--check", **wanted)[0], 1)
        self.assertFalse(PRODUCT_ROOT.exists())
        self.assertEqual(self.install(**wanted)[0], 1)
        self.assertTrue((PRODUCT_ROOT / "admin/sbin/keldoctl").is_symlink())

    def test_only_keys_and_users_of_the_gate_are_taken_and_only_they_are_removed(self):
        self.install(host_packages=[str(self.package)])
        self.keys.parent.mkdir()
        others = f'# {KEY}\ncommand="true # x" {OTHER_KEY}\n'
        self.keys.write_text(others + LINE, encoding="utf-8")
        for title, variables, message in (
                ("key of the administrator", {"host_gate_keys": [OTHER_KEY]}, "without the gate"),
                ("two lines", {"host_gate_keys": [f"{KEY}\n{OTHER_KEY}"]}, "not the line of one"),
                ("rule", {"host_gate_sudo_users": ["ALL ALL=(ALL)"]}, "not the name of a user")):
            with self.subTest(title):
                _, output = self.install(status=2, **variables)
                self.assertIn(message, output)
                self.assertEqual(self.keys.read_text(encoding="utf-8"), others + LINE)
        self.install(host_gate_revoked_keys=[KEY, OTHER_KEY])
        self.assertEqual(self.keys.read_text(encoding="utf-8"), others)


if __name__ == "__main__":
    unittest.main()
