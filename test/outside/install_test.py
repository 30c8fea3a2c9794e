"""What an installation puts where: below the prefix, and below the panel's root directory."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from languages import listed_languages

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["KELDOCTL"]).parent
# What configuring makes, and what only tests use. All else in the build is there to be installed.
NOT_COPIED = shutil.ignore_patterns("CMakeCache.txt", "CMakeFiles", "*.cmake", "*.a", "test")
LINK = "/admin/sbin/keldoctl"  # below the panel's root

# Where each file goes that is not the panel's, by GNUInstallDirs' name of the folder.
PROGRAMS_AND_MANUALS = (
    ("SBINDIR", "keldoctl"),
    ("LIBEXECDIR", "keldoctl/link-locales"),
    ("LIBEXECDIR", "keldoctl/monit-check-status"),
    ("LIBEXECDIR", "keldoctl/panel-links"),
    ("LIBEXECDIR", "keldoctl/panel-root"),
    ("MANDIR", "man8/keldoctl.8"),
    ("MANDIR", "man8/monit-check-status.8"))
CATALOGUES = [f"share/locale/{language.catalogue}/LC_MESSAGES/keldoctl.mo"
              for language in listed_languages()]
LOCALES = BUILD / "lib/keldoctl/locale"
DEFAULT_FOLDERS = {"SBINDIR": "sbin", "LIBEXECDIR": "libexec", "MANDIR": "share/man"}


def install(build, *options, root=""):
    subprocess.run(["cmake", "--install", build, *options], check=True, stdout=subprocess.DEVNULL,
                   env=os.environ | {"DESTDIR": str(root)})


def files_below(root):
    """The files and links below a directory, by the names that they have when it is the root."""
    return {"/" + str(path.relative_to(root)) for path in pathlib.Path(root).rglob("*")
            if path.is_symlink() or not path.is_dir()}


def expected(prefix, panel, folders=None):
    """What is installed, with GNUInstallDirs' folders as given, if not by default."""
    folders = DEFAULT_FOLDERS | (folders or {})
    locales = {prefix + "/lib/keldoctl/locale" + name for name in files_below(LOCALES)}
    return ({os.path.join(prefix, folders[folder], name) for folder, name in PROGRAMS_AND_MANUALS} |
            locales |
            {os.path.join(panel, name) for name in CATALOGUES} | {panel + LINK})


class InstallTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root = pathlib.Path(temporary.name, "root")
        self.build = pathlib.Path(temporary.name, "build")

    def configure(self, *options):
        """Has a build of its own for further options, with everything in it built already."""
        shutil.copytree(BUILD, self.build, symlinks=True, ignore=NOT_COPIED)
        subprocess.run(["cmake", "-S", PROJECT, "-B", self.build, "-G", "Ninja",
                        "-DBUILD_TESTING=OFF", *options], check=True, stdout=subprocess.DEVNULL)

    def check(self, prefix, panel, folders=None):
        self.assertEqual(files_below(self.root), expected(prefix, panel, folders))
        link = pathlib.Path(f"{self.root}{panel}{LINK}")
        program = os.path.join(prefix, (folders or {}).get("SBINDIR", "sbin"), "keldoctl")
        self.assertEqual(os.readlink(link), program)

    def test_the_panels_files_are_where_it_looks_and_the_others_below_usr_local(self):
        install(BUILD, root=self.root)
        self.check("/usr/local", "/usr/local/kvr")

    def test_another_prefix_moves_all_but_what_is_the_panels(self):
        install(BUILD, "--prefix", "/usr", root=self.root)
        self.check("/usr", "/usr/local/kvr")

    def test_another_root_of_the_panel_moves_what_is_the_panels(self):
        self.configure("-DPRODUCT_ROOT_D=/srv/panel")
        install(self.build, root=self.root)
        self.check("/usr/local", "/srv/panel")

    def test_folders_may_be_named_each_below_the_prefix_or_not(self):
        folders = {"SBINDIR": "bin", "LIBEXECDIR": "lib/private", "MANDIR": "/srv/manuals"}
        self.configure("-DCMAKE_INSTALL_PREFIX=/opt/diagnostics", "-DPRODUCT_ROOT_D=/srv/panel",
                       *(f"-DCMAKE_INSTALL_{name}={folder}" for name, folder in folders.items()))
        with self.subTest("the configured prefix"):
            install(self.build, root=self.root)
            self.check("/opt/diagnostics", "/srv/panel", folders)
        shutil.rmtree(self.root)
        with self.subTest("another one"):
            install(self.build, "--prefix", "/opt/other", root=self.root)
            self.check("/opt/other", "/srv/panel", folders)

    def test_without_destdir_the_installed_program_runs_at_the_panels_place(self):
        prefix, panel = self.root / "prefix", self.root / "panel"
        self.configure(f"-DPRODUCT_ROOT_D={panel}")
        install(self.build, "--prefix", prefix)
        self.assertEqual(files_below(self.root), expected("/prefix", "/panel"))
        run = subprocess.run([f"{panel}{LINK}", "--help"], capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout.splitlines()[0]),
                         (0, "Usage: keldoctl --status [--language=LANG_CODE]"))

    def test_installed_into_the_panels_folder_it_is_no_link_to_itself(self):
        self.configure("-DCMAKE_INSTALL_SBINDIR=admin/sbin")
        install(self.build, "--prefix", "/usr/local/kvr", root=self.root)
        self.assertEqual(files_below(self.root),
                         expected("/usr/local/kvr", "/usr/local/kvr", {"SBINDIR": "admin/sbin"}))
        self.assertFalse(os.path.islink(f"{self.root}/usr/local/kvr{LINK}"))

    def test_a_second_installation_replaces_the_first(self):
        for _ in range(2):
            install(BUILD, root=self.root)
        self.check("/usr/local", "/usr/local/kvr")

    def test_the_manifest_names_every_file(self):
        self.configure()
        install(self.build, root=self.root)
        manifest = (self.build / "install_manifest.txt").read_text(encoding="utf-8")
        self.assertEqual(set(manifest.split()), files_below(self.root))


if __name__ == "__main__":
    unittest.main()
