# SPDX-License-Identifier: MIT
"""Measures repairs with long output: the time and memory of whole runs of keldoctl for outputs of
several sizes. Prints Markdown.

Usage: host/run --bare env PYTHONPATH=test/support python3 bench/command_output.py [MEBIBYTES]

The first output has 1 KiB; each further output is four times as long, up to MEBIBYTES (by default
256). KELDOCTL names the program.
"""

import pathlib
import statistics
import sys

from memory import peak
from panel import KELDOCTL, PROJECT, Panel
from rounds import Command, Times, alternate
from table import Kibibytes, Milliseconds

MEBIBYTE = 1 << 10  # KiB
PEAK_MEMORY = PROJECT / "build/bench/bench/peak_memory"
RUNS = 3  # the result is their median
TEXT = pathlib.Path("/tmp/output")
LINE = b"The service that was stopped has been started again, as you see.\n"


def measure(panel, size):
    """The medians of the Times and of the peak memory, in KiB, of runs with that size of output."""
    panel.write_service("web", start=f"head -c {size} {TEXT}")
    words = [str(KELDOCTL), "--repair", "restart-service:web"]
    [times] = alternate([Command(words)], RUNS)
    peaks = [peak(PEAK_MEMORY, words) for _ in range(RUNS)]
    return Times(*map(statistics.median, times)), statistics.median(peaks)


def main(mebibytes=256):
    largest = int(mebibytes) * MEBIBYTE
    with TEXT.open("wb") as text:
        for _ in range(1024 * largest // len(LINE) + 1):
            text.write(LINE)
    panel = Panel()
    panel.upgrade_tool(1)  # nothing is checked after the repair
    _, nothing = measure(panel, 0)
    print("| Output | Time | Processor time | Peak memory | Peak above that of no output,"
          " in outputs |\n|---|---|---|---|---|")
    size = 1
    while size <= largest:
        times, most = measure(panel, 1024 * size)
        copies = f"{(most - nothing) / size:.1f}" if size >= MEBIBYTE else ""
        print(f"| {Kibibytes(size)} | {Milliseconds(times.wall)} | {Milliseconds(times.cpu)}"
              f" | {Kibibytes(most)} | {copies} |", flush=True)
        size *= 4


if __name__ == "__main__":
    main(*sys.argv[1:])
