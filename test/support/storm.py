# SPDX-License-Identifier: MIT
"""Interrupts runs of keldoctl by a signal every millisecond (signal_storm.cpp)."""

import os
import pathlib

COUNT = pathlib.Path("/usr/local/kvr/signal-count")

# The environment of an interrupted run.
STORM = {"LD_PRELOAD": os.environ["SIGNAL_STORM"], "SIGNAL_STORM_COUNT": str(COUNT)}


def signals():
    """The number of signals in the last such run."""
    return int(COUNT.read_text(encoding="utf-8"))
