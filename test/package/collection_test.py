# SPDX-License-Identifier: MIT
"""The collection for Ansible, installed on a small Debian system as a package and as an archive, and by
the RPM."""

import re
import unittest

from small_systems import AnsibleSystem, RpmAnsibleSystem, SystemTest

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


if __name__ == "__main__":
    unittest.main()
