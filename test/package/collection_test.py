# SPDX-License-Identifier: MIT
"""The collection for Ansible, installed on a small Debian system as a package and as an archive, and by
the RPM; and built twice."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from small_systems import AnsibleSystem, RpmAnsibleSystem, SystemTest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PACKAGE = "ansible-collection-keldo-keldoctl"
PLACE = "usr/share/ansible/collections/ansible_collections/keldo/keldoctl"
MODULE = "keldo.keldoctl.keldoctl_info"
# Some versions of ansible-doc write it in capitals.
TITLE = f"(?i)> .*{re.escape(MODULE)}"
# Files that only the package or only the archive has.
OWN = ("galaxy.yml", "FILES.json", "MANIFEST.json", "LICENSES")


def files(folder):
    """The contents of the files in a collection, by their names."""
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*")
            if path.is_file() and path.relative_to(folder).parts[0] not in OWN
            and "__pycache__" not in path.parts}


class CollectionTest(SystemTest):
    kind = AnsibleSystem

    def install_archive(self):
        self.system.run("ansible-galaxy", "collection", "install", "--offline", "--force",
                        "--collections-path", "/archive", "/packages/collection.tar.gz")

    def test_ansible_knows_the_module_that_the_package_installs(self):
        self.system.install(PACKAGE)
        self.assertRegex(self.system.run("ansible-doc", MODULE), TITLE)

    def test_ansible_knows_the_module_that_the_archive_installs(self):
        self.install_archive()
        self.assertRegex(self.system.run("env", "ANSIBLE_COLLECTIONS_PATH=/archive", "ansible-doc",
                                         MODULE), TITLE)

    def test_ansible_galaxy_lists_the_packages_version(self):
        self.system.install(PACKAGE)
        [version] = re.findall(r"^Version: (.*)$", self.system.run("dpkg", "--status", PACKAGE), re.M)
        self.assertRegex(self.system.run("ansible-galaxy", "collection", "list"),
                         rf"(?m)^keldo\.keldoctl +{re.escape(version)} *$")

    def test_package_and_archive_have_the_same_files(self):
        self.system.install(PACKAGE)
        self.install_archive()
        package = files(self.system.path(PLACE))
        archive = files(self.system.path("archive/ansible_collections/keldo/keldoctl"))
        self.assertIn("roles/report/files/views/fleet-html.xsl", package)
        self.assertEqual([name for name in package.keys() | archive.keys()
                          if package.get(name) != archive.get(name)], [])

    def test_a_removal_leaves_nothing(self):
        self.system.install(PACKAGE)
        self.system.remove(PACKAGE)
        self.assert_clean()


class RpmCollectionTest(SystemTest):
    kind = RpmAnsibleSystem

    def test_the_rpm_has_the_module_and_leaves_nothing(self):
        self.system.rpm("--install", RpmAnsibleSystem.file(PACKAGE))
        self.assertTrue(self.system.path(f"{PLACE}/plugins/modules/keldoctl_info.py").exists())
        self.system.rpm("--erase", PACKAGE)
        self.assert_clean()


class ReproducibleTest(unittest.TestCase):
    """Two builds in very different environments give the same bytes, even if the directories list their
    files in another order. release_test.py compares all kinds of packages."""

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
