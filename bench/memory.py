# SPDX-License-Identifier: MIT
"""The peak memory of keldoctl itself."""

import statistics
import subprocess

from rounds import ENVIRONMENT
from table import Kibibytes, alone

COUNTS = (6, 60, 600)
TARGETS = {6: 12 * 1024}  # KiB
PER_SERVICE_TARGET = 2  # KiB


def rows(server, runs):
    """Rows of --status for some numbers of services, and of the memory for each further service."""
    peaks = {}
    for count in COUNTS:
        server.start_services(count)
        peaks[count] = statistics.median(
            peak(server.peak_memory, [server.keldoctl, "--status"]) for _ in range(runs))
    least, most = min(COUNTS), max(COUNTS)
    growth = (peaks[most] - peaks[least]) / (most - least)
    return [*(alone(f"Peak memory, {count} services", Kibibytes(peak), runs, TARGETS.get(count))
              for count, peak in peaks.items()),
            alone(f"Peak memory, each service from {least} to {most}", Kibibytes(growth), runs,
                  PER_SERVICE_TARGET)]


def peak(measure, words):
    """The peak memory of a program itself, in KiB, by the program `measure` (peak_memory.cpp)."""
    return int(subprocess.run([measure, *words], env=ENVIRONMENT, stdout=subprocess.PIPE,
                              check=True).stdout)
