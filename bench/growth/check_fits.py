# SPDX-License-Identifier: MIT
"""Prints a Markdown table of how the time of each part grows, from the output of `growth`.

Usage: build/bench/bench/growth/growth --benchmark_format=json |
           python3 bench/growth/check_fits.py
       On a busy machine add --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true.
       For a quick look add --benchmark_min_time=0.01.

For each part the table has the growth that the benchmark declares, the growth that fits best, and
the constant and the error of the declared growth. The error is the root mean square, relative to the
mean. The fits use the medians of the repetitions. Large n dominate the fits, as in the benchmark
library.

The exponent is the slope of log(time) over log(n) for the upper n: 1 if doubling n doubles the time.
It uses the shortest times, since other work only makes a time longer. It rises by some tenths when
the data outgrow a cache, so the ranges go far beyond that. A part is "worse" if its exponent exceeds
the declared one by more than 0.5. If a time is doubtful, count instructions, which do not depend on
memory. The count includes the preparation:

    valgrind --tool=callgrind --callgrind-out-file=/dev/null build/bench/bench/growth/growth \\
        --benchmark_min_time=0.000000001 --benchmark_filter='^report/problems/16384$'
"""

import collections
import json
import math
import statistics
import sys

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
UPPER_PART = 64  # the upper n are at least the largest n divided by this
# From the slowest growth to the fastest. A logarithm has no exponent; over these n it is about
# 0.25.
GROWTHS = {
    "1": (lambda n: 1, 0),
    "lgN": (lambda n: max(math.log2(n), 1e-9), 0.25),
    "N": (lambda n: n, 1),
    "NlgN": (lambda n: n * max(math.log2(n), 1e-9), 1.1),
    "N^2": (lambda n: n * n, 2),
    "N^3": (lambda n: n ** 3, 3),
}


class Part:
    """One benchmark: its times by n, and the growth that it declares."""

    def __init__(self):
        self.times = collections.defaultdict(list)
        self.declared = None

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
        # SUBJECT/PART/N, followed by /real_time if that is the clock
        *name, n = entry["run_name"].removesuffix("/real_time").split("/")
        if entry["run_type"] == "iteration":
            clock = "real_time" if entry["run_name"].endswith("/real_time") else "cpu_time"
            part = parts["/".join(name)]
            part.times[int(n)].append(entry[clock] * NANOSECONDS[entry["time_unit"]])
        elif entry["aggregate_name"] == "BigO":
            parts[entry["run_name"].removesuffix("/real_time")].declared = entry["big_o"]
    return parts


def duration(nanoseconds):
    """A time with three digits and its unit."""
    for unit, size in reversed(NANOSECONDS.items()):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def row(name, part):
    constant, error = part.fit(part.declared)
    (first, _), *_, (last, longest) = part.medians()
    cells = [name, f"{first:,} to {last:,}", part.declared, part.best_growth(),
             f"{part.exponent():.2f}", duration(constant), f"{error:.0%}", duration(longest),
             "worse" if part.is_worse() else "as declared"]
    return "| " + " | ".join(cells) + " |"


def main():
    print("| Part | n | Declared | Best fit | Exponent | Constant | Error | At the largest n"
          " | Growth |")
    print("|---|---|---|---|---|---|---|---|---|")
    for name, part in sorted(read_parts(json.load(sys.stdin)).items()):
        print(row(name, part))


if __name__ == "__main__":
    main()
