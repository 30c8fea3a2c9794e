# SPDX-License-Identifier: MIT
"""What a repair takes whose command prints much: time and memory of whole runs of keldoctl, by the
size of the output. Prints Markdown.

Usage: host/run --bare env PYTHONPATH=test/support python3 bench/command_output.py [MEBIBYTES]

The outputs are of 1 KiB and then four times as long each, up to MEBIBYTES (256). KELDOCTL names the
program.
"""

import json
import pathlib
import statistics
import subprocess
import sys

from panel import KELDOCTL, PATH, Panel

KIBIBYTE, MEBIBYTE = 1 << 10, 1 << 20
RUNS = 3  # of which the median counts
TEXT = pathlib.Path("/tmp/output")
LINE = b"The service that was stopped has been started again, as you see.\n"

# Runs a program and prints its time, its processor time and its peak memory, or that of the largest
# process that it has started. To the peak of a process the kernel counts what it was before it
# became that program: hence this one, which is as small as keldoctl.
MEASURE = """
import os, sys, time
started = time.monotonic()
process = os.posix_spawn(sys.argv[1], sys.argv[1:], os.environ,
                         file_actions=[(os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)])
_, status, usage = os.wait4(process, 0)
seconds = time.monotonic() - started
print([seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024])
sys.exit(status != 0)
"""


def measure(panel, size):
    """The time in seconds, the processor's as well, and the peak of the memory in bytes of a run
    with an output of that size, as medians."""
    panel.write_service("web", start=f"head -c {size} {TEXT}")
    return [statistics.median(values) for values in zip(*(run() for _ in range(RUNS)))]


def run():
    done = subprocess.run(["python3", "-IS", "-c", MEASURE, KELDOCTL, "--repair",
                           "restart-service:web"], env={"PATH": PATH}, check=True,
                          stdout=subprocess.PIPE)
    return json.loads(done.stdout)


def main(mebibytes=256):
    largest = int(mebibytes) * MEBIBYTE
    with TEXT.open("wb") as text:
        for _ in range(largest // len(LINE) + 1):
            text.write(LINE)
    panel = Panel()
    panel.upgrade_tool(1)  # nothing is checked after the repair
    nothing = measure(panel, 0)[2]
    print("| Output | Time | Processor time | Peak memory | Peak above that of no output,"
          " in outputs |\n|---|---|---|---|---|")
    size = KIBIBYTE
    while size <= largest:
        seconds, processor, peak = measure(panel, size)
        copies = f"{(peak - nothing) / size:.1f}" if size >= MEBIBYTE else ""
        print(f"| {size // KIBIBYTE:,} KiB | {seconds * 1000:,.1f} ms | {processor * 1000:,.1f} ms"
              f" | {peak / MEBIBYTE:,.1f} MiB | {copies} |", flush=True)
        size *= 4


if __name__ == "__main__":
    main(*sys.argv[1:])
