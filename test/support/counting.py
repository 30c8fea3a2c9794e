# SPDX-License-Identifier: MIT
"""Tests in a coverage build, where each process writes its counts at its end."""

import os
import unittest

# Writing the counts takes system calls, files and memory, which these tests count or limit.
uncounted = unittest.skipIf("KELDO_COUNTS" in os.environ, "the writing of counts disturbs it")
