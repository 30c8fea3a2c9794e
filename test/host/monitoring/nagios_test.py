# SPDX-License-Identifier: MIT
"""The objects for Nagios, with Nagios 4."""

import pathlib
import shutil
import subprocess
import unittest

from kit import KIT, LIMIT_SECONDS, PLUGINS, KitTestCase, replace

ETC = pathlib.Path("/etc/nagios4")
CONFIGURATION = ETC / "nagios.cfg"
OBJECTS = """\
define host {{
    use                 linux-server
    host_name           panel
    address             127.0.0.1
    hostgroups          keldoctl-panels
    check_command       null
}}
define command {{
    command_name        tell
    command_line        printf '%s|' '$HOSTNAME$' '$SERVICEDESC$' '$SERVICESTATE$' '$SERVICEOUTPUT$' >{fifo} && echo >{fifo}
}}
"""


class NagiosTest(KitTestCase):
    def test_nagios_accepts_the_objects_and_tells_what_is_down(self):
        fifo, lines = self.lines_of_fifo()
        replace(ETC / "resource.cfg", r"^\$USER1\$=.*", f"$USER1$={PLUGINS}")
        # Nagios runs the handler after each change of state, and makes the first checks at once.
        replace(CONFIGURATION, "^cfg_file=.*/localhost.cfg$", "global_service_event_handler=tell")
        replace(CONFIGURATION, "^service_inter_check_delay_method=.*",
                "service_inter_check_delay_method=n")
        (ETC / "conf.d/panel.cfg").write_text(OBJECTS.format(fifo=fifo), encoding="utf-8")
        shutil.copy(KIT / "nagios/keldoctl.cfg", ETC / "conf.d")
        done = subprocess.run(["nagios4", "-v", CONFIGURATION], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, 0, done.stdout.decode())
        self.assertIn(b"\tChecked 1 services.\n", done.stdout)
        self.start("nagios4", CONFIGURATION)
        self.assertRegex(lines.get(timeout=LIMIT_SECONDS),
                         r"\Apanel\|Panel services\|CRITICAL\|KELDOCTL .* 1 down: Web Server .*\|\n")


if __name__ == "__main__":
    unittest.main()
