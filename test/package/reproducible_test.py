# SPDX-License-Identifier: MIT
"""Two builds of the packages in very different environments give the same bytes."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]


class ReproducibleTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)

    def build(self, name, umask, environment, *wrapper):
        """The packages that a build in the folder `name` makes: their contents by file name."""
        folder = self.folder / name
        shutil.copytree(PROJECT, folder / "sources", symlinks=True, ignore=shutil.ignore_patterns(
            ".git", "build", "__pycache__"))
        done = subprocess.run(
            [*wrapper, "dpkg-buildpackage", "--build=binary", "--no-sign",
             "--build-profiles=nocheck", "--no-check-builddeps"],
            cwd=folder / "sources", umask=umask, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            text=True, env={"PATH": os.environ["PATH"], "DEB_BUILD_OPTIONS": "terse"} | environment)
        self.assertEqual(done.returncode, 0, done.stdout)
        return {path.name: path.read_bytes() for path in folder.glob("*.deb")}

    def test_place_time_language_umask_and_order_do_not_matter(self):
        one = self.build("one", 0o022, {"LC_ALL": "C", "TZ": "UTC"})
        other = self.build("another/place-with-a-longer-name", 0o077, {
            "LC_ALL": "C.UTF-8", "LANGUAGE": "de", "TZ": "Pacific/Kiritimati",
            "HOME": "/nonexistent", "DEB_BUILD_OPTIONS": "terse parallel=3"},
            "faketime", "2030-02-03 04:05:06")
        self.assertEqual(sorted(one), sorted(other))
        self.assertIn("keldoctl", {name.partition("_")[0] for name in one})
        for name, content in one.items():
            with self.subTest(name):
                self.assertTrue(content == other[name], "the bytes differ")


if __name__ == "__main__":
    unittest.main()
