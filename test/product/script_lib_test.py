# SPDX-License-Identifier: MIT
"""What script/lib.sh tells the scripts."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]


class FreshPackagesTest(unittest.TestCase):
    """Files from all over a project, made in the order of their numbers as far as times tell."""

    def setUp(self):
        self.project = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.project / "script").mkdir()
        shutil.copy(PROJECT / "script/lib.sh", self.project / "script/lib.sh")
        self.make(1, "src/main.cpp")
        self.make(1, ".git/index")
        self.make(2, "build/packages/keldoctl_1.0.0.dsc")
        self.make(4, "build/packages/keldoctl_1.0.0_amd64.deb")
        for path in (self.project, *self.project.rglob("*")):
            if path.is_dir() or path.name == "lib.sh":
                os.utime(path, (1, 1))

    def make(self, time, name):
        path = self.project / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.touch()
        os.utime(path, (time, time))

    def are_fresh(self):
        done = subprocess.run(
            ["bash", "-c", "set -uo pipefail; program=test; source script/lib.sh; "
             'packages_are_fresh "$project/build/packages"'], cwd=self.project, check=False)
        self.assertIn(done.returncode, (0, 1))
        return done.returncode == 0

    def test_packages_of_unchanged_sources_are(self):
        self.assertTrue(self.are_fresh())

    def test_what_git_builds_and_tests_make_does_not_count(self):
        for name in (".git/index", "build/release/keldoctl", "test/__pycache__/a.pyc"):
            self.make(5, name)
        os.utime(self.project / "test", (1, 1))
        os.utime(self.project, (1, 1))
        self.assertTrue(self.are_fresh())

    def test_a_source_that_was_changed_after_or_during_the_build_makes_them_old(self):
        for time in (3, 5):
            self.make(time, "src/main.cpp")
            self.assertFalse(self.are_fresh())

    def test_a_source_that_is_gone_makes_them_old(self):
        (self.project / "src/main.cpp").unlink()
        self.assertFalse(self.are_fresh())

    def test_where_there_are_none_they_are_not(self):
        for left in ("packages", "."):
            shutil.rmtree(self.project / "build" / left)
            self.assertFalse(self.are_fresh())


if __name__ == "__main__":
    unittest.main()
