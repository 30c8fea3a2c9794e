# SPDX-License-Identifier: MIT
"""The files of an installation, below the prefix and below the panel's root directory."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[3]
BUILD = pathlib.Path(os.environ["KELDOCTL"]).parent
# Left out of a copy of the build: configure() makes these files anew, or no installation needs them.
NOT_COPIED = shutil.ignore_patterns("CMakeCache.txt", "CMakeFiles", "*.cmake", "*.a", "test")
PROGRAMS = ("keldoctl", "keldoctl-inspect")  # with links in admin/sbin, below the panel's root
LINK = "/admin/sbin/keldoctl"

# All files but the panel's, by GNUInstallDirs' folders. "lib" is fixed on every architecture.
FILES = {
    "BINDIR": ("keldo-service-lint",),
    "SBINDIR": ("keldoctl", "keldoctl-gate", "keldoctl-inspect", "keldoctl-notify", "keldoctl-report"),
    "LIBEXECDIR": (
        "keldoctl/keep-report", "keldoctl/link-into-panel", "keldoctl/link-locales",
        "keldoctl/monit-check-status",
        "keldoctl/panel-links", "keldoctl/panel-root", "keldoctl/repair-commands",
        "keldoctl/show-changes", "keldoctl/write-metrics"),
    "MANDIR": (
        "man1/keldo-service-lint.1", "man5/keldo-service.5", "man5/kvr.conf.5", "man8/check_keldoctl.8",
        "man8/keldoctl-gate.8", "man8/keldoctl-inspect.8", "man8/keldoctl-notify.8",
        "man8/keldoctl-report.8", "man8/keldoctl.8", "man8/monit-check-status.8"),
    "DATADIR": (
        *(f"bash-completion/completions/{name}" for name in (
            "check_keldoctl", "keldo-service-lint", "keldoctl", "keldoctl-gate",
            "keldoctl-inspect", "keldoctl-notify", "keldoctl-report", "monit-check-status")),
        "keldoctl/examples/cache.xml", "keldoctl/examples/keldoctl-report.cron",
        "keldoctl/examples/minimal.xml", "keldoctl/examples/panel.py",
        "keldoctl/examples/web.xml", "keldoctl/fleet/sudoers.d/keldoctl-gate",
        "keldoctl/monitoring/README.md",
        "keldoctl/monitoring/grafana/keldoctl.json", "keldoctl/monitoring/icinga2/keldoctl.conf",
        "keldoctl/monitoring/nagios/keldoctl.cfg", "keldoctl/monitoring/notify.d/mail",
        "keldoctl/monitoring/notify.d/webhook",
        "keldoctl/monitoring/prometheus/keldoctl.rules.yml",
        "keldoctl/monitoring/sudoers.d/keldoctl", "keldoctl/schemas/keldo-service.rnc",
        "keldoctl/schemas/keldo-service.rng", "keldoctl/schemas/keldo-service.xsd",
        "keldoctl/schemas/keldoctl-fleet.rnc", "keldoctl/schemas/keldoctl-fleet.rng",
        "keldoctl/schemas/keldoctl-fleet.xsd",
        "keldoctl/schemas/keldoctl-inspection.rnc", "keldoctl/schemas/keldoctl-inspection.rng",
        "keldoctl/schemas/keldoctl-inspection.schema.json",
        "keldoctl/schemas/keldoctl-inspection.xsd", "keldoctl/schemas/keldoctl-report.rnc", "keldoctl/schemas/keldoctl-report.rng",
        "keldoctl/schemas/keldoctl-report.xsd", "keldoctl/schemas/xml.xsd",
        "keldoctl/views/changes.awk", "keldoctl/views/parts/frame.xsl",
        "keldoctl/views/parts/html.xsl", "keldoctl/views/parts/inspection.xsl",
        "keldoctl/views/parts/page.xsl",
        "keldoctl/views/parts/strings.xsl", "keldoctl/views/parts/style.xsl",
        "keldoctl/views/parts/text.xsl", "keldoctl/views/parts/time.xsl",
        "keldoctl/views/parts/words.xml", "keldoctl/views/parts/words.xsl",
        "keldoctl/views/report-changes.xsl", "keldoctl/views/report-fragment.xsl",
        "keldoctl/views/report-html.xsl",
        "keldoctl/views/report-nagios.xsl", "keldoctl/views/report-prometheus.xsl",
        "keldoctl/views/report-repairs.xsl", "keldoctl/views/report-text.xsl",
        "zsh/site-functions/_keldoctl"),
    "lib": (
        "nagios/plugins/check_keldoctl", "systemd/system/keldoctl-metrics.service",
        "systemd/system/keldoctl-metrics.timer", "systemd/system/keldoctl-notify.service",
        "systemd/system/keldoctl-report.service",
        "systemd/system/keldoctl-report.timer"),
}
DEFAULT_FOLDERS = {"BINDIR": "bin", "SBINDIR": "sbin", "LIBEXECDIR": "libexec", "MANDIR": "share/man",
                   "DATADIR": "share", "lib": "lib"}
LANGUAGES = [line.split() for line in
             (PROJECT / "po/LINGUAS").read_text(encoding="utf-8").splitlines()
             if not line.startswith("#")]
CATALOGUES = [f"share/locale/{name}/LC_MESSAGES/keldoctl.mo" for name, *_ in LANGUAGES]
# One file stands for each locale: localedef chooses the names of the others.
LOCALES = [f"keldoctl/locale/{locale}/LC_CTYPE" for *_, locale in LANGUAGES]


# The collection for Ansible is installed as it is staged in the build, without its tests.
STAGED = BUILD / "fleet/ansible_collections"
COLLECTION = [f"ansible/collections/ansible_collections/{file.relative_to(STAGED)}"
              for file in STAGED.rglob("*") if file.is_file()
              and not {"tests", "__pycache__"} & set(file.parts)]


def install(build, *options, root=""):
    subprocess.run(["cmake", "--install", build, *options], check=True, stdout=subprocess.DEVNULL,
                   env=os.environ | {"DESTDIR": str(root)})


def files_below(root):
    """The files and links below a directory, by the names that they have when it is the root."""
    return {"/" + str(path.relative_to(root)) for path in pathlib.Path(root).rglob("*")
            if path.is_symlink() or not path.is_dir()}


def without_details(files):
    """The files without those of a locale that LOCALES does not name."""
    return {name for name in files
            if "/keldoctl/locale/" not in name or name.endswith("/LC_CTYPE")}


def expected(prefix, panel, folders=None):
    """The installed files, for GNUInstallDirs' folders."""
    folders = DEFAULT_FOLDERS | (folders or {})
    return ({os.path.join(prefix, folders[folder], name)
             for folder, names in FILES.items() for name in names} |
            {os.path.join(prefix, folders["DATADIR"], name) for name in COLLECTION} |
            {os.path.join(prefix, "lib", name) for name in LOCALES} |
            {os.path.join(panel, name) for name in CATALOGUES} |
            {f"{panel}/admin/sbin/{name}" for name in PROGRAMS})


class InstallTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root = pathlib.Path(temporary.name, "root")
        self.build = pathlib.Path(temporary.name, "build")

    def configure(self, *options):
        """Makes a copy of the build with further options."""
        shutil.copytree(BUILD, self.build, symlinks=True, ignore=NOT_COPIED)
        subprocess.run(["cmake", "-S", PROJECT, "-B", self.build, "-G", "Ninja",
                        "-DBUILD_TESTING=OFF", *options], check=True, stdout=subprocess.DEVNULL)

    def check(self, prefix, panel, folders=None):
        self.assertEqual(without_details(files_below(self.root)),
                         expected(prefix, panel, folders))
        folder = os.path.join(prefix, (folders or {}).get("SBINDIR", "sbin"))
        for name in PROGRAMS:
            self.assertEqual(os.readlink(f"{self.root}{panel}/admin/sbin/{name}"),
                             os.path.join(folder, name))

    def test_by_default_files_go_to_the_panel_and_to_usr_local(self):
        install(BUILD, root=self.root)
        self.check("/usr/local", "/usr/local/kvr")

    def test_another_prefix_moves_all_files_but_the_panels(self):
        install(BUILD, "--prefix", "/usr", root=self.root)
        self.check("/usr", "/usr/local/kvr")

    def test_another_panel_root_moves_the_panels_files(self):
        self.configure("-DPRODUCT_ROOT_D=/srv/panel")
        install(self.build, root=self.root)
        self.check("/usr/local", "/srv/panel")

    def test_each_folder_can_be_set(self):
        folders = {"SBINDIR": "bin", "LIBEXECDIR": "lib/private", "MANDIR": "/srv/manuals",
                   "DATADIR": "data"}
        self.configure("-DCMAKE_INSTALL_PREFIX=/opt/diagnostics", "-DPRODUCT_ROOT_D=/srv/panel",
                       *(f"-DCMAKE_INSTALL_{name}={folder}" for name, folder in folders.items()))
        with self.subTest("the configured prefix"):
            install(self.build, root=self.root)
            self.check("/opt/diagnostics", "/srv/panel", folders)
            pages = "".join(path.read_text(encoding="utf-8")
                            for path in (self.root / "srv/manuals").rglob("*.[1-9]"))
            for path in ("/opt/diagnostics/lib/private/keldoctl/keep-report",
                         "/opt/diagnostics/data/keldoctl/views/report-nagios.xsl",
                         "/opt/diagnostics/lib/nagios/plugins/check_keldoctl"):
                self.assertIn(path, pages)
        shutil.rmtree(self.root)
        with self.subTest("another one"):
            install(self.build, "--prefix", "/opt/other", root=self.root)
            self.check("/opt/other", "/srv/panel", folders)

    def test_without_destdir_the_program_runs_in_the_panels_folder(self):
        prefix, panel = self.root / "prefix", self.root / "panel"
        self.configure(f"-DPRODUCT_ROOT_D={panel}")
        install(self.build, "--prefix", prefix)
        self.assertEqual(without_details(files_below(self.root)), expected("/prefix", "/panel"))
        run = subprocess.run([f"{panel}{LINK}", "--help"], capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout.splitlines()[0]),
                         (0, "Usage: keldoctl --status [--language=LANG_CODE]"))

    def test_a_program_in_the_panels_folder_gets_no_link(self):
        self.configure("-DCMAKE_INSTALL_SBINDIR=admin/sbin")
        install(self.build, "--prefix", "/usr/local/kvr", root=self.root)
        self.assertEqual(without_details(files_below(self.root)),
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
