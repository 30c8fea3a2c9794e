# SPDX-License-Identifier: MIT
"""Each file of the project has one licence, and every list of licences says the same."""

import ast
import pathlib
import re
import subprocess
import sys
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(PROJECT / "script"))

from spdx import annotations, licence_of, line_in, reuse_pattern  # found by that path
# Debian has names of its own for some licences.
DEBIAN_NAMES = {"Expat": "MIT", "GPL-3+": "GPL-3.0-or-later"}
COLLECTION = "fleet/ansible_collections/keldo/keldoctl/"


def read(name):
    return (PROJECT / name).read_text(encoding="utf-8", errors="replace")


def tracked_files():
    """The files of git's index, except links and the texts of the licences themselves."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=PROJECT, check=True,
                            capture_output=True, text=True).stdout.split("\0")
    return [name for name in listed if name and not name.startswith("LICENSES/")
            and (PROJECT / name).is_file() and not (PROJECT / name).is_symlink()]


def licence_in_debian_copyright(name):
    """The last stanza that matches decides. `*` matches slashes, too."""
    found = None
    for stanza in read("debian/copyright").split("\n\n"):
        fields = dict(re.findall(r"^([A-Za-z-]+):[ \n]*((?:.|\n )*)", stanza, re.M))
        for glob in fields.get("Files", "").split():
            if re.fullmatch(re.escape(glob).replace(r"\*", ".*"), name, re.S):
                found = DEBIAN_NAMES[fields["License"]]
    return found


def extends_ansible(name):
    """Whether a class of this module has a base that is imported from Ansible, or from an action
    plugin of ours, which extends one of Ansible."""
    nodes = list(ast.walk(ast.parse(read(name))))
    imported = {alias.asname or alias.name for node in nodes if isinstance(node, ast.ImportFrom)
                if re.match(r"ansible\.|ansible_collections\..*\.action\.", node.module or "")
                for alias in node.names}
    bases = {ast.unparse(base).split(".")[0] for node in nodes if isinstance(node, ast.ClassDef)
             for base in node.bases}
    return bool(imported & bases)


class LicencesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.licences = {name: licence_of(name) for name in tracked_files()}
        assert len(cls.licences) > 900

    def test_each_file_has_a_licence(self):
        self.assertEqual([name for name, licence in self.licences.items() if not licence], [],
                         "give each a line as its neighbours have, or an entry in REUSE.toml")

    def test_the_texts_of_these_licences_are_there_and_no_others(self):
        self.assertEqual({path.stem for path in (PROJECT / "LICENSES").iterdir()},
                         {licence for licence in self.licences.values() if licence})

    def test_a_file_that_extends_a_class_of_ansible_is_under_ansibles_licence(self):
        for name, licence in self.licences.items():
            if name.startswith(COLLECTION) and name.endswith(".py"):
                with self.subTest(name):
                    is_gpl = extends_ansible(name) or name.startswith(COLLECTION + "plugins/modules/")
                    self.assertEqual(licence, "GPL-3.0-or-later" if is_gpl else "MIT")

    def test_tools_can_read_each_licence_line(self):
        for name in self.licences:
            for rest in re.findall(r"SPDX-License-Identifier[:](.*)", read(name)):
                with self.subTest(name):
                    self.assertIn(rest.removesuffix("-->").strip(), DEBIAN_NAMES.values())

    def test_each_entry_of_reuse_toml_is_needed(self):
        without_line = [name for name in self.licences if not line_in(name)]
        for entry in annotations()[1:]:
            for path in entry["path"]:
                with self.subTest(path):
                    self.assertTrue(any(reuse_pattern(path).fullmatch(name)
                                        for name in without_line))

    def test_debians_copyright_says_the_same(self):
        for name, licence in self.licences.items():
            self.assertEqual(licence_in_debian_copyright(name), licence, name)


if __name__ == "__main__":
    unittest.main()
