# SPDX-License-Identifier: MIT
"""The functions of script/lib.sh."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]


class FreshPackagesTest(unittest.TestCase):
    """A small project; make() gives each file its time."""

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

    def test_packages_stay_fresh_if_no_source_changes(self):
        self.assertTrue(self.are_fresh())
        for name in (".git/index", "build/release/keldoctl", "test/__pycache__/a.pyc"):
            self.make(5, name)
        os.utime(self.project / "test", (1, 1))
        os.utime(self.project, (1, 1))
        self.assertTrue(self.are_fresh())

    def test_packages_are_old_or_missing_after_a_change(self):
        for name, change in (
                ("changed during the build", lambda: self.make(3, "src/main.cpp")),
                ("changed after the build", lambda: self.make(5, "src/main.cpp")),
                ("removed", lambda: (self.project / "src/main.cpp").unlink()),
                ("no packages", lambda: shutil.rmtree(self.project / "build/packages")),
                ("no build", lambda: shutil.rmtree(self.project / "build"))):
            with self.subTest(name):
                self.setUp()
                change()
                self.assertFalse(self.are_fresh())


class LastReleaseTest(unittest.TestCase):
    """A repository with three commits of version 1.0.0 and two of 1.1.0."""

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.project = self.folder / "whole"
        for folder in ("script", "debian"):
            (self.project / folder).mkdir(parents=True)
        shutil.copy(PROJECT / "script/lib.sh", self.project / "script/lib.sh")
        self.git("init", "--quiet")
        entries = ""
        for version, contents in (("1.0.0", "abc"), ("1.1.0", "de")):
            entries = f"keldoctl ({version}) unstable; urgency=medium\n\n{entries}"
            (self.project / "debian/changelog").write_text(entries, encoding="utf-8")
            (self.project / "CMakeLists.txt").write_text(
                f"project(keldoctl VERSION {version} LANGUAGES CXX)\n", encoding="utf-8")
            for content in contents:
                (self.project / "content").write_text(content, encoding="utf-8")
                self.git("add", ".")
                self.git("commit", "--quiet", "--message", content)

    def git(self, *arguments):
        subprocess.run(["git", "-c", "user.name=A", "-c", "user.email=a@b.example", *arguments],
                       cwd=self.project, check=True)

    def unpack(self):
        """Unpacks the last release. Returns what was said, and the content of the release's file."""
        done = subprocess.run(
            ["bash", "-c", "set -uo pipefail; program=test; source script/lib.sh; "
             "unpack_last_release"], cwd=self.project, check=False, capture_output=True, text=True)
        path = self.project / "build/last-release/content"
        return done.stderr, path.read_text(encoding="utf-8") if path.exists() else None

    def test_the_last_release_is_the_last_commit_of_the_version_before(self):
        self.assertEqual(self.unpack(), ("", "c"))
        (self.project / "build/last-release/content").write_text("kept", encoding="utf-8")
        self.assertEqual(self.unpack(), ("", "kept"))

    def test_a_shallow_clone_gets_a_message(self):
        self.git("clone", "--quiet", "--depth=1", self.project.as_uri(), self.folder / "shallow")
        self.project = self.folder / "shallow"
        self.assertEqual(self.unpack(), (
            "test: git's history lacks version 1.0.0; in a shallow clone, run git fetch "
            "--unshallow\n", None))


if __name__ == "__main__":
    unittest.main()
