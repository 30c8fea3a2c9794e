# SPDX-License-Identifier: MIT
"""Processes that others leave behind, for tests that want to know of them."""

import ctypes

PR_SET_CHILD_SUBREAPER = 36


def become_subreaper(whether=True):
    """Makes processes that a descendant leaves behind children of this one, or no more."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.prctl(PR_SET_CHILD_SUBREAPER, int(whether), 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")
