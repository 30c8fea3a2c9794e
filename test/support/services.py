# SPDX-License-Identifier: MIT
"""The real daemons of a private host."""

import subprocess

PORTS = {"mysql": 3306, "keldo": 8443, "smtp": 25, "web": 80, "dns": 53, "mail": 143,
         "redis": 6379}


def service_control(*words):
    """Runs the panel's service-control and returns its output."""
    return subprocess.run(["/usr/local/kvr/admin/sbin/service-control", *words], check=True,
                          capture_output=True, text=True).stdout
