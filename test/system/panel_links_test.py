# SPDX-License-Identifier: MIT
"""The links that a package makes below the panel's root directory: link-into-panel, panel-links,
panel-root."""

import os
import pathlib
import resource
import shutil
import signal
import subprocess
import tempfile
import unittest

from counting import uncounted
from panel import CONFIGURATION, PATH, PRODUCT_ROOT, require_private_host

LIBEXEC = pathlib.Path(os.environ["MONIT_CHECK_STATUS"]).parent
RECORDS = pathlib.Path("/var/lib/keldoctl")
PROGRAM = ("/usr/sbin/keldoctl", "admin/sbin/keldoctl")
SCRATCH = ("-", "tmp")
CATALOGUE = ("/usr/share/keldoctl/locale/de/LC_MESSAGES/keldoctl.mo",
             "share/locale/de/LC_MESSAGES/keldoctl.mo")


def tree(*folders):
    """All paths below the folders, with a link's target or a file's content."""
    found = {}
    for folder in folders:
        for path in [folder, *folder.rglob("*")]:
            if path.is_symlink():
                found[str(path)] = os.readlink(path)
            elif path.exists():
                found[str(path)] = path.read_text(encoding="utf-8") if path.is_file() else None
    return found


class PanelLinksTestCase(unittest.TestCase):
    def setUp(self):
        require_private_host()
        for folder in (CONFIGURATION, PRODUCT_ROOT, RECORDS, pathlib.Path("/srv/panel")):
            shutil.rmtree(folder, ignore_errors=True)


class PanelLinksTest(PanelLinksTestCase):
    def configure(self, text):
        CONFIGURATION.mkdir(exist_ok=True)
        (CONFIGURATION / "kvr.conf").write_text(text, encoding="utf-8")

    def panel_links(self, command, *links, package="keldoctl", status=0, **options):
        """Runs panel-links and returns its messages."""
        run = subprocess.run([LIBEXEC / "panel-links", command, package,
                              *(word for link in links for word in link)],
                             capture_output=True, text=True, **options)
        self.assertEqual((run.returncode, run.stdout), (status, ""), run.stderr)
        return run.stderr

    def update(self, *links, **options):
        return self.panel_links("update", *links, **options)

    def remove(self, **options):
        return self.panel_links("remove", **options)

    def place(self, link, root=PRODUCT_ROOT):
        return root / link[1]

    def put(self, link, text="the panel's own"):
        self.place(link).parent.mkdir(parents=True, exist_ok=True)
        self.place(link).write_text(text, encoding="utf-8")

    def assert_linked(self, *links, root=PRODUCT_ROOT):
        for link in links:
            self.assertEqual(os.readlink(self.place(link, root)), link[0])

    def test_update_makes_links_and_folders_and_remove_removes_them(self):
        self.assertEqual(self.update(PROGRAM, CATALOGUE), "")
        self.assert_linked(PROGRAM, CATALOGUE)
        self.assertEqual(self.place(PROGRAM).parent.stat().st_mode & 0o7777, 0o755)
        self.assertEqual(self.remove(), "")
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})

    def test_the_root_comes_from_the_panels_configuration(self):
        self.configure("PRODUCT_ROOT_D /srv/panel # moved\n")
        self.update(PROGRAM)
        self.assert_linked(PROGRAM, root=pathlib.Path("/srv/panel"))
        self.assertEqual(tree(PRODUCT_ROOT), {})

    def test_links_move_with_the_root(self):
        self.update(PROGRAM, CATALOGUE)
        self.configure("PRODUCT_ROOT_D /srv/panel\n")
        self.update(PROGRAM, CATALOGUE)
        self.assert_linked(PROGRAM, CATALOGUE, root=pathlib.Path("/srv/panel"))
        self.assertEqual(tree(PRODUCT_ROOT), {})
        self.remove()
        self.assertEqual(tree(pathlib.Path("/srv/panel")), {})

    def test_links_that_moved_with_the_panels_files_are_removed(self):
        self.update(PROGRAM, CATALOGUE)
        shutil.move(PRODUCT_ROOT, "/srv/panel")
        self.configure("PRODUCT_ROOT_D /srv/panel\n")
        for _ in range(2):
            self.assertEqual(self.update(PROGRAM, CATALOGUE), "")
        self.remove()
        self.assertEqual(list(filter(os.path.islink, tree(pathlib.Path("/srv/panel")))), [])
        self.assertEqual(tree(RECORDS), {})

    def test_runs_at_the_same_time_wait_for_each_other(self):
        for command in ("update", "remove"):
            runs = [subprocess.Popen([LIBEXEC / "panel-links", command, f"package{i}",
                                      "/usr/bin/true", f"admin/sbin/program{i}"],
                                     stderr=subprocess.PIPE) for i in range(20)]
            self.assertEqual([run.communicate()[1] for run in runs], [b""] * len(runs))
            if command == "update":
                self.assertEqual(len(os.listdir(PRODUCT_ROOT / "admin/sbin")), len(runs))
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})

    def test_a_relative_root_is_refused(self):
        self.configure("PRODUCT_ROOT_D panel\n")
        self.assertEqual(self.update(PROGRAM, status=1), "panel-links: the panel's root directory "
                         "is not an absolute path -- panel\n")

    def test_an_existing_file_stays_and_is_reported(self):
        self.put(PROGRAM)
        before = tree(PRODUCT_ROOT)
        self.assertEqual(self.update(PROGRAM), f"panel-links: {self.place(PROGRAM)} is there "
                         "already and stays as it is\n")
        self.remove()
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), before)

    def test_an_existing_link_stays(self):
        for target in ("/elsewhere", PROGRAM[0]):
            with self.subTest(target):
                self.place(PROGRAM).parent.mkdir(parents=True, exist_ok=True)
                self.place(PROGRAM).symlink_to(target)
                before = tree(PRODUCT_ROOT)
                self.update(PROGRAM)
                self.remove()
                self.assertEqual(tree(PRODUCT_ROOT, RECORDS), before)
                self.place(PROGRAM).unlink()

    def test_files_that_replaced_our_links_stay(self):
        self.update(PROGRAM, CATALOGUE)
        self.place(PROGRAM).unlink()
        self.put(PROGRAM)
        self.place(CATALOGUE).unlink()
        self.place(CATALOGUE).symlink_to("/srv/translation.mo")
        before = tree(PRODUCT_ROOT)
        self.update(PROGRAM, CATALOGUE)
        self.assertEqual(tree(PRODUCT_ROOT), before)
        self.remove()
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), before)

    def test_existing_folders_stay_even_if_empty(self):
        self.place(PROGRAM).parent.mkdir(parents=True)
        before = tree(PRODUCT_ROOT)
        self.update(PROGRAM, CATALOGUE)
        self.remove()
        self.assertEqual(tree(PRODUCT_ROOT), before)

    def test_folders_in_use_stay(self):
        self.update(PROGRAM)
        other = self.place(PROGRAM).parent / "other"
        other.write_text("the panel's own", encoding="utf-8")
        self.remove()
        self.assertEqual([path for path in tree(PRODUCT_ROOT) if "sbin/" in path], [str(other)])

    def test_a_second_update_changes_nothing(self):
        self.update(PROGRAM, CATALOGUE)
        before, made = tree(PRODUCT_ROOT, RECORDS), self.place(PROGRAM).lstat()
        self.assertEqual(self.update(PROGRAM, CATALOGUE), "")
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), before)
        self.assertEqual(self.place(PROGRAM).lstat(), made)

    def test_an_update_removes_links_that_are_no_longer_wanted(self):
        self.update(PROGRAM, CATALOGUE)
        self.update(PROGRAM)
        self.assert_linked(PROGRAM)
        self.assertFalse((PRODUCT_ROOT / "share").exists())
        self.remove()
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})

    def test_a_directory_has_mode_0700_and_is_removed_if_empty(self):
        for leftover in (None, "monitrc"):
            with self.subTest(leftover=leftover):
                for _ in range(2):
                    self.assertEqual(self.update(SCRATCH), "")
                    self.assertEqual(self.place(SCRATCH).stat().st_mode & 0o7777, 0o700)
                # Another package's run leaves it.
                self.update(PROGRAM, package="other")
                self.remove(package="other")
                self.assertTrue(self.place(SCRATCH).exists())
                if leftover:
                    (self.place(SCRATCH) / leftover).touch()
                self.assertEqual(self.remove(), "")
                self.assertEqual(self.place(SCRATCH).exists(), bool(leftover))
                self.assertEqual(tree(RECORDS), {})

    def test_an_existing_directory_keeps_owner_and_mode(self):
        self.place(SCRATCH).mkdir(parents=True)
        os.chown(self.place(SCRATCH), 1, 1)
        self.place(SCRATCH).chmod(0o1777)
        before = self.place(SCRATCH).stat()
        self.assertEqual(self.update(SCRATCH), "")
        self.assertEqual(self.place(SCRATCH).stat(), before)
        self.assertEqual(self.remove(), "")
        self.assertEqual(self.place(SCRATCH).stat(), before)

    def test_no_link_below_the_root_is_followed(self):
        outside = pathlib.Path("/srv/outside")
        for link in (PROGRAM, SCRATCH):
            for folder in map(PRODUCT_ROOT.joinpath, ("admin", "admin/sbin", "tmp")):
                with self.subTest(link=link, folder=folder.name):
                    shutil.rmtree(PRODUCT_ROOT, ignore_errors=True)
                    (outside / "sbin").mkdir(parents=True)
                    folder.parent.mkdir(parents=True)
                    folder.symlink_to(outside)
                    before = tree(outside)
                    said = self.update(link)
                    is_below = self.place(link).is_relative_to(folder)
                    self.assertEqual(str(self.place(link)) in said, is_below, said)
                    self.remove()
                    self.assertEqual(tree(outside), before)
                    shutil.rmtree(outside)

    def test_remove_follows_no_link_that_replaced_a_folder(self):
        outside = pathlib.Path("/srv/outside")
        self.update(PROGRAM, SCRATCH)
        shutil.copytree(PRODUCT_ROOT, outside, symlinks=True)
        self.addCleanup(shutil.rmtree, outside)
        before = tree(outside)
        shutil.rmtree(PRODUCT_ROOT / "admin")
        (PRODUCT_ROOT / "admin").symlink_to(outside / "admin")
        self.remove()
        self.assertEqual(tree(outside), before)

    def test_the_root_itself_may_be_a_link(self):
        pathlib.Path("/srv/panel").mkdir()
        PRODUCT_ROOT.symlink_to("/srv/panel")
        self.addCleanup(PRODUCT_ROOT.unlink)
        self.assertEqual(self.update(PROGRAM, SCRATCH), "")
        self.assert_linked(PROGRAM)
        self.assertEqual(self.remove(), "")
        self.assertEqual(os.listdir("/srv/panel"), [])

    def test_each_package_has_its_own_links(self):
        monitor = ("/usr/libexec/keldoctl/monit-check-status", "admin/sbin/monit")
        self.update(PROGRAM)
        self.update(monitor, package="keldoctl-monit")
        self.remove(package="keldoctl-monit")
        self.assert_linked(PROGRAM)
        self.assertFalse(self.place(monitor).is_symlink())
        self.remove()
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})

    def test_packages_share_folders_in_any_order(self):
        monitor = ("/usr/libexec/keldoctl/monit-check-status", "admin/sbin/monit")
        for first, second in (("keldoctl", "keldoctl-monit"), ("keldoctl-monit", "keldoctl")):
            with self.subTest(first):
                links = {"keldoctl": PROGRAM, "keldoctl-monit": monitor}
                self.configure("")
                for package, link in links.items():
                    self.update(link, package=package)
                self.configure("PRODUCT_ROOT_D /srv/panel\n")
                for package in (first, second):
                    self.update(links[package], package=package)
                self.assertEqual(tree(PRODUCT_ROOT), {})
                for package in (first, second):
                    self.remove(package=package)
                self.assertEqual(tree(PRODUCT_ROOT, pathlib.Path("/srv/panel"), RECORDS), {})

    def test_remove_without_links_does_nothing(self):
        self.assertEqual(self.remove(), "")

    def test_other_files_beside_the_records_stay(self):
        self.update(PROGRAM)
        (RECORDS / "reports").mkdir()
        self.remove()
        self.assertEqual(tree(RECORDS), {str(RECORDS): None, str(RECORDS / "reports"): None})

    def test_a_failed_link_is_reported_and_the_others_are_made(self):
        PRODUCT_ROOT.mkdir()
        (PRODUCT_ROOT / "admin").write_text("a file", encoding="utf-8")
        said = self.update(PROGRAM, CATALOGUE)
        self.assertIn(f"panel-links: {self.place(PROGRAM)} could not be made\n", said)
        self.assert_linked(CATALOGUE)
        self.remove()
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {
            str(PRODUCT_ROOT): None, str(PRODUCT_ROOT / "admin"): "a file"})

    def environment_where_rm_fails(self, link):
        """An environment in which rm fails for that link, as on a read-only file system."""
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        program = directory / "rm"
        program.write_text(f"""#!/bin/bash
if [[ ${{@: -1}} == {self.place(link)} ]]; then
    echo "rm: cannot remove it" >&2
    exit 1
fi
exec /bin/rm "$@"
""", encoding="utf-8")
        program.chmod(0o755)
        return {"PATH": f"{directory}:{PATH}"}

    def test_a_link_that_cannot_be_removed_stays_on_record(self):
        for command in (self.remove, self.update):
            with self.subTest(command.__name__):
                self.update(PROGRAM, CATALOGUE)
                self.assertIn(f"panel-links: {self.place(PROGRAM)} could not be removed\n",
                              command(env=self.environment_where_rm_fails(PROGRAM)))
                self.assert_linked(PROGRAM)
                self.assertFalse(self.place(CATALOGUE).is_symlink())
                self.assertEqual(self.remove(), "")
                self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})

    def test_an_update_takes_back_a_link_that_could_not_be_removed(self):
        self.update(PROGRAM)
        self.remove(env=self.environment_where_rm_fails(PROGRAM))
        self.assertEqual(self.update(PROGRAM, CATALOGUE), "")
        self.assert_linked(PROGRAM, CATALOGUE)
        self.remove()
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})

    @uncounted
    def test_the_record_survives_a_run_that_dies_while_writing_it(self):
        self.update(PROGRAM, CATALOGUE)
        # The first byte that it writes ends the run.
        self.update(PROGRAM, status=-signal.SIGXFSZ, preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_FSIZE, (0, 0)))
        self.assert_linked(PROGRAM)
        self.assertEqual(self.remove(), "")
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})

    def test_wrong_usage_is_refused(self):
        for arguments in ([], ["update"], ["update", ""], ["update", "a/b"],
                          ["update", "directories"], ["other", "keldoctl"]):
            with self.subTest(arguments):
                run = subprocess.run([LIBEXEC / "panel-links", *arguments], capture_output=True,
                                     text=True)
                self.assertEqual((run.returncode, run.stdout), (1, ""))
                self.assertRegex(run.stderr, r"\Apanel-links: (usage|unknown command)[^\n]*\n\Z")


class LinkIntoPanelTest(PanelLinksTestCase):
    """link-into-panel, installed in /srv/keldoctl."""

    PREFIX = pathlib.Path("/srv/keldoctl")
    PLACES = ("tmp", "admin/sbin/keldoctl", "admin/sbin/keldoctl-inspect",
              "share/locale/de/LC_MESSAGES/keldoctl.mo")

    def setUp(self):
        super().setUp()
        self.addCleanup(shutil.rmtree, self.PREFIX)
        shutil.copytree(LIBEXEC, self.PREFIX / "libexec/keldoctl")
        (self.PREFIX / "share/keldoctl/locale/de/LC_MESSAGES").mkdir(parents=True)
        for name in ("sbin/keldoctl", "sbin/keldoctl-inspect",
                     "share/keldoctl/locale/de/LC_MESSAGES/keldoctl.mo"):
            (self.PREFIX / name).parent.mkdir(exist_ok=True)
            (self.PREFIX / name).touch()

    def link_into_panel(self, *options, status=0):
        run = subprocess.run([self.PREFIX / "libexec/keldoctl/link-into-panel", *options],
                             capture_output=True, text=True)
        self.assertEqual(run.returncode, status, run.stderr)
        return run.stdout.splitlines()

    def test_it_makes_the_links_of_programs_and_catalogues_and_the_directory(self):
        self.assertEqual(self.link_into_panel(), [])
        self.assertEqual({place: (PRODUCT_ROOT / place).resolve() for place in self.PLACES}, {
            "tmp": PRODUCT_ROOT / "tmp",
            "admin/sbin/keldoctl": self.PREFIX / "sbin/keldoctl",
            "admin/sbin/keldoctl-inspect": self.PREFIX / "sbin/keldoctl-inspect",
            "share/locale/de/LC_MESSAGES/keldoctl.mo":
                self.PREFIX / "share/keldoctl/locale/de/LC_MESSAGES/keldoctl.mo"})

    def test_missing_links_are_printed_and_not_made(self):
        self.assertEqual(self.link_into_panel("--missing"), list(self.PLACES))
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})
        self.link_into_panel()
        self.assertEqual(self.link_into_panel("--missing"), [])
        (PRODUCT_ROOT / "admin/sbin/keldoctl").unlink()
        self.assertEqual(self.link_into_panel("--missing"), ["admin/sbin/keldoctl"])

    def test_wrong_usage_is_refused(self):
        self.assertEqual(self.link_into_panel("keldoctl", status=64), [])
        self.assertEqual(tree(PRODUCT_ROOT, RECORDS), {})


if __name__ == "__main__":
    unittest.main()
