# SPDX-License-Identifier: MIT
"""Files that repeat the version of CMakeLists.txt."""

import os
import pathlib
import re
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["KELDOCTL"]).parent


def found(pattern, path):
    """The text of the pattern's group at its first match in a file."""
    match = re.search(pattern, path.read_text(encoding="utf-8"), re.MULTILINE)
    if not match:
        raise AssertionError(f"no {pattern} in {path}")
    return match[1]


VERSION = found(r"^project\(keldoctl VERSION (\S+)", PROJECT / "CMakeLists.txt")


class VersionTest(unittest.TestCase):
    def test_every_file_repeats_the_version(self):
        for name, pattern in (("debian/changelog", r"\Akeldoctl \((\S+)\) "),
                              ("rpm/keldoctl.spec", r"^Version: +(\S+)$"),
                              ("rpm/keldoctl.spec", r"%changelog\n\* .* - (\S+)-1\n"),
                              ("CHANGELOG.md", r"^## ([0-9.]+)")):
            with self.subTest(name, pattern=pattern):
                self.assertEqual(found(pattern, PROJECT / name), VERSION)

    def test_the_manual_pages_show_the_version(self):
        pages = sorted((BUILD / "share/man").glob("man*/*"))
        self.assertTrue(pages)
        for page in pages:
            with self.subTest(page.name):
                self.assertEqual(found(r"^\.Os keldoctl (\S+)$", page), VERSION)


if __name__ == "__main__":
    unittest.main()
