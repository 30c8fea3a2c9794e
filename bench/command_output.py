# SPDX-License-Identifier: MIT
"""What a repair takes whose command prints much: time and memory of whole runs of keldoctl, by the
size of the output. Prints Markdown.

Usage: host/run --bare env PYTHONPATH=test/support python3 bench/command_output.py [MEBIBYTES]

The outputs are of 1 KiB and then four times as long each, up to MEBIBYTES (256). KELDOCTL names the
program.
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
RUNS = 3  # of which the median counts
TEXT = pathlib.Path("/tmp/output")
LINE = b"The service that was stopped has been started again, as you see.\n"

def measure(panel, size):
    """The Times of a run with an output of that size and the peak of its memory in KiB, as
    medians."""
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
