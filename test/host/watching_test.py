# SPDX-License-Identifier: MIT
"""What monitors and administrators see of a crash and of its repair, with real services, a real
database and a real monitor."""

import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from inspection import INSPECT
from panel import BUILD
from services import service_control
from views import install_views

KEPT = pathlib.Path("/var/lib/keldoctl/reports")
CRASH = "The pid file /run/kvr/web.pid names no running process"
TIME = r"\d{4}-\d\d-\d\d \d\d:\d\d \+00:00"


def cron_job():
    """The program and the whole command of the example for cron."""
    text = (BUILD / "examples/keldoctl-report.cron").read_text(encoding="utf-8")
    minutes, *other, user, command = next(
        line for line in text.splitlines() if not line.startswith("#")).split(" ", 6)
    if (minutes, other, user) != ("*/15", ["*"] * 4, "root"):
        raise ValueError(f"no line for cron: {text}")
    return pathlib.Path(re.search(r"/\S+", command)[0]), command


class WatchingTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        service_control("start-all")
        cls.addClassCleanup(shutil.rmtree, KEPT, ignore_errors=True)
        directory = cls.enterClassContext(tempfile.TemporaryDirectory())
        cls.prefix = install_views(directory)
        (cls.prefix / "sbin/keldoctl-inspect").symlink_to(INSPECT)
        program, cls.job = cron_job()
        program.parent.mkdir(parents=True, exist_ok=True)
        program.unlink(missing_ok=True)  # a container that is the host may have it
        program.symlink_to(cls.prefix / "libexec/keldoctl/keep-report")
        cls.addClassCleanup(program.unlink)

    def run_program(self, name, *arguments):
        """The status and the output of an installed program. It must print no message."""
        done = subprocess.run([self.prefix / name, *arguments], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(done.stderr, b"")
        return done.returncode, done.stdout.decode()

    def run_job(self):
        """Runs the command as cron does, which would mail the output."""
        done = subprocess.run(["/bin/sh", "-c", self.job], check=True, cwd="/", stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                              env={"HOME": "/root", "LOGNAME": "root", "SHELL": "/bin/sh",
                                   "PATH": "/usr/bin:/bin"})
        self.assertEqual(done.stdout, b"")

    def check(self, status, text, numbers):
        found, line = self.run_program("lib/nagios/plugins/check_keldoctl")
        self.assertEqual((found, re.sub(r"time=[0-9.]+s", "time=", line)),
                         (status, f"KELDOCTL {text} | services=7 {numbers} time=\n"))

    def test_the_monitors_show_a_crash_and_its_repair(self):
        self.check(0, "OK - 7 up", "down=0;0;0 unknown=0 stopped=0")
        self.run_job()

        service_control("kill", "web")
        self.check(2, f"CRITICAL - 1 down: Web Server ({CRASH})",
                   "down=1;0;0 unknown=0 stopped=0")
        self.assertIn('keldoctl_service_up{service="web",origin="core"} 0\n',
                      self.run_program("sbin/keldoctl-report", "--prometheus")[1])
        self.run_job()

        subprocess.run([INSPECT, "--repair", "restart-service:web"], check=True,
                       stdout=subprocess.DEVNULL)
        self.check(0, "OK - 7 up", "down=0;0;0 unknown=0 stopped=0")
        self.run_job()

        self.assertEqual({path.stat().st_mode & 0o777 for path in KEPT.iterdir()}, {0o600})
        status, changes = self.run_program("sbin/keldoctl-report", "--changes")
        self.assertEqual(status, 0)
        self.assertRegex(changes, rf"""\A{TIME} -> {TIME}  Inspections: 3

{TIME}  Web Server: Up \(> \d+ \w+\) -> Down
    {CRASH}\.
{TIME}  Web Server: Down \(\d+ \w+\) -> Up
\Z""")

    def test_the_privileges_of_the_systemd_unit_suffice(self):
        unit = (self.prefix / "lib/systemd/system/keldoctl-report.service").read_text(encoding="utf-8")
        kept = " ".join(re.findall("^CapabilityBoundingSet=(.*)", unit, re.M)).lower().split()
        capabilities = ",".join(["-all", *(f"+{name.removeprefix('cap_')}" for name in kept)])
        # Only /usr/local can be written below /usr, as with ProtectSystem and ReadWritePaths.
        done = subprocess.run(
            ["unshare", "--mount", "--propagation=unchanged", "sh", "-e", "-c",
             "mount --bind /usr /usr\nmount --bind /usr/local /usr/local\n"
             "mount -o remount,bind,ro /usr\n"
             f'exec setpriv --no-new-privs --bounding-set={capabilities} "$0"', INSPECT],
            check=True, stdout=subprocess.PIPE)
        self.assertIn(b' verdict="well">', done.stdout)

    def test_a_read_only_file_system_leaves_services_unknown(self):
        tmp = "/usr/local/kvr/tmp"
        subprocess.run(["mount", "-t", "tmpfs", "-o", "ro", "none", tmp], check=True)
        self.addCleanup(subprocess.run, ["umount", tmp], check=True)
        self.check(3, f"UNKNOWN - 6 of 7 not known: The file system of {tmp} is read-only",
                   "down=0;0;0 unknown=6 stopped=0")


if __name__ == "__main__":
    unittest.main()
