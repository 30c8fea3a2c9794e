# SPDX-License-Identifier: MIT
"""The objects for Icinga 2, with Icinga 2."""

import pathlib
import shutil
import subprocess
import unittest

from kit import KIT, LIMIT_SECONDS, PLUGINS, KitTestCase, replace

ETC = pathlib.Path("/etc/icinga2")
# Icinga runs an event command after each change of state.
OBJECTS = """\
object Host "panel" {{
  import "generic-host"
  check_command = "dummy"
  vars.keldoctl = true
  vars.keldoctl_language = "de-DE"
}}
object EventCommand "tell" {{
  command = [ "/bin/sh", "-c", "printf '%s|' \\"$$@\\" >{fifo}; echo >{fifo}", "sh" ]
  arguments = {{
    "1" = {{ value = "$host.name$", skip_key = true, order = 1 }}
    "2" = {{ value = "$service.display_name$", skip_key = true, order = 2 }}
    "3" = {{ value = "$service.state$", skip_key = true, order = 3 }}
    "4" = {{ value = "$service.output$", skip_key = true, order = 4 }}
  }}
}}
"""


class IcingaTest(KitTestCase):
    def test_icinga_accepts_the_objects_and_tells_what_is_down(self):
        fifo, lines = self.lines_of_fifo()
        replace(ETC / "constants.conf", "^const PluginDir = .*", f'const PluginDir = "{PLUGINS}"')
        # The first check is made within the interval.
        replace(ETC / "conf.d/templates.conf", '^(template Service "generic-service" {)',
                r'\1\n  event_command = "tell"')
        replace(ETC / "conf.d/templates.conf", "check_interval = 1m", "check_interval = 1s")
        (ETC / "conf.d/hosts.conf").write_text(OBJECTS.format(fifo=fifo), encoding="utf-8")
        shutil.copy(KIT / "icinga2/keldoctl.conf", ETC / "conf.d")
        done = subprocess.run(["icinga2", "daemon", "-C"], check=False, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        self.assertEqual(done.returncode, 0, done.stdout.decode())
        self.assertIn(b"Instantiated 1 Service.", done.stdout)
        subprocess.run("/usr/lib/icinga2/prepare-dirs", check=True)
        self.start("icinga2", "daemon")
        self.assertRegex(lines.get(timeout=LIMIT_SECONDS),
                         r"\Apanel\|Panel services\|CRITICAL\|KELDOCTL .* 1 down: Webserver .*\|\n")


if __name__ == "__main__":
    unittest.main()
