# SPDX-License-Identifier: MIT
"""write-metrics, which writes the file for the text-file collector."""

import os
import shlex
import stat
import subprocess
import unittest

from installed_views import InstalledViewsTestCase
from panel import PATH
from views import inspected, show

OLDER = "keldoctl_run_timestamp_seconds 1\n"


class WriteMetricsTest(InstalledViewsTestCase):
    PROGRAM = "libexec/keldoctl/write-metrics"

    def setUp(self):
        super().setUp()
        self.collected = self.prefix / "the collector's directory"
        self.collected.mkdir()
        self.metrics = self.collected / "keldoctl.prom"

    def write(self):
        return self.run_program(self.collected)

    def check_only_file(self, content):
        self.assertEqual(os.listdir(self.collected), ["keldoctl.prom"])
        self.assertEqual(self.metrics.read_text(encoding="utf-8"), content)

    def test_every_user_can_read_the_metrics_of_each_verdict(self):
        for status, name in ((0, "all_well"), (1, "one_down"), (2, "disk_full"), (4, "upgrade")):
            with self.subTest(name):
                self.fake_inspection(name, status)
                self.assertEqual(self.run_program(self.collected, umask=0o077), (0, "", ""))
                self.check_only_file(show("prometheus", inspected(name)))
                self.assertEqual(stat.S_IMODE(self.metrics.stat().st_mode), 0o644)

    def test_a_reader_has_a_whole_file_while_the_next_one_is_made(self):
        self.metrics.write_text(OLDER, encoding="utf-8")
        with self.metrics.open(encoding="utf-8") as reader:
            self.fake_inspection("all_well")
            self.assertEqual(self.write(), (0, "", ""))
            self.assertEqual(reader.read(), OLDER)

    def test_a_run_that_fails_leaves_the_file_as_it_is(self):
        self.metrics.write_text(OLDER, encoding="utf-8")
        for commands, message in (
                ("true", "keldoctl-inspect printed no inspection"),
                ("echo '<html/>'", "keldoctl-inspect printed no inspection"),
                ("exit 3", "keldoctl-inspect ended with status 3"),
                ("kill -ABRT $$", "keldoctl-inspect ended with status 134")):
            with self.subTest(commands):
                self.fake_inspect(commands)
                status, output, errors = self.write()
                self.assertEqual((status, output, errors.splitlines()[-1]),
                                 (1, "", f"write-metrics: {message}"))
                self.check_only_file(OLDER)

    def test_a_full_disk_leaves_the_file_as_it_is(self):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k", "none", self.collected], check=True)
        self.addCleanup(subprocess.run, ["umount", self.collected], check=True)
        self.metrics.write_text(OLDER, encoding="utf-8")
        self.fake_inspection("all_well")
        status, output, errors = self.write()
        self.assertEqual((status, output, errors.splitlines()[-1]),
                         (1, "", "write-metrics: the metrics cannot be written"))
        self.check_only_file(OLDER)

    def test_no_link_of_the_directorys_owner_is_followed(self):
        secret = self.prefix / "secret"
        secret.write_text("secret\n", encoding="utf-8")
        for name in ("keldoctl.prom", ".keldoctl.unfinished"):
            (self.collected / name).symlink_to(secret)
        self.fake_inspection("all_well")
        self.assertEqual(self.write(), (0, "", ""))
        self.assertFalse(self.metrics.is_symlink())
        self.check_only_file(show("prometheus", inspected("all_well")))
        self.assertEqual(secret.read_text(encoding="utf-8"), "secret\n")

    def test_nothing_is_written_to_a_link_that_the_directorys_owner_makes_in_between(self):
        pipe = self.prefix / "pipe"
        os.mkfifo(pipe)
        unfinished = self.collected / ".keldoctl.unfinished"
        programs = self.path_with({"rm": f'/bin/rm "$@"; ln -sf {pipe} {shlex.quote(str(unfinished))}'})
        self.fake_inspection("all_well")
        reader = os.open(pipe, os.O_RDWR | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        status, _, errors = self.run_program(self.collected, env={"PATH": programs})
        self.assertEqual((status, errors.splitlines()[-1]),
                         (1, "write-metrics: the metrics cannot be written"))
        self.assertRaises(BlockingIOError, os.read, reader, 1)
        self.assertFalse(self.metrics.exists())

    def test_runs_at_the_same_time_do_not_disturb_each_other(self):
        self.fake_inspection("all_well")
        runs = [subprocess.Popen([self.prefix / self.PROGRAM, self.collected], env={"PATH": PATH})
                for _ in range(6)]
        self.assertEqual([run.wait() for run in runs], [0] * 6)
        self.check_only_file(show("prometheus", inspected("all_well")))

    def test_wrong_usage_runs_nothing(self):
        has_run = self.fake_inspect("")
        for message, arguments, programs in (
                ("which directory?", [], {}), ("which directory?", [self.collected, "x"], {}),
                ("not a directory -- /nowhere", ["/nowhere"], {}),
                ("xsltproc is not installed", [self.collected],
                 {"PATH": self.path_with({"xsltproc": None})})):
            with self.subTest(message, arguments=arguments):
                self.assertEqual(self.run_program(*arguments, env=programs),
                                 (1, "", f"write-metrics: {message}\n"))
        self.assertFalse(has_run.exists())


if __name__ == "__main__":
    unittest.main()
