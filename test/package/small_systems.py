# SPDX-License-Identifier: MIT
"""Small systems with nothing of keldoctl's, for tests of its packages."""

import os
import pathlib
import re
import stat
import subprocess
import tempfile
import unittest

BASE = pathlib.Path(os.environ["KELDO_BASE_SYSTEM"])
WITH_ANSIBLE = pathlib.Path(os.environ["KELDO_ANSIBLE_SYSTEM"])
PACKAGES = pathlib.Path(os.environ["KELDO_PACKAGES"])
RPMS = pathlib.Path(os.environ["KELDO_RPMS"])
COLLECTION = pathlib.Path(os.environ["KELDO_COLLECTION"])
# The directories of the last release's packages are in this directory.
LAST_RELEASE = pathlib.Path(os.environ["KELDO_LAST_RELEASE"])
# Lists, logs and caches of the package management.
OF_PACKAGE_MANAGEMENT = ("proc", "etc/ld.so.cache", "var/cache", "var/lib/apt", "var/lib/dpkg",
                         "var/lib/rpm", "var/log", "tmp")
NAMES = ("keldoctl", "keldoctl-monit")


def package_file(name, folder=PACKAGES):
    """The one .deb of this name."""
    [path] = folder.glob(f"{name}_*.deb")
    return path


class System:
    """A copy of the base system until close(). It has no network and runs no daemon."""

    base = BASE

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="keldo-debian."))
        self.root = self.folder / "root"
        # script/package-test has its own mount namespace, so its end removes the mounts.
        self.mount("-t", "tmpfs", "-o", "mode=0755", "system", self.folder)
        for name in ("upper", "work", "root"):
            (self.folder / name).mkdir()
        self.mount("-t", "overlay", "-o", f"lowerdir={self.base},upperdir={self.folder}/upper,"
                   f"workdir={self.folder}/work", "system", self.root)
        self.mount("-t", "proc", "proc", self.root / "proc")
        self.add_packages()
        self.clean = self.state()

    def add_packages(self):
        """Puts packages onto the system."""

    def close(self):
        subprocess.run(["umount", "--recursive", "--lazy", self.folder], check=True)
        self.folder.rmdir()

    @staticmethod
    def mount(*arguments):
        subprocess.run(["mount", *arguments], check=True)

    def run(self, *command, status=0):
        """Runs a command on the system with a minimal environment, and returns its output."""
        done = subprocess.run(
            ["chroot", self.root, *command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True,
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND": "noninteractive"})
        if done.returncode != status:
            raise AssertionError(f"{command} exits {done.returncode}:\n{done.stdout}")
        return done.stdout

    def path(self, name):
        return self.root / name.lstrip("/")

    def write(self, name, content):
        path = self.path(name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def link(self, name):
        """The target of a link, or None if there is no link."""
        path = self.path(name)
        return os.readlink(path) if path.is_symlink() else None

    def state(self):
        """Every path with its mode, owner and content, except those of the package management."""
        found = {}
        for folder, folders, files in os.walk(self.root):
            inside = os.path.relpath(folder, self.root)
            folders[:] = [name for name in folders if not skipped(inside, name)]
            for name in folders + [name for name in files if not skipped(inside, name)]:
                path = pathlib.Path(folder, name)
                status = path.lstat()
                found["/" + str(path.relative_to(self.root))] = (
                    oct(status.st_mode), status.st_uid, status.st_gid, content_of(self.root, path, status))
        return found

    def systemctl(self, *arguments):
        """The output of this machine's systemctl, which changes and reads the system's files."""
        return subprocess.run(["systemctl", f"--root={self.root}", *arguments], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout


class DebianSystem(System):
    """The packages are in /packages, and those of the last release in /released."""

    def add_packages(self):
        for folder, source in (("packages", PACKAGES), ("released", LAST_RELEASE / "packages")):
            for name in NAMES:
                self.write(f"{folder}/{name}.deb", package_file(name, source).read_bytes())

    def install(self, *names, folder="/packages"):
        return self.run("apt-get", "--yes", "--no-install-recommends", "install",
                        *(f"{folder}/{name}.deb" for name in names))

    def install_last_release(self):
        self.install(*NAMES, folder="/released")

    def upgrade(self):
        return self.install(*NAMES)

    def remove(self, *names):
        return self.run("apt-get", "--yes", "remove", *names)

    def purge(self, *names):
        return self.run("apt-get", "--yes", "purge", *names)

    def remove_all(self):
        self.purge(*NAMES)

    def add_old_version(self, version="0.9.0", change=lambda name, tree: None):
        """Puts the packages with another version into /old, after `change` has edited each tree."""
        for name in NAMES:
            with tempfile.TemporaryDirectory() as temporary:
                tree = pathlib.Path(temporary, "tree")
                subprocess.run(["dpkg-deb", "--raw-extract", package_file(name), tree], check=True)
                control = tree / "DEBIAN/control"
                text = control.read_text(encoding="utf-8")
                [new] = [line.split()[1] for line in text.splitlines()
                         if line.startswith("Version:")]
                control.write_text(text.replace(f"Version: {new}", f"Version: {version}")
                                   .replace(f"(= {new})", f"(= {version})"), encoding="utf-8")
                change(name, tree)
                self.path("old").mkdir(exist_ok=True)
                self.build_package(tree, f"old/{name}.deb")
        self.clean = self.state()

    def build_package(self, tree, name):
        subprocess.run(["dpkg-deb", "--build", "--root-owner-group", "-Znone", tree,
                        self.path(name)], check=True, stdout=subprocess.DEVNULL)

    def add_package(self, name, files):
        """Puts another package, with these files, into /packages."""
        control = (f"Package: {name}\nVersion: 1\nArchitecture: all\nMaintainer: A <a@b.example>\n"
                   "Description: a package\n")
        with tempfile.TemporaryDirectory() as temporary:
            tree = pathlib.Path(temporary, "tree")
            for file, content in (files | {"DEBIAN/control": control}).items():
                path = tree / file
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(content, encoding="utf-8")
            self.build_package(tree, f"packages/{name}.deb")


class AnsibleSystem(DebianSystem):
    """Has Ansible. The packages of the collection are in /packages."""

    base = WITH_ANSIBLE

    def add_packages(self):
        name = "ansible-collection-keldo-keldoctl"
        [archive] = COLLECTION.iterdir()
        for file, source in ((f"{name}.deb", package_file(name)), ("collection.tar.gz", archive)):
            self.write(f"packages/{file}", source.read_bytes())


class RpmSystem(System):
    """Debian's files, which rpm knows as the package base-system, and this machine's rpm."""

    def add_packages(self):
        # Every RPM system has this directory.
        self.path("/usr/share/licenses").mkdir(parents=True)

    def rpm(self, *arguments, status=0):
        """Runs rpm for this system. Returns its output; fails unless it exits with `status`."""
        # Debian 13's rpm has a plugin that warns about the root. Debian 12's rpm advises against itself.
        done = subprocess.run(["rpm", "--root", self.root, "--dbpath", "/var/lib/rpm", "--noplugins",
                               *arguments], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != status:
            raise AssertionError(f"rpm {arguments} exits {done.returncode}:\n{done.stdout}")
        return re.sub(r"(?m)^rpm: .*\n", "", done.stdout)

    @staticmethod
    def file(name):
        """The one RPM of this name."""
        [path] = RPMS.glob(f"{name}-[0-9]*.rpm")
        return path

    def install(self, *names):
        """Also upgrades."""
        return self.rpm("--upgrade", *map(self.file, names))

    def install_last_release(self):
        self.rpm("--install", *(LAST_RELEASE / "rpm-packages").glob("*.rpm"))

    def upgrade(self):
        return self.install(*NAMES)

    def remove_all(self):
        self.rpm("--erase", *NAMES)


class RpmAnsibleSystem(RpmSystem):
    """Has Ansible too."""

    base = WITH_ANSIBLE


def skipped(folder, name):
    return os.path.normpath(os.path.join(folder, name)) in OF_PACKAGE_MANAGEMENT


def content_of(root, path, status):
    """A value that changes with the content: size and time, or the content itself below /var, where
    programs rewrite small files. Reading all files would take too long."""
    if stat.S_ISLNK(status.st_mode):
        return os.readlink(path)
    if not stat.S_ISREG(status.st_mode):
        return None
    if path.is_relative_to(root / "var/lib/keldoctl/links"):
        return sorted(path.read_bytes().splitlines())  # an upgrade adds new links at the end
    is_kept = path.is_relative_to(root / "var")
    return path.read_bytes() if is_kept else (status.st_size, status.st_mtime_ns)


class SystemTest(unittest.TestCase):
    """Each test has a system of its own."""

    kind = System

    def setUp(self):
        self.system = self.kind()
        self.addCleanup(self.system.close)

    def assert_clean(self, but=()):
        self.assert_state(self.system.clean, but)

    def assert_state(self, expected, but=()):
        state = self.system.state()
        for name in but:
            state.pop(name, None)
        names = sorted(expected.keys() | state.keys())
        differences = [f"{name}: {expected.get(name)} became {state.get(name)}"
                       for name in names if expected.get(name) != state.get(name)]
        # assertEqual would take minutes to compare two long lists.
        if differences:
            self.fail("\n".join(differences[:40]))
