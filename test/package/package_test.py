# SPDX-License-Identifier: MIT
"""The packages on a small Debian system: installed, upgraded, removed and purged."""

import re
import unittest

from small_systems import DebianSystem, SystemTest

ROOT = "/usr/local/kvr"
PROGRAM = ROOT + "/admin/sbin/keldoctl"
MONITOR = ROOT + "/admin/sbin/monit"
CATALOGUE = ROOT + "/share/locale/de/LC_MESSAGES/keldoctl.mo"
ADAPTER = "/usr/libexec/keldoctl/monit-check-status"
CONTROL_FILES = ROOT + "/tmp"
RECORDS = "/var/lib/keldoctl"
BOTH = ("keldoctl", "keldoctl-monit")
TIMERS = {"keldoctl-metrics.timer", "keldoctl-report.timer"}
# systemd's helper keeps the state of the timers until a purge.
TIMER_STATE = [f"/var/lib/systemd/deb-systemd-helper-enabled/{timer}.dsh-also" for timer in TIMERS]
REPORT = RECORDS + "/reports/2026-11-21T120000.000000000Z.xml"
# keldoctl needs no monitor to find that the database is down.
DEFINITION = """<service xmlns="http://keldo.example/schemas/keldo/service/1" id="mysql">
<title xml:lang="en-US">Database</title><title xml:lang="de-DE">Datenbank</title>
<action type="start">true</action><action type="stop">true</action><checks/></service>
"""
GERMAN = '<message xml:lang="de-DE">Der Dienst „Datenbank“ ist ausgeschaltet.</message>'
# An administrator's files, some in the places of ours.
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


class PackageTest(SystemTest):
    kind = DebianSystem

    def have(self, files):
        """Creates an administrator's files, which belong to the clean state."""
        for name, content in files.items():
            self.system.write(name, content)
        self.system.path("/srv/empty").mkdir(parents=True)
        self.system.path(CONTROL_FILES).mkdir(parents=True)
        self.system.clean = self.system.state()

    def changed_by(self, action):
        """The paths from before that the action changes."""
        before = self.system.state()
        action()
        after = self.system.state()
        return sorted(name for name in before if after.get(name) != before[name])

    def german_report(self, program):
        self.system.write("/service/mysql.xml", DEFINITION)
        return self.system.run(program, "--status", "--language=de-DE")


class InstallTest(PackageTest):
    def test_no_file_that_was_there_changes(self):
        self.have(ADMINISTRATORS)
        self.assertEqual(self.changed_by(lambda: self.system.install(*BOTH)), [])

    def test_the_panel_finds_the_program_the_monitor_and_the_catalogues(self):
        self.system.install(*BOTH)
        self.assertEqual(self.system.link(PROGRAM), "/usr/sbin/keldoctl")
        self.assertEqual(self.system.link(PROGRAM + "-inspect"), "/usr/sbin/keldoctl-inspect")
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
        self.system.write("/service/mysql.xml", DEFINITION)
        # The system has neither a database nor definitions of the other services.
        self.assertIn("The state of 6 services is not known.",
                      self.system.run("keldoctl-report", status=2))
        self.assertIn("<!DOCTYPE html>", self.system.run("keldoctl-report", "--html", status=2))
        plugin = self.system.run("/usr/lib/nagios/plugins/check_keldoctl", status=3)
        self.assertIn("KELDOCTL UNKNOWN", plugin)
        self.system.run("/usr/libexec/keldoctl/keep-report", "1")
        self.assertEqual(len(list(self.system.path(RECORDS + "/reports").iterdir())), 1)

    def test_control_files_have_a_directory_for_root_alone(self):
        self.system.install("keldoctl")
        status = self.system.path(CONTROL_FILES).stat()
        self.assertEqual((status.st_mode & 0o7777, status.st_uid), (0o700, 0))

    def test_a_japanese_report_works_although_the_name_is_an_alias(self):
        # Debian's package `locales` has this alias. It may be installed before or after keldoctl.
        self.system.add_package("aliases", {"usr/share/locale/locale.alias": "ja_JP ja_JP.eucJP\n"})
        self.system.write("/service/mysql.xml", DEFINITION)
        for names in (("aliases", "keldoctl"), ("keldoctl", "aliases")):
            with self.subTest(names):
                for name in names:
                    self.system.install(name)
                self.assertIn('<message xml:lang="ja-JP">',
                              self.system.run("keldoctl", "--status", "--language=ja-JP"))
                self.system.purge(*names)
                self.assertFalse(self.system.path("/usr/lib/locale/locale-archive").exists())

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

    def test_the_timers_are_off(self):
        self.system.install(*BOTH)
        for name in ("metrics", "report"):
            self.assertTrue(self.system.path(f"/lib/systemd/system/keldoctl-{name}.timer").exists())
        self.assertEqual([name for name in self.system.state()
                          if name.startswith("/etc/systemd") and "keldoctl" in name], [])

    def test_our_locale_replaces_that_of_a_purged_package(self):
        self.system.add_package("others", {"usr/lib/locale/de_DE/LC_CTYPE": "another's"})
        self.system.install("others", "keldoctl")
        locale = "/usr/lib/locale/de_DE/LC_CTYPE"
        self.assertIsNone(self.system.link(locale))
        self.system.purge("others")
        self.assertIsNotNone(self.system.link(locale))
        self.assertIn(GERMAN, self.german_report("keldoctl"))

    def test_installed_files_match_the_packages_checksums(self):
        self.system.install(*BOTH)
        self.assertEqual(self.system.run("dpkg", "--verify", *BOTH), "")


class RemoveTest(PackageTest):
    def test_a_removal_leaves_no_links_and_no_files(self):
        self.system.install(*BOTH)
        self.system.remove(*BOTH)
        self.assert_clean(but=TIMER_STATE)

    def test_a_failing_script_does_not_block_removal(self):
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

    def test_purging_the_program_removes_the_monitor_and_leaves_nothing(self):
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

    def test_a_second_installation_is_like_the_first(self):
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

    def test_files_that_replaced_our_links_stay(self):
        self.system.install(*BOTH)
        for name in (MONITOR, CATALOGUE):
            self.system.path(name).unlink()
            self.system.write(name, "the administrator's own\n")
        self.system.purge(*BOTH)
        for name in (MONITOR, CATALOGUE):
            self.assertEqual(self.system.path(name).read_text(encoding="utf-8"),
                             "the administrator's own\n")
            self.system.path(name).unlink()


class OtherVersionTest(PackageTest):
    """Upgrades from, and a downgrade to, packages that were made from the present ones."""

    def test_links_of_files_that_the_new_version_lacks_go(self):
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

    def test_files_that_replaced_our_links_stay(self):
        self.system.add_old_version()
        self.system.install(*BOTH, folder="/old")
        self.system.path(MONITOR).unlink()
        self.system.write(MONITOR, "the administrator's own\n")
        self.assertEqual([name for name in self.changed_by(lambda: self.system.install(*BOTH))
                          if name.startswith(ROOT)], [])

    def test_a_downgrade_works(self):
        self.system.add_old_version()
        self.system.install(*BOTH)
        self.system.run("dpkg", "--install", "/old/keldoctl.deb", "/old/keldoctl-monit.deb")
        self.assertEqual(self.system.link(MONITOR), ADAPTER)
        self.system.purge(*BOTH)
        self.assert_clean()


class RunningTimerTest(PackageTest):
    """systemd seems to run, so the scripts send it commands. The base system's policy refuses them,
    and the refusal is printed."""

    def setUp(self):
        super().setUp()
        self.system.path("/run/systemd/system").mkdir(parents=True)

    def refused(self, output):
        """The words of the commands that were not run."""
        return set(" ".join(re.findall(r"not running '(.*?)'", output)).split())

    def test_only_an_upgrade_restarts_the_timers_that_run(self):
        self.assertEqual(self.refused(self.system.install(*BOTH)), set())
        self.system.purge(*BOTH)
        self.system.install_last_release()
        self.assertEqual(self.refused(self.system.upgrade()), {"try-restart", *TIMERS})

    def test_a_removal_stops_the_timers(self):
        self.system.install(*BOTH)
        self.assertEqual(self.refused(self.system.remove(*BOTH)), {"stop", *TIMERS})


if __name__ == "__main__":
    unittest.main()
