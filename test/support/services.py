# SPDX-License-Identifier: MIT
"""The real daemons of a private host."""

import subprocess

PORTS = {"mysql": 3306, "keldo": 8443, "smtp": 25, "web": 80, "dns": 53, "mail": 143,
         "redis": 6379}


def service_control(*words):
    """Runs the panel's service-control and returns its output."""
    return subprocess.run(["/usr/local/kvr/admin/sbin/service-control", *words], check=True,
                          capture_output=True, text=True).stdout


def log_action(action, service):
    """Enters in the panel's action log that the administrator started or stopped a service."""
    subprocess.run(
        ["mariadb", "kvr", "--execute",
         "INSERT INTO log_actions (action_id)"
         f" SELECT id FROM actions WHERE name = 'service_{action}';"
         " INSERT INTO log_components (action_id, component, old_value)"
         f" VALUES (LAST_INSERT_ID(), 'service', '{service}')"],
        check=True)
