# SPDX-License-Identifier: MIT
"""Makes orphaned processes visible to tests."""

import ctypes

PR_SET_CHILD_SUBREAPER = 36


def become_subreaper(whether=True):
    """Orphans among the descendants become children of this process, or (False) no longer do."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.prctl(PR_SET_CHILD_SUBREAPER, int(whether), 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")
