# SPDX-License-Identifier: MIT
"""The table of the measurements."""

import statistics
from typing import NamedTuple

HEADINGS = ("What", "keldoctl", "Beside it", "Ratio", "Middle half", "Target", "Met", "Runs")
NUMBERS = ("keldoctl", "Ratio", "Middle half", "Runs")


class Row(NamedTuple):
    """A row: its cells as texts, in the order of HEADINGS."""

    what: str
    own: str
    beside: str = ""
    ratio: str = ""
    spread: str = ""
    target: str = ""
    met: str = ""
    runs: str = ""


def compared(what, own, beside, name, at_most=None):
    """The Row that compares a number of keldoctl with that of the program `name`. Both are of one
    of the types below. `at_most` is the target for their ratio."""
    ratio = own / beside
    return Row(what, str(own), f"{name}: {beside}", f"{ratio:.2f}",
               target=_at_most(at_most), met=_met(ratio, at_most), runs="1")


def timed(what, own, beside, name, at_most=None):
    """The Row that compares times of keldoctl with times of the program `name`, two lists of
    milliseconds from the same rounds. The times shown are medians. The ratio is the median of the
    rounds' ratios, since other work slows both sides of a round; "Middle half" has the quartiles of
    these ratios."""
    low, ratio, high = statistics.quantiles((one / other for one, other in zip(own, beside)), n=4)
    own_median, median_beside = (Milliseconds(statistics.median(each)) for each in (own, beside))
    return Row(what, str(own_median), f"{name}: {median_beside}", f"{ratio:.2f}",
               f"{low:.2f} to {high:.2f}", _at_most(at_most), _met(ratio, at_most), str(len(own)))


def alone(what, own, runs, at_most=None):
    """The Row of a number without a comparison. `at_most` is the target, in the number's unit."""
    target = "" if at_most is None else f"≤ {type(own)(at_most)}"
    return Row(what, str(own), target=target, met=_met(own, at_most), runs=str(runs))


class Milliseconds(float):
    """Written with three digits."""

    def __str__(self):
        return f"{_three_digits(self)} ms"


class Kibibytes(float):
    """Written with three digits, from 1024 on as MiB."""

    def __str__(self):
        return f"{_three_digits(self)} KiB" if self < 1024 else f"{_three_digits(self / 1024)} MiB"


class Count(int):
    """Written in groups of three digits."""

    def __str__(self):
        return f"{self:,}"


def markdown(rows):
    """The table as lines of Markdown."""
    cells = [HEADINGS, *rows]
    widths = [max(map(len, column)) for column in zip(*cells)]
    rule = tuple("-" * (width - 1) + (":" if heading in NUMBERS else "-")
                 for heading, width in zip(HEADINGS, widths))
    cells.insert(1, rule)
    return "".join(_line(row, widths) + "\n" for row in cells)


def _line(row, widths):
    padded = [cell.rjust(width) if heading in NUMBERS else cell.ljust(width)
              for heading, cell, width in zip(HEADINGS, row, widths)]
    return f"| {' | '.join(padded)} |"


def _at_most(ratio):
    return "" if ratio is None else f"≤ {ratio:.2f}"


def _met(value, at_most):
    if at_most is None:
        return ""
    return "yes" if value <= at_most else "no"


def _three_digits(value):
    if value >= 100:
        return f"{value:.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"
