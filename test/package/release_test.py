# SPDX-License-Identifier: MIT
"""Two runs of script/release in very different environments give the same bytes, and the list of
contents names all that is in them."""

import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(PROJECT / "script"))

import spdx  # found by that path


def sha256(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


class ReleaseTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        # A private host, which runs ansible-galaxy, has only the directory of its project.
        directory = tempfile.mkdtemp(prefix="release-test.", dir=PROJECT / "build")
        cls.folder = pathlib.Path(directory)
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        galaxy = cls.folder / "programs/ansible-galaxy"
        galaxy.parent.mkdir()
        # The library of faketime needs memory that another host does not share.
        galaxy.write_text("#!/bin/sh\nexec env --unset=LD_PRELOAD --unset=FAKETIME_SHARED"
                          f' {PROJECT}/host/run --bare --with fleet ansible-galaxy "$@"\n',
                          encoding="utf-8")
        galaxy.chmod(0o755)
        cls.one = cls.make("one", 0o022, {"LC_ALL": "C", "TZ": "UTC"})
        # script/package and script/package-rpm build here.
        temporary = cls.folder / "another/temporary-directory-with-a-longer-name"
        temporary.mkdir(parents=True)
        cls.other = cls.make("another/place-with-a-longer-name", 0o077, {
            "LC_ALL": "C.UTF-8", "LANGUAGE": "de", "TZ": "Pacific/Kiritimati",
            "TMPDIR": str(temporary),
            # The times of files stay. faketime would move those of copies twice.
            "DEB_BUILD_OPTIONS": "parallel=3", "NO_FAKE_STAT": "1"},
            "faketime", "2030-02-03 04:05:06")

    @classmethod
    def make(cls, name, umask, environment, *wrapper):
        """The directory with the release of this commit, made in a clone."""
        clone = cls.folder / name
        subprocess.run(["git", "clone", "--quiet", PROJECT, clone], check=True, umask=umask)
        path = f"{cls.folder}/programs:{os.environ['PATH']}"
        home = cls.folder / "home"
        home.mkdir(exist_ok=True)
        done = subprocess.run([*wrapper, "script/release", "--quick"], cwd=clone, umask=umask,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
                              env={"PATH": path, "HOME": str(home)} | environment)
        if done.returncode:
            raise AssertionError(done.stdout)
        [release] = clone.glob("build/release-*")
        return release

    def files(self):
        return sorted(path for path in self.one.iterdir() if path.name != "SHA256SUMS")

    def test_place_time_language_umask_and_order_do_not_matter(self):
        self.assertEqual((self.one / "SHA256SUMS").read_text(encoding="utf-8"),
                         (self.other / "SHA256SUMS").read_text(encoding="utf-8"))
        subprocess.run(["sha256sum", "--check", "--strict", "--quiet", "SHA256SUMS"],
                       cwd=self.other, check=True)

    def test_all_kinds_of_files_are_there(self):
        sums = (self.one / "SHA256SUMS").read_text(encoding="utf-8").splitlines()
        self.assertEqual([line.split("  ")[1] for line in sums],
                         [path.name for path in self.files()])
        kinds = {re.sub(r"[-_][0-9].*?(?=(\.tar\.gz|\.spdx\.json|\.deb|\.rpm)$)", "", path.name)
                 for path in self.files()}
        packages = {f"{name}.{kind}" for kind in ("deb", "rpm") for name in (
            "keldoctl", "keldoctl-monit", "ansible-collection-keldo-keldoctl")}
        self.assertEqual({"keldoctl.tar.gz", "keldo-keldoctl.tar.gz", "keldoctl.spdx.json"} | packages,
                         {kind for kind in kinds if "-dbgsym" not in kind})

    def test_the_source_archive_has_the_files_of_the_commit(self):
        [archive] = self.one.glob("keldoctl-*.tar.gz")
        listed = subprocess.run(["git", "ls-tree", "-r", "--name-only", "-z", "HEAD"], cwd=PROJECT,
                                check=True, stdout=subprocess.PIPE, text=True).stdout
        names = {name for name in listed.split("\0") if name and not (PROJECT / name).is_symlink()}
        self.assertEqual({name.partition("/")[2] for name, _ in spdx.members(archive)}, names)

    def test_the_list_of_contents_is_complete_and_consistent(self):
        [path] = self.one.glob("*.spdx.json")
        document = json.loads(path.read_bytes())
        packages = {package["SPDXID"]: package for package in document["packages"]}
        files = {file["SPDXID"]: file for file in document["files"]}
        self.assertEqual(len(packages) + len(files),
                         len(document["packages"]) + len(document["files"]))
        self.assertEqual({package["packageFileName"] for package in packages.values()},
                         {each.name for each in self.files()} - {path.name})
        contained = {name: [] for name in packages}
        for relation in document["relationships"]:
            if relation["relationshipType"] == "CONTAINS":
                contained[relation["spdxElementId"]].append(
                    files[relation["relatedSpdxElement"]])
        for name, package in packages.items():
            with self.subTest(package["name"]):
                archive = self.one / package["packageFileName"]
                self.assertEqual(package["checksums"][1],
                                 {"algorithm": "SHA256", "checksumValue": sha256(archive)})
                self.assertEqual(
                    {file["fileName"]: file["checksums"][1]["checksumValue"]
                     for file in contained[name]},
                    {f"./{member}": hashlib.sha256(content).hexdigest()
                     for member, content in spdx.members(archive)})
                sums = sorted(file["checksums"][0]["checksumValue"] for file in contained[name])
                self.assertEqual(
                    package["packageVerificationCode"]["packageVerificationCodeValue"],
                    hashlib.sha1("".join(sums).encode()).hexdigest())


if __name__ == "__main__":
    unittest.main()
