# SPDX-License-Identifier: MIT
"""The packages on a small Debian system: installed, upgraded, removed and purged."""

import unittest

from debian_system import DebianSystem

ROOT = "/usr/local/kvr"
PROGRAM = ROOT + "/admin/sbin/keldoctl"
MONITOR = ROOT + "/admin/sbin/monit"
CATALOGUE = ROOT + "/share/locale/de/LC_MESSAGES/keldoctl.mo"
ADAPTER = "/usr/libexec/keldoctl/monit-check-status"
RECORDS = "/var/lib/keldoctl"
BOTH = ("keldoctl", "keldoctl-monit")
# What systemd's helper remembers until a purge: whether the administrator has the timer enabled.
TIMER_STATE = ("/var/lib/systemd/deb-systemd-helper-enabled/keldoctl-report.timer.dsh-also",)
REPORT = RECORDS + "/reports/2026-11-21T120000.000000000Z.xml"
# The database is not there, which takes no monitor to find out.
DEFINITION = """<service xmlns="http://keldo.example/schemas/keldo/service/1" id="mysql">
<title xml:lang="en-US">Database</title><title xml:lang="de-DE">Datenbank</title>
<action type="start">true</action><action type="stop">true</action><checks/></service>
"""
GERMAN = '<message xml:lang="de-DE">Der Dienst „Datenbank“ ist ausgeschaltet.</message>'
# What an administrator may have where ours is to go, and elsewhere.
ADMINISTRATORS = {
    "/etc/kvr/kvr.conf": "PRODUCT_ROOT_D /usr/local/kvr\n",
    "/etc/kvr/.kvr.shadow": "secret\n",
    "/service/mysql.xml": DEFINITION,
    MONITOR: "#!/bin/sh\n# the panel's own\n",
    PROGRAM: "#!/bin/sh\n# the panel's own\n",
    CATALOGUE: "the administrator's translation\n",
    ROOT + "/share/locale/fr/LC_MESSAGES/other.mo": "another program's\n",
    "/usr/lib/locale/de_DE/LC_CTYPE": "a locale of the administrator's\n",
    "/etc/monit/conf.d/own": "# the administrator's\n",
}


class PackageTest(unittest.TestCase):
    def setUp(self):
        self.system = DebianSystem()
        self.addCleanup(self.system.close)

    def have(self, files):
        """Has an administrator's files there, and takes the state with them for a clean one."""
        for name, content in files.items():
            self.system.write(name, content)
        self.system.path("/srv/empty").mkdir(parents=True)
        self.system.path(ROOT + "/tmp").mkdir(parents=True)
        self.system.clean = self.system.state()

    def assert_clean(self, but=()):
        self.assert_state(self.system.clean, but)

    def assert_state(self, expected, but=()):
        state = self.system.state()
        for name in but:
            state.pop(name, None)
        names = sorted(expected.keys() | state.keys())
        differences = [f"{name}: {expected.get(name)} became {state.get(name)}"
                       for name in names if expected.get(name) != state.get(name)]
        # Not assertEqual, which looks for ever for what is alike in two long lists.
        if differences:
            self.fail("\n".join(differences[:40]))

    def changed_by(self, action):
        """The paths that were there before and are not as they were."""
        before = self.system.state()
        action()
        after = self.system.state()
        return sorted(name for name in before if after.get(name) != before[name])

    def german_report(self, program):
        self.system.write("/service/mysql.xml", DEFINITION)
        return self.system.run(program, "--status", "--language=de-DE")


class InstallTest(PackageTest):
    def test_nothing_that_was_there_is_changed(self):
        self.have(ADMINISTRATORS)
        self.assertEqual(self.changed_by(lambda: self.system.install(*BOTH)), [])

    def test_the_panel_finds_the_program_the_monitor_and_the_catalogues(self):
        self.system.install(*BOTH)
        self.assertEqual(self.system.link(PROGRAM), "/usr/sbin/keldoctl")
        self.assertEqual(self.system.link(MONITOR), ADAPTER)
        self.assertEqual(self.system.link(CATALOGUE),
                         "/usr/share/keldoctl/locale/de/LC_MESSAGES/keldoctl.mo")

    def test_a_german_report_works_at_once(self):
        self.assertEqual(self.system.run("locale", "-a").split(), ["C", "C.utf8", "POSIX"])
        self.system.install("keldoctl")
        for program in ("keldoctl", PROGRAM):
            with self.subTest(program):
                self.assertIn(GERMAN, self.german_report(program))

    def test_the_views_find_the_program_and_their_stylesheets(self):
        self.system.install("keldoctl")
        self.system.path(ROOT + "/tmp").mkdir(parents=True)
        self.system.write("/service/mysql.xml", DEFINITION)
        self.assertIn("restart-service:mysql", self.system.run("keldoctl-report"))
        self.assertIn("<!DOCTYPE html>", self.system.run("keldoctl-report", "--html"))
        plugin = self.system.run("/usr/lib/nagios/plugins/check_keldoctl", status=2)
        self.assertIn("KELDOCTL CRITICAL", plugin)
        self.system.run("/usr/libexec/keldoctl/keep-report", "1")
        self.assertEqual(len(list(self.system.path(RECORDS + "/reports").iterdir())), 1)

    def test_the_program_alone_brings_no_monitor(self):
        self.system.install("keldoctl")
        self.assertIsNone(self.system.link(MONITOR))
        self.system.purge("keldoctl")
        self.assert_clean()

    def test_links_follow_a_root_directory_that_is_configured_later(self):
        self.system.install(*BOTH)
        self.system.write("/etc/kvr/kvr.conf", "PRODUCT_ROOT_D /srv/panel\n")
        self.system.run("dpkg-reconfigure", *BOTH)
        self.assertEqual(self.system.link("/srv/panel/admin/sbin/monit"), ADAPTER)
        self.assertFalse(self.system.path(ROOT).exists())
        self.system.purge(*BOTH)
        self.assertFalse(self.system.path("/srv/panel").exists())

    def test_reports_are_not_kept_unless_the_administrator_wants_it(self):
        self.system.install(*BOTH)
        self.assertTrue(self.system.path("/lib/systemd/system/keldoctl-report.timer").exists())
        self.assertEqual([name for name in self.system.state()
                          if name.startswith("/etc/systemd") and "keldoctl" in name], [])

    def test_a_locale_of_another_package_is_ours_once_that_is_gone(self):
        self.system.add_package("others", {"usr/lib/locale/de_DE/LC_CTYPE": "another's"})
        self.system.install("others", "keldoctl")
        locale = "/usr/lib/locale/de_DE/LC_CTYPE"
        self.assertIsNone(self.system.link(locale))
        self.system.purge("others")
        self.assertIsNotNone(self.system.link(locale))
        self.assertIn(GERMAN, self.german_report("keldoctl"))

    def test_the_installed_files_are_the_packages(self):
        self.system.install(*BOTH)
        self.assertEqual(self.system.run("dpkg", "--verify", *BOTH), "")


class RemoveTest(PackageTest):
    def test_nothing_is_left_by_a_purge(self):
        self.system.install(*BOTH)
        self.system.purge(*BOTH)
        self.assert_clean()

    def test_a_removal_leaves_no_links_and_no_files(self):
        self.system.install(*BOTH)
        self.system.remove(*BOTH)
        self.assert_clean(but=TIMER_STATE)

    def test_links_that_cannot_be_removed_keep_no_package(self):
        self.system.install(*BOTH)
        for name in ("panel-links", "link-locales"):
            self.system.write(f"/usr/libexec/keldoctl/{name}", f"#!/bin/sh\necho {name} $*; exit 1\n")
        output = self.system.remove(*BOTH)
        for call in ("panel-links remove keldoctl\n", "panel-links remove keldoctl-monit\n",
                     "link-locales remove\n"):
            self.assertIn(call, output)
        self.assertFalse(self.system.path("/usr/sbin/keldoctl").exists())

    def test_the_monitors_link_goes_with_its_package(self):
        self.system.install(*BOTH)
        self.system.purge("keldoctl-monit")
        self.assertIsNone(self.system.link(MONITOR))
        self.assertEqual(self.system.link(PROGRAM), "/usr/sbin/keldoctl")

    def test_whoever_removes_the_program_removes_the_monitor_too(self):
        self.system.install(*BOTH)
        self.system.purge("keldoctl")
        self.assert_clean()

    def test_kept_reports_stay_until_a_purge(self):
        self.system.install(*BOTH)
        self.system.write(REPORT, "<keldoctl/>\n")
        self.system.remove(*BOTH)
        self.assertTrue(self.system.path(REPORT).exists())
        self.system.purge(*BOTH)
        self.assert_clean()

    def test_installed_anew_all_is_there_again(self):
        self.system.install(*BOTH)
        installed = self.system.state()
        self.system.remove(*BOTH)
        self.system.install(*BOTH)
        self.assert_state(installed)
        self.system.purge(*BOTH)
        self.assert_clean()

    def test_the_administrators_files_are_not_touched(self):
        self.have(ADMINISTRATORS)
        self.system.install(*BOTH)
        self.system.remove(*BOTH)
        self.assert_clean(but=TIMER_STATE)
        self.system.install(*BOTH)
        self.system.purge(*BOTH)
        self.assert_clean()

    def test_links_of_the_administrators_own_stay(self):
        for name, target in ((MONITOR, ADAPTER), (PROGRAM, "/opt/keldoctl")):
            path = self.system.path(name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.symlink_to(target)
        self.system.clean = self.system.state()
        self.system.install(*BOTH)
        self.system.purge(*BOTH)
        self.assert_clean()

    def test_what_has_taken_our_places_since_stays(self):
        self.system.install(*BOTH)
        for name in (MONITOR, CATALOGUE):
            self.system.path(name).unlink()
            self.system.write(name, "the administrator's own\n")
        self.system.purge(*BOTH)
        for name in (MONITOR, CATALOGUE):
            self.assertEqual(self.system.path(name).read_text(encoding="utf-8"),
                             "the administrator's own\n")
            self.system.path(name).unlink()


class UpgradeTest(PackageTest):
    def upgrade(self):
        self.system.install(*BOTH, folder="/old")
        output = self.system.install(*BOTH)
        for name in BOTH:
            self.assertIn(f"Unpacking {name} (1", output)
            self.assertIn("over (0.9.0)", output)

    def test_after_an_upgrade_all_is_as_freshly_installed(self):
        self.system.add_old_version()
        self.system.install(*BOTH)
        fresh = self.system.state()
        self.system.purge(*BOTH)
        self.upgrade()
        self.assert_state(fresh)
        self.system.purge(*BOTH)
        self.assert_clean()

    def test_what_the_new_version_has_no_longer_goes(self):
        def change(name, tree):
            if name == "keldoctl":
                folder = tree / "usr/share/keldoctl/locale/xx/LC_MESSAGES"
                folder.mkdir(parents=True)
                (folder / "keldoctl.mo").write_bytes(b"")
        self.system.add_old_version(change=change)
        self.system.install(*BOTH, folder="/old")
        link = CATALOGUE.replace("/de/", "/xx/")
        self.assertIsNotNone(self.system.link(link))
        self.system.install(*BOTH)
        self.assertIsNone(self.system.link(link))
        self.assertFalse(self.system.path(link).parent.parent.exists())

    def test_what_the_new_version_adds_is_linked(self):
        def change(name, tree):
            if name == "keldoctl":
                (tree / "usr/share/keldoctl/locale/de/LC_MESSAGES/keldoctl.mo").unlink()
        self.system.add_old_version(change=change)
        self.upgrade()
        self.assertIsNotNone(self.system.link(CATALOGUE))

    def test_the_administrators_files_stay(self):
        self.system.add_old_version()
        self.have(ADMINISTRATORS)
        self.upgrade()
        self.system.purge(*BOTH)
        self.assert_clean()

    def test_what_has_taken_our_places_since_stays(self):
        self.system.add_old_version()
        self.system.install(*BOTH, folder="/old")
        self.system.path(MONITOR).unlink()
        self.system.write(MONITOR, "the administrator's own\n")
        self.assertEqual([name for name in self.changed_by(lambda: self.system.install(*BOTH))
                          if name.startswith(ROOT)], [])

    def test_a_downgrade_works_as_well(self):
        self.system.add_old_version()
        self.system.install(*BOTH)
        self.system.run("dpkg", "--install", "/old/keldoctl.deb", "/old/keldoctl-monit.deb")
        self.assertEqual(self.system.link(MONITOR), ADAPTER)
        self.system.purge(*BOTH)
        self.assert_clean()


if __name__ == "__main__":
    unittest.main()
