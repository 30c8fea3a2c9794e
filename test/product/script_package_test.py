# SPDX-License-Identifier: MIT
"""What script/package does, with fakes of the programs that it calls."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
# Makes the files that a build leaves beside the sources.
BUILD = "touch ../keldoctl_2_amd64.deb ../keldoctl_2_amd64.changes"
MADE = ["keldoctl_2_amd64.changes", "keldoctl_2_amd64.deb"]


class PackageTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.project = self.folder / "project"
        for name in ("script/lib.sh", "script/package", "debian/changelog"):
            (self.project / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(PROJECT / name, self.project / name)
        self.temporary = self.folder / "administrator's"
        self.temporary.mkdir()
        (self.folder / "bin").mkdir()
        self.program("apt-get", "")  # all build dependencies are there
        self.program("dpkg-buildpackage", BUILD)
        self.program("lintian", f'printf "%s" "${{@: -1}}" >{self.folder}/looked-at')

    def program(self, name, commands):
        path = self.folder / "bin" / name
        path.write_text(f"#!/bin/bash\n{commands}\n", encoding="utf-8")
        path.chmod(0o755)

    def package(self, status=0, **environment):
        done = subprocess.run(
            [self.project / "script/package"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            text=True, check=False, env={"PATH": f"{self.folder}/bin:{os.environ['PATH']}",
                                         "TMPDIR": str(self.temporary)} | environment)
        self.assertEqual(done.returncode, status, done.stdout)
        self.assertEqual(os.listdir(self.temporary), [])

    def have(self, folder, *names):
        folder.mkdir(parents=True)
        for name in names:
            (folder / name).touch()

    def test_its_own_directory_is_emptied_first(self):
        packages = self.project / "build/packages"
        self.have(packages, "keldoctl_1_amd64.deb", "keldoctl_1_amd64.changes")
        self.package()
        self.assertEqual(sorted(os.listdir(packages)), MADE)

    def test_other_files_of_a_given_directory_stay(self):
        packages = self.folder / "repository"
        self.have(packages, "other.deb", "keldoctl_1_amd64.deb", "a.changes", MADE[1])
        self.package(KELDO_PACKAGES=str(packages))
        self.assertEqual(sorted(os.listdir(packages)),
                         sorted(["other.deb", "keldoctl_1_amd64.deb", "a.changes", *MADE]))
        self.assertEqual((self.folder / "looked-at").read_text(encoding="utf-8"),
                         f"{packages}/{MADE[0]}")

    def test_root_installs_a_missing_lintian_and_others_are_told(self):
        lintian = self.folder / "bin/lintian"
        lintian.rename(self.folder / "lintian")
        self.program("apt-get", f'[[ "$*" != *"install lintian" ]] || cp {self.folder}/lintian {lintian}')
        for name in ("bash", "cp", "date", "dirname", "find", "grep", "ls", "mkdir", "mktemp", "mv", "rm",
                     "sed", "tar", "touch"):
            (self.folder / "bin" / name).symlink_to(shutil.which(name))
        is_root = os.geteuid() == 0
        self.package(status=0 if is_root else 1, PATH=f"{self.folder}/bin")
        self.assertEqual((self.folder / "looked-at").exists(), is_root)

    def test_a_failed_build_keeps_the_old_packages(self):
        packages = self.project / "build/packages"
        self.have(packages, "keldoctl_1_amd64.deb")
        self.program("dpkg-buildpackage", "exit 2")
        self.package(status=1)
        self.assertEqual(os.listdir(packages), ["keldoctl_1_amd64.deb"])


if __name__ == "__main__":
    unittest.main()
