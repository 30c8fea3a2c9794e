# SPDX-License-Identifier: MIT
"""Two builds of the collection for Ansible in very different environments give the same bytes, even if
the directories list their files in another order. release_test.py compares all kinds of packages."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from small_systems import AnsibleSystem

PROJECT = pathlib.Path(__file__).resolve().parents[2]


class ReproducibleTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        self.path = os.environ["PATH"]
        self.home = self.folder / "home"
        self.home.mkdir()

    def build(self, name, umask, environment, *wrapper):
        """The bytes of the archive that a build in the folder `name` makes."""
        sources = self.folder / name / "sources"
        shutil.copytree(PROJECT, sources, symlinks=True, ignore=shutil.ignore_patterns(
            ".git", "build", "__pycache__"))
        done = subprocess.run(
            [*wrapper, "script/package-collection"], cwd=sources, umask=umask,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
            env={"PATH": self.path, "HOME": str(self.home)} | environment)
        self.assertEqual(done.returncode, 0, done.stdout)
        [archive] = (sources / "build/collection").iterdir()
        return archive.read_bytes()

    def test_place_time_language_umask_file_system_and_order_do_not_matter(self):
        # A tmpfs lists the files of a directory in another order than a disk.
        other = self.folder / "another"
        other.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "another", other], check=True)
        self.addCleanup(subprocess.run, ["umount", other], check=True)
        self.provide_ansible()
        one = self.build("one", 0o022, {"LC_ALL": "C", "TZ": "UTC"})
        # The times of files stay. faketime would move those of copies twice.
        another = self.build("another/place-with-a-longer-name", 0o077, {
            "LC_ALL": "C.UTF-8", "LANGUAGE": "de", "TZ": "Pacific/Kiritimati", "NO_FAKE_STAT": "1"},
            "faketime", "2030-02-03 04:05:06")
        self.assertTrue(one == another, "the bytes differ")

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
