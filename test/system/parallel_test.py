"""Many runs at the same time on one host."""

import fcntl
import os
import subprocess
import unittest

from panel import KELDOCTL, PATH, Panel, report, restart, service_down

RUNS = 300
STARTED, LOCK = "/usr/local/kvr/started", "/usr/local/kvr/lock"

# Tells that it runs and waits, with its control file, until the lock is free.
MONITOR = f"""#!/bin/sh
echo "$2" > {STARTED}
exec 3< {LOCK}
flock --shared 3
test "$(head -n 1 "$2")" = "check process web" || exit
echo '<monit><service><name>web</name><status>1</status></service></monit>'
"""


class ParallelTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()
        self.panel.remove_definitions()
        self.panel.write_service("web", start="echo repaired")
        self.panel.write_program("monit", MONITOR)
        os.mkfifo(STARTED)

    def started(self):
        return subprocess.Popen([KELDOCTL, "--repair", "restart-service:web"], env={"PATH": PATH},
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL)

    def test_runs_at_the_same_time_do_not_meet(self):
        directory = self.panel.root / "tmp"
        # Opened for both, so that no monitor waits for a reader and no end is read.
        with open(LOCK, "wb") as lock, open(os.open(STARTED, os.O_RDWR), encoding="utf-8") as names:
            fcntl.flock(lock, fcntl.LOCK_EX)
            runs = [self.started() for _ in range(RUNS)]
            files = {names.readline().strip() for _ in range(RUNS)}
            self.assertEqual(files, {str(directory / name) for name in os.listdir(directory)})
            self.assertEqual(len(files), RUNS)
        outcomes = {(run.communicate()[0], run.returncode) for run in runs}
        self.assertEqual(outcomes, {(report([service_down("web")], [
            restart("web", status="ok", log="repaired\n")]), 0)})
        self.assertEqual(os.listdir(directory), [])


if __name__ == "__main__":
    unittest.main()
