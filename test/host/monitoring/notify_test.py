# SPDX-License-Identifier: MIT
"""keldoctl-notify with its examples, Postfix, and curl."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

from kit import LIMIT_SECONDS, PREFIX, KitTestCase
from manual import displays
from services import service_control

PROGRAMS = pathlib.Path("/etc/keldoctl/notify.d")
SMTP = pathlib.Path("/usr/local/kvr/etc/smtp")


class NotifyTest(KitTestCase):
    def setUp(self):
        PROGRAMS.mkdir(parents=True)
        self.addCleanup(shutil.rmtree, PROGRAMS.parent)

    def inspect_and_notify(self):
        """What the two systemd services do."""
        subprocess.run([PREFIX / "libexec/keldoctl/keep-report", "9"], check=True)
        subprocess.run([PREFIX / "sbin/keldoctl-notify"], check=True)

    def test_a_repair_is_told_by_mail_and_to_a_web_address(self):
        fifo, mail = self.lines_of_fifo()
        for name in ("main.cf", "master.cf"):  # Postfix's sendmail looks there
            shutil.copy(SMTP / name, "/etc/postfix")
        pathlib.Path("/root/.forward").write_text(f'"|cat >{fifo}"\n', encoding="utf-8")
        port, documents = self.receive_json()
        # The installation of the manual, but without systemd.
        [enable, _] = displays("keldoctl-notify.8", "DESCRIPTION")
        [webhook] = displays("keldoctl-notify.8", "EXAMPLES")
        subprocess.run(["sh", "-e"], check=True, input=re.sub("(?m)^systemctl .*", "", enable)
                       + webhook.replace("https://chat.example", f"http://127.0.0.1:{port}"),
                       text=True)
        self.inspect_and_notify()
        service_control("start", "web")
        self.inspect_and_notify()
        document = documents.get(timeout=LIMIT_SECONDS)
        self.assertEqual(document["host"], os.uname().nodename)
        [change] = document["changes"]
        self.assertEqual((change["service"], change["from"], change["to"]), ("web", "down", "up"))
        lines = []
        while not lines or not lines[-1].endswith("-> Up\n"):
            lines.append(mail.get(timeout=LIMIT_SECONDS))
        self.assertIn(f"Subject: Services changed on {os.uname().nodename}\n", lines)
        self.assertRegex(lines[-1], r"  Web Server: Down \(> \d+ s\) -> Up\n\Z")


if __name__ == "__main__":
    unittest.main()
