# SPDX-License-Identifier: MIT
"""keldoctl-notify, which runs programs after a change of state."""

import json
import os
import pathlib
import shutil
import signal
import stat
import subprocess
import unittest

from installed_views import KEPT_REPORTS, InstalledViewsTestCase
from made_inspections import inspection, service
from manual import displays
from panel import PATH

OWN = pathlib.Path("/var/lib/keldoctl/notify")
PROGRAMS = pathlib.Path("/etc/keldoctl/notify.d")


class NotifyTest(InstalledViewsTestCase):
    PROGRAM = "sbin/keldoctl-notify"

    def setUp(self):
        super().setUp()
        KEPT_REPORTS.mkdir(parents=True)
        PROGRAMS.mkdir(parents=True)
        self.addCleanup(shutil.rmtree, PROGRAMS.parent)
        self.kept = 0
        self.told = self.prefix / "told"

    def keep(self, verdict="problems", **states):
        """Keeps an inspection of services with these states, a minute after the last one."""
        self.kept += 1
        content = inspection([service(name, state, f"Why {state}.", title=f"The {name}",
                                      code="passed" if state == "up" else "refused")
                              for name, state in states.items()], verdict,
                             started=f"2026-11-22T00:{self.kept:02}:00Z")
        (KEPT_REPORTS / f"2026-11-22T00{self.kept:02}00.0Z.xml").write_bytes(content)

    def add_program(self, name, commands):
        (PROGRAMS / name).write_text(f"#!/bin/bash\n{commands}\n", encoding="utf-8")
        (PROGRAMS / name).chmod(0o755)

    def add_recorder(self, name="recorder"):
        """A program that appends its name and its standard input to the file `told`."""
        self.add_program(name, f"{{ echo {name}; cat; }} >>{self.told}")

    def notify(self, *options, status=0, errors=""):
        """Runs the program, checks its answer, and returns what has been told since the last run."""
        self.assertEqual(self.run_program(*options), (status, "", errors))
        if not self.told.exists():
            return None
        told = self.told.read_text(encoding="utf-8")
        self.told.unlink()
        return told

    def test_nothing_runs_as_long_as_nothing_changes(self):
        self.add_recorder()
        self.keep(web="down", mail="up")
        self.assertIsNone(self.notify())  # the first run
        self.assertIsNone(self.notify())
        self.keep(web="down", mail="up")
        self.assertIsNone(self.notify())
        self.keep(web="up", mail="up")
        self.assertEqual(self.notify(),
                         "recorder\n2026-11-22 00:03 +00:00  The web: Down (> 2 min) -> Up\n")
        self.assertIsNone(self.notify())
        self.keep(web="up", mail="up")
        self.assertIsNone(self.notify())

    def test_programs_get_the_changes_as_text_and_as_json(self):
        self.add_program("copy", f'cat >{self.told}; cp "$1" {self.prefix}/json; echo "$#" "$PWD"'
                         f' >{self.prefix}/call; tr "\\0" "\\n" </proc/$$/environ'
                         f' >{self.prefix}/environment')
        self.keep(web="up", dns="up", **{'a"b\\c': "up"})
        self.notify()
        self.keep(web="down", dns="up", **{'a"b\\c': "unknown"})
        self.keep("upgrade")
        self.assertEqual(self.notify(), """\
2026-11-22 00:02 +00:00  The web: Up (> 1 min) -> Down
    Why down.
2026-11-22 00:02 +00:00  The a"b\\c: Up (> 1 min) -> Not known
    Why unknown.
2026-11-22 00:03 +00:00  Upgrade in progress: No (> 2 min) -> Yes
""")
        document = json.loads((self.prefix / "json").read_text(encoding="utf-8"))
        self.assertEqual(set(document), {"host", "changes"})
        self.assertEqual(document["host"], os.uname().nodename)
        changes = document["changes"]
        self.assertEqual(changes, [
            {"time": 1795305720, "service": "web", "title": "The web", "from": "up",
             "to": "down", "code": "refused", "reason": "Why down."},
            {"time": 1795305720, "service": 'a"b\\c', "title": 'The a"b\\c', "from": "up",
             "to": "unknown", "code": "refused", "reason": "Why unknown."},
            {"time": 1795305780, "upgrade": True}])
        self.assertEqual((self.prefix / "call").read_text(encoding="utf-8"), "1 /\n")
        shown = json.loads(displays("keldoctl-notify.8", "DESCRIPTION")[1])["changes"]
        self.assertEqual([set(change) for change in shown], [set(changes[0]), set(changes[2])])
        names = {line.split("=")[0] for line in
                 (self.prefix / "environment").read_text(encoding="utf-8").splitlines()}
        self.assertLessEqual(names, {"LC_ALL", "PATH", "PWD", "SHLVL", "_"})
        for path in OWN.iterdir():
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o600)

    def test_after_an_upgrade_a_state_is_compared_with_the_state_before_it(self):
        self.add_recorder()
        self.keep(web="up", mail="up")
        self.notify()
        self.keep("upgrade")
        self.assertIn("Upgrade in progress: No", self.notify())
        self.keep(web="down", mail="up")
        told = self.notify()
        self.assertIn("Upgrade in progress: Yes", told)
        self.assertIn("The web: Up", told)
        self.assertNotIn("mail", told)

    def test_the_programs_are_those_of_run_parts(self):
        for name in ("b", "a", "10-x", "A_z"):
            self.add_recorder(name)
        for name in ("a.dpkg-old", "a~", ".hidden", "with blank"):
            self.add_recorder(name)
        self.add_recorder("not-executable")
        (PROGRAMS / "not-executable").chmod(0o644)
        (PROGRAMS / "directory").mkdir()
        (PROGRAMS / "dangling").symlink_to("/nowhere")
        self.keep(web="up")
        self.notify()
        self.keep(web="down")
        told = self.notify()
        self.assertEqual([line for line in told.splitlines() if "web" not in line
                          and "Why" not in line], ["10-x", "A_z", "a", "b"])

    def test_a_program_that_fails_stops_no_other(self):
        self.add_program("1-fails", "exit 7")
        self.add_program("2-dies", "kill -SEGV $$")
        self.add_program("3-has-no-interpreter", "")
        (PROGRAMS / "3-has-no-interpreter").write_text("#!/nowhere\n", encoding="utf-8")
        self.add_recorder("4-recorder")
        self.keep(web="up")
        self.notify()
        self.keep(web="down")
        status, output, errors = self.run_program()
        self.assertEqual((status, output), (1, ""))
        for text in ("1-fails ended with status 7", "2-dies ended with status 139",
                     "3-has-no-interpreter ended with status 127"):
            self.assertIn(f"keldoctl-notify: {PROGRAMS}/{text}\n", errors)
        self.assertTrue(self.told.exists())
        self.told.unlink()
        self.assertIsNone(self.notify())  # no program gets a change again

    def test_a_program_that_hangs_stops_no_other(self):
        self.edit_program("program_seconds=60", "program_seconds=0.1")
        for name in ("1-hangs", "2-hangs"):
            self.add_program(name, "exec tail -f /dev/null")
        self.keep(web="up")
        self.notify()
        self.keep(web="down")
        self.notify(status=1, errors="".join(
            f"keldoctl-notify: {PROGRAMS}/{name} did not end within 0.1 s\n"
            for name in ("1-hangs", "2-hangs")))

    def test_too_many_notifications_are_told_later(self):
        self.add_recorder()
        self.keep(web="up")
        self.notify("--most=2")
        for state in ("down", "up"):
            self.keep(web=state)
            self.assertIn("The web", self.notify("--most=2"))
        later = "keldoctl-notify: 2 notifications within an hour: the changes are told later\n"
        self.keep(web="down")
        self.assertIsNone(self.notify("--most=2", errors=later))
        self.keep(web="unknown")
        self.assertIsNone(self.notify("--most=2", errors=later))
        # An hour later.
        record = (OWN / "told").read_text(encoding="utf-8").splitlines()
        self.assertEqual(len(record), 3)
        times = [str(int(time) - 3600) for time in record[1:]]
        (OWN / "told").write_text("\n".join([record[0], *times, ""]), encoding="utf-8")
        told = self.notify("--most=2")
        self.assertIn("The web: Up (1 min) -> Down", told)
        self.assertIn("The web: Down (1 min) -> Not known", told)
        self.assertEqual(len((OWN / "told").read_text(encoding="utf-8").splitlines()), 2)

    def test_a_clock_that_was_set_back_silences_nobody(self):
        self.add_recorder()
        self.keep(web="up")
        OWN.mkdir(parents=True)
        (OWN / "told").write_text("2026-11-22T000100.0Z.xml\n" + "9999999999\n" * 9, encoding="utf-8")
        self.keep(web="down")
        self.assertIn("The web", self.notify())

    def test_without_programs_a_change_is_not_told_later(self):
        self.keep(web="up")
        self.notify()
        self.keep(web="down")
        PROGRAMS.rmdir()
        self.assertIsNone(self.notify())
        PROGRAMS.mkdir()
        self.add_recorder()
        self.assertIsNone(self.notify())

    def test_changes_are_told_although_the_last_told_file_is_gone(self):
        self.add_recorder()
        self.keep(web="up")
        self.notify()
        self.keep(web="up")
        self.keep(web="down")
        (KEPT_REPORTS / "2026-11-22T000100.0Z.xml").unlink()
        self.assertIn("The web: Up", self.notify())

    def test_a_damaged_file_hides_no_change(self):
        self.add_recorder()
        self.keep(web="up")
        self.notify()
        (KEPT_REPORTS / "2026-11-22T000130.0Z.xml").write_bytes(b"<inspection")
        self.keep(web="down")
        self.assertIn("The web: Up", self.notify(
            status=1, errors="keldoctl-report: not an inspection of keldoctl --"
            f" {KEPT_REPORTS}/2026-11-22T000130.0Z.xml\n"))

    def test_after_keldoctl_notify_is_killed_the_programs_run_again(self):
        self.add_program("1-kills", f"[[ ! -e {self.prefix}/killed ]] || exit 0\n"
                         f"touch {self.prefix}/killed\n"
                         "read -r _ _ _ parent _ </proc/$PPID/stat\nkill -KILL $parent")
        self.add_recorder("2-recorder")
        self.keep(web="up")
        self.notify()
        self.keep(web="down")
        self.assertEqual(self.run_program()[0], -signal.SIGKILL)
        self.assertIn("The web", self.notify())

    def test_two_runs_at_the_same_time_tell_once(self):
        self.add_recorder()
        self.keep(web="up")
        self.notify()
        self.keep(web="down")
        runs = [subprocess.Popen([self.prefix / self.PROGRAM], env={"PATH": PATH})
                for _ in range(4)]
        self.assertEqual([run.wait() for run in runs], [0] * 4)
        self.assertEqual(self.told.read_text(encoding="utf-8").count("recorder\n"), 1)

    def test_another_directory_of_programs_is_used_and_wrong_usage_is_refused(self):
        other = self.prefix / "other"
        self.keep(web="up")
        self.notify()
        self.keep(web="down")
        other.mkdir()
        (other / "x").write_text(f"#!/bin/sh\ntouch {self.told}\n", encoding="utf-8")
        (other / "x").chmod(0o755)
        self.assertEqual(self.notify(f"--programs={other}"), "")
        usage = self.run_program("--help")[1]
        for options, message in ((["x"], usage), (["--programs=x"], usage),
                                 (["--help", "--most=1"], usage),
                                 (["--most=0"], "keldoctl-notify: not a number -- 0\n")):
            with self.subTest(options):
                self.assertIsNone(self.notify(*options, status=64, errors=message))
        shutil.rmtree(KEPT_REPORTS)
        nothing = f"keldoctl-notify: no inspection is kept in {KEPT_REPORTS}\n"
        self.assertIsNone(self.notify(status=1, errors=nothing))
        KEPT_REPORTS.mkdir()
        self.assertIsNone(self.notify(status=1, errors=nothing))
        self.assertEqual(self.run_program(user="nobody", group="nogroup", extra_groups=[]),
                         (1, "", "keldoctl-notify: needs root\n"))


if __name__ == "__main__":
    unittest.main()
