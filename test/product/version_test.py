# SPDX-License-Identifier: MIT
"""The version is what CMakeLists.txt says; what cannot take it from there says the same."""

import os
import pathlib
import re
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["KELDOCTL"]).parent


def found(pattern, path):
    """What the pattern's group matches in a file, at its first place."""
    match = re.search(pattern, path.read_text(encoding="utf-8"), re.MULTILINE)
    if not match:
        raise AssertionError(f"no {pattern} in {path}")
    return match[1]


VERSION = found(r"^project\(keldoctl VERSION (\S+)", PROJECT / "CMakeLists.txt")


class VersionTest(unittest.TestCase):
    def check(self, pattern, name):
        self.assertEqual(found(pattern, PROJECT / name), VERSION)

    def test_debians_packages(self):
        self.check(r"\Akeldoctl \((\S+)\) ", "debian/changelog")

    def test_the_rpm_packages(self):
        self.check(r"^Version: +(\S+)$", "rpm/keldoctl.spec")

    def test_the_rpm_packages_changelog(self):
        self.check(r"%changelog\n\* .* - (\S+)-1\n", "rpm/keldoctl.spec")

    def test_the_changelog_for_users(self):
        self.check(r"^## ([0-9.]+)", "CHANGELOG.md")

    def test_the_manual_pages(self):
        pages = sorted((BUILD / "share/man").glob("man*/*"))
        self.assertTrue(pages)
        for page in pages:
            with self.subTest(page.name):
                self.assertEqual(found(r"^\.Os keldoctl (\S+)$", page), VERSION)


if __name__ == "__main__":
    unittest.main()
