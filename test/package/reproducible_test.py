# SPDX-License-Identifier: MIT
"""Two builds of the packages, and of the collection for Ansible, in very different environments give
the same bytes."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from small_systems import AnsibleSystem

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PACKAGES = ("dpkg-buildpackage", "--build=binary", "--no-sign", "--build-profiles=nocheck",
            "--no-check-builddeps")


class ReproducibleTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        self.path = os.environ["PATH"]
        self.home = self.folder / "home"
        self.home.mkdir()

    def build(self, name, command, made, umask, environment, *wrapper):
        """What a build in the folder `name` makes: the contents of the files `made`, by file name."""
        sources = self.folder / name / "sources"
        shutil.copytree(PROJECT, sources, symlinks=True, ignore=shutil.ignore_patterns(
            ".git", "build", "__pycache__"))
        done = subprocess.run(
            [*wrapper, *command], cwd=sources, umask=umask, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True,
            env={"PATH": self.path, "HOME": str(self.home), "DEB_BUILD_OPTIONS": "terse"}
            | environment)
        self.assertEqual(done.returncode, 0, done.stdout)
        return {path.name: path.read_bytes() for path in sources.glob(made)}

    def assert_same(self, command, made, expected):
        """Place, time, language, umask, file system and order do not matter."""
        one = self.build("one", command, made, 0o022, {"LC_ALL": "C", "TZ": "UTC"})
        other = self.build("another/place-with-a-longer-name", command, made, 0o077, {
            "LC_ALL": "C.UTF-8", "LANGUAGE": "de", "TZ": "Pacific/Kiritimati",
            # The times of files stay. faketime would move those of copies twice.
            "DEB_BUILD_OPTIONS": "terse parallel=3", "NO_FAKE_STAT": "1"},
            "faketime", "2030-02-03 04:05:06")
        self.assertEqual(sorted(one), sorted(other))
        self.assertIn(expected, {re.split("_|-[0-9]", name)[0] for name in one})
        for name, content in one.items():
            with self.subTest(name):
                self.assertTrue(content == other[name], "the bytes differ")

    def test_two_builds_of_the_packages_are_equal(self):
        self.assert_same(PACKAGES, "../*.deb", "keldoctl")

    def test_two_builds_of_the_collection_are_equal(self):
        # A tmpfs lists the files of a directory in another order than a disk.
        other = self.folder / "another"
        other.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "another", other], check=True)
        self.addCleanup(subprocess.run, ["umount", other], check=True)
        self.provide_ansible()
        self.assert_same(["script/package-collection"], "build/collection/*", "keldo-keldoctl")

    def provide_ansible(self):
        """Makes ansible-galaxy a command that runs on a system with Ansible."""
        system = AnsibleSystem()
        self.addCleanup(system.close)
        inside = system.path(str(self.folder))
        inside.mkdir()
        system.mount("--rbind", self.folder, inside)
        program = self.folder / "bin/ansible-galaxy"
        program.parent.mkdir()
        # Not by name: this program is in PATH there, too.
        program.write_text(f'#!/bin/sh\nexec chroot {system.root} /usr/bin/ansible-galaxy "$@"\n',
                           encoding="utf-8")
        program.chmod(0o755)
        self.path = f"{program.parent}:{self.path}"


if __name__ == "__main__":
    unittest.main()
