# SPDX-License-Identifier: MIT
"""Tests in a coverage build, where each process writes its counts at its end."""

import os
import unittest

# Tests that count or limit system calls, files or memory. Writing the counts would change these.
uncounted = unittest.skipIf("KELDO_COUNTS" in os.environ, "the writing of counts disturbs it")
