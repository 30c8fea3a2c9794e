# SPDX-License-Identifier: MIT
"""Many runs at the same time on one host."""

import fcntl
import os
import select
import subprocess
import unittest

from panel import Panel, report, restart, service_down

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

    def start(self):
        return self.panel.start("--repair", "restart-service:web", stderr=subprocess.DEVNULL)

    def control_files(self, runs, started):
        """The control files that the monitors of the runs have told of, once all of them have."""
        names = b""
        while names.count(b"\n") < len(runs):
            ready, _, _ = select.select([started, *(run.stdout for run in runs)], [], [])
            self.assertEqual(ready, [started], "a run has ended before its monitor has started")
            names += os.read(started, 65536)
        return names.decode().split()

    def test_runs_at_the_same_time_do_not_meet(self):
        directory = self.panel.root / "tmp"
        # Opened for both, so that no monitor waits for a reader and no end is read.
        started = os.open(STARTED, os.O_RDWR)
        self.addCleanup(os.close, started)
        with open(LOCK, "wb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            runs = [self.start() for _ in range(RUNS)]
            files = self.control_files(runs, started)
            self.assertEqual(sorted(files),
                             sorted(str(directory / name) for name in os.listdir(directory)))
            self.assertEqual(len(set(files)), RUNS)
        outcomes = {(run.communicate()[0], run.returncode) for run in runs}
        self.assertEqual(outcomes, {(report([service_down("web")], [
            restart("web", status="ok", log="repaired\n")]), 0)})
        self.assertEqual(os.listdir(directory), [])


if __name__ == "__main__":
    unittest.main()
