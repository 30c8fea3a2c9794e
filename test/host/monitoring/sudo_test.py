# SPDX-License-Identifier: MIT
"""The rules for sudo, tried with sudo."""

import subprocess
import unittest

from kit import KIT, PLUGINS, PREFIX, SUDO_RULES, KitTestCase
from manual import displays

CHECK = PLUGINS / "check_keldoctl"


def sudo(*words, user="nagios"):
    """The exit status and the output of sudo, run by a user."""
    done = subprocess.run(["sudo", "-n", *words], user=user, group=user, extra_groups=[],
                          stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return done.returncode, done.stdout.decode()


class SudoTest(KitTestCase):
    def test_visudo_accepts_the_file_as_it_must_be_installed(self):
        done = subprocess.run(["visudo", "--check", "--strict", "--file", SUDO_RULES], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual((done.returncode, done.stdout.decode()), (0, f"{SUDO_RULES}: parsed OK\n"))

    def test_the_manual_shows_the_same_rules(self):
        rules = [line for line in (KIT / "sudoers.d/keldoctl").read_text("utf-8").splitlines()
                 if not line.startswith("#")]
        self.assertEqual(displays("check_keldoctl.8", "EXAMPLES")[0].splitlines(), rules)

    def test_the_monitoring_user_may_run_the_plugin_with_its_options(self):
        for options in ((), ("-w", "none", "-l", "de-DE")):
            with self.subTest(options):
                status, output = sudo(CHECK, *options)
                self.assertEqual((status, output[:28]), (2, "KELDOCTL CRITICAL - 1 down: "))

    def assert_refused(self, result):
        status, output = result
        self.assertEqual(status, 1)
        self.assertRegex(output, r"\A(sudo: .*\n)*\Z")  # nothing of another program

    def test_nothing_else_is_allowed(self):
        copy = PLUGINS / "check_keldoctl.copy"
        copy.write_bytes(CHECK.read_bytes())
        copy.chmod(0o755)
        for words in (["/bin/sh"], ["-s"], ["-i"], ["-l", "/bin/sh"], [copy],
                      [PREFIX / "sbin/keldoctl-report"], [PREFIX / "sbin/keldoctl"],
                      ["-u", "nobody", CHECK], ["-g", "adm", CHECK], ["-E", CHECK],
                      ["LD_PRELOAD=/x", CHECK], ["--preserve-env=PATH", CHECK]):
            with self.subTest(words):
                self.assert_refused(sudo(*words))
        self.assert_refused(sudo(CHECK, user="redis"))


if __name__ == "__main__":
    unittest.main()
