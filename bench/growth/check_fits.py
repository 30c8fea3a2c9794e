# SPDX-License-Identifier: MIT
"""Tells how the time of each part grows: a table in Markdown of what growth has measured.

Usage: build/bench/bench/growth/growth --benchmark_format=json |
           python3 bench/growth/check_fits.py
       with --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true on a machine that
       does other work, with --benchmark_min_time=0.01 and without repetitions in a hurry

For each part: the growth that the benchmark declares, the one that fits best, and the constant and
the error (root mean square, in parts of the mean) of the declared one, from the medians of the
repetitions. The fits are those of the benchmark library, dominated by the large n.

Exponent is the slope of the time over n, both as logarithms, for the upper n: 1 where twice as
much takes twice as long. It is made of the shortest times, as all else that a machine does only
adds to a time. Where the caches end it is some tenths more, and so the ranges go on beyond that. A
part grows "worse" than declared where it is more than half a power more. Where a time is in doubt,
instructions tell, which do not depend on memory; those of the preparation are among them:

    valgrind --tool=callgrind --callgrind-out-file=/dev/null build/bench/bench/growth/growth \\
        --benchmark_min_time=0.000000001 --benchmark_filter='^report/problems/16384$'
"""

import collections
import json
import math
import statistics
import sys

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
UPPER_PART = 64  # the upper n are those from the largest one divided by this on
# From the slowest growth to the fastest. The exponent of a logarithm is small and no power.
GROWTHS = {
    "1": (lambda n: 1, 0),
    "lgN": (lambda n: max(math.log2(n), 1e-9), 0.25),
    "N": (lambda n: n, 1),
    "NlgN": (lambda n: n * max(math.log2(n), 1e-9), 1.1),
    "N^2": (lambda n: n * n, 2),
    "N^3": (lambda n: n ** 3, 3),
}


class Part:
    """One benchmark: its times by n, the growth that it declares, and how much memory it takes."""

    def __init__(self):
        self.times = collections.defaultdict(list)
        self.declared = None
        self.copies = []

    def medians(self):
        """Pairs of n and a time in nanoseconds, n ascending."""
        return [(n, statistics.median(times)) for n, times in sorted(self.times.items())]

    def fit(self, growth):
        """The constant in nanoseconds and the relative error of a growth."""
        shape = GROWTHS[growth][0]
        points = [(shape(n), time) for n, time in self.medians()]
        constant = sum(x * time for x, time in points) / sum(x * x for x, _ in points)
        error = math.sqrt(statistics.fmean((time - constant * x) ** 2 for x, time in points))
        return constant, error / statistics.fmean(time for _, time in points)

    def best_growth(self):
        return min(GROWTHS, key=lambda growth: self.fit(growth)[1])

    def exponent(self):
        points = [(math.log(n), math.log(min(times))) for n, times in self.times.items()
                  if UPPER_PART * n >= max(self.times)]
        return statistics.linear_regression(*zip(*points)).slope

    def is_worse(self):
        return self.exponent() > GROWTHS[self.declared][1] + 0.5


def read_parts(results):
    """The parts of the benchmark library's results, by name."""
    parts = collections.defaultdict(Part)
    for entry in results["benchmarks"]:
        if "error_message" in entry:
            raise SystemExit(f"{entry['name']}: {entry['error_message']}")
        # SUBJECT/PART/N, and by which clock where it is not the processor's
        *name, n = entry["run_name"].removesuffix("/real_time").split("/")
        if entry["run_type"] == "iteration":
            clock = "real_time" if entry["run_name"].endswith("/real_time") else "cpu_time"
            part = parts["/".join(name)]
            part.times[int(n)].append(entry[clock] * NANOSECONDS[entry["time_unit"]])
            part.copies += [entry["copies"]] if "copies" in entry and int(n) >= 1 << 26 else []
        elif entry["aggregate_name"] == "BigO":
            parts[entry["run_name"].removesuffix("/real_time")].declared = entry["big_o"]
    return parts


def duration(nanoseconds):
    """A time as people read it, with three digits."""
    for unit, size in reversed(NANOSECONDS.items()):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def row(name, part):
    constant, error = part.fit(part.declared)
    (first, _), *_, (last, longest) = part.medians()
    copies = f"{statistics.median(part.copies):.1f}" if part.copies else ""
    cells = [name, f"{first:,} to {last:,}", part.declared, part.best_growth(),
             f"{part.exponent():.2f}", duration(constant), f"{error:.0%}", duration(longest),
             copies, "worse" if part.is_worse() else "as declared"]
    return "| " + " | ".join(cells) + " |"


def main():
    print("| Part | n | Declared | Best fit | Exponent | Constant | Error | At the largest n"
          " | Copies | Growth |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    for name, part in sorted(read_parts(json.load(sys.stdin)).items()):
        print(row(name, part))


if __name__ == "__main__":
    main()
