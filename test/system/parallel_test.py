# SPDX-License-Identifier: MIT
"""Many simultaneous runs on one host."""

import fcntl
import os
import select
import subprocess
import unittest

from panel import Panel, report, restart, service_down

RUNS = 300
STARTED, LOCK = "/usr/local/kvr/started", "/usr/local/kvr/lock"

# Writes the path of its control file to STARTED and waits until LOCK is free.
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
        """Waits for the monitors of all runs; returns the paths of their control files."""
        names = b""
        while names.count(b"\n") < len(runs):
            ready, _, _ = select.select([started, *(run.stdout for run in runs)], [], [])
            self.assertEqual(ready, [started], "a run has ended before its monitor has started")
            names += os.read(started, 65536)
        return names.decode().split()

    def test_simultaneous_runs_have_control_files_of_their_own(self):
        directory = self.panel.root / "tmp"
        # Opened for both: no monitor waits for a reader, and no end of file is read.
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
