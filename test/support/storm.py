# SPDX-License-Identifier: MIT
"""Runs of keldoctl that a signal interrupts every millisecond (signal_storm.cpp)."""

import os
import pathlib

COUNT = pathlib.Path("/usr/local/kvr/signal-count")

# The environment that makes a storm of a run.
STORM = {"LD_PRELOAD": os.environ["SIGNAL_STORM"], "SIGNAL_STORM_COUNT": str(COUNT)}


def signals():
    """How many signals the last such run has got."""
    return int(COUNT.read_text(encoding="utf-8"))
