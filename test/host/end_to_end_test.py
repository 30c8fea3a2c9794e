# SPDX-License-Identifier: MIT
"""Whole reports of keldoctl with the real services, the real database and the real monitor."""

import pathlib
import subprocess
import unittest

import schemas
from panel import Action, Problem, report, restart, service_down
from services import log_action, service_control

KELDOCTL = "/usr/local/kvr/admin/sbin/keldoctl"
TITLES = {
    "mysql": "Database Server",
    "keldo": "Control Panel",
    "smtp": "Mail Transfer (SMTP)",
    "web": "Web Server",
    "dns": "Name Server",
    "mail": "Mailbox Access (IMAP)",
    "redis": "Redis Cache",
}
UPGRADE_LOCK = pathlib.Path("/usr/local/kvr/var/upgrade.lock")


def keldoctl(*arguments):
    done = subprocess.run([KELDOCTL, *arguments], check=True, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE)
    schemas.require_report(done.stdout)
    return done.stdout


def problem(service):
    return service_down(service, TITLES[service])


def action(service, **result):
    return restart(service, TITLES[service], **result)


def down(*services):
    """The English report of these services down."""
    return report(map(problem, sorted(services)), map(action, sorted(services)))


class EndToEndTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        service_control("start-all")

    def setUp(self):
        self.assertEqual(keldoctl("--status"), report())

    def tearDown(self):
        UPGRADE_LOCK.unlink(missing_ok=True)
        service_control("start-all")
        for service in TITLES:
            log_action("start", service)

    def test_each_service_that_crashed_is_reported_alone_and_repaired(self):
        for service in TITLES.keys() - {"mysql"}:
            with self.subTest(service):
                service_control("kill", service)
                self.assertEqual(keldoctl("--status"), down(service))
                repaired = keldoctl("--repair", f"restart-service:{service}")
                log = f"{service}: was not running any more\n{service}: started\n"
                self.assertEqual(repaired, report([], [action(service, status="ok", log=log)]))
                self.assertEqual(keldoctl("--status"), report())

    def test_all_services_that_are_down_are_reported(self):
        service_control("kill", "web")
        service_control("stop", "dns")
        service_control("kill", "redis")
        self.assertEqual(keldoctl("--status"), down("dns", "redis", "web"))

    def test_a_german_report_has_german_texts(self):
        service_control("kill", "web")
        restart = "restart-service:web"
        self.assertEqual(keldoctl("--status", "--language=de-DE"), report(
            [Problem("service-down:web", "Der Dienst „Webserver“ ist ausgeschaltet.",
                     actions=(restart,), default=restart, language="de-DE")],
            [Action(restart, "Den Dienst „Webserver“ neu starten.", language="de-DE")]))

    def test_a_service_that_the_administrator_stopped_is_not_reported(self):
        for service in ("mail", "redis"):
            with self.subTest(service):
                log_action("stop", service)
                service_control("stop", service)
                self.assertEqual(keldoctl("--status"), report())
                log_action("start", service)
                self.assertEqual(keldoctl("--status"), down(service))
                service_control("start", service)

    def test_without_a_database_the_core_services_alone_are_checked(self):
        log_action("stop", "mail")
        service_control("stop", "mail")
        service_control("kill", "redis")
        service_control("kill", "mysql")
        # Without the action log, mail looks failed and redis is not checked.
        self.assertEqual(keldoctl("--status"), down("mail", "mysql"))
        self.assertEqual(keldoctl("--repair", "restart-service:mysql"), report(
            [problem("redis")],
            [action("mysql", status="ok", log="mysql: was not running any more\n"
                                              "mysql: started\n"),
             action("redis")]))

    def test_an_unreadable_password_file_is_a_database_that_is_down(self):
        password = pathlib.Path("/etc/kvr/.kvr.shadow")
        kept = password.rename("/etc/kvr/.kvr.shadow.kept")
        try:
            self.assertEqual(keldoctl("--status"), down("mysql"))
        finally:
            kept.rename(password)

    def test_during_an_upgrade_nothing_else_is_reported(self):
        service_control("kill", "web")
        UPGRADE_LOCK.touch()
        self.assertEqual(keldoctl("--status"), report(
            [Problem("upgrade", "Upgrade is in progress. Please wait.", "minor")]))

    def test_a_service_whose_port_is_dead_but_whose_process_lives_is_down(self):
        definition = pathlib.Path("/service/web.xml")
        text = definition.read_text(encoding="utf-8")
        definition.write_text(text.replace('number="80"', 'number="81"'), encoding="utf-8")
        try:
            self.assertEqual(keldoctl("--status"), down("web"))
        finally:
            definition.write_text(text, encoding="utf-8")

    def test_no_control_file_and_no_monitor_is_left(self):
        service_control("kill", "web")
        keldoctl("--status")
        self.assertEqual(list(pathlib.Path("/usr/local/kvr/tmp").iterdir()), [])
        self.assertEqual(list(pathlib.Path("/run").glob("monit-check-status.*")), [])
        running = subprocess.run(["pgrep", "-x", "monit"], stdout=subprocess.PIPE, check=False)
        self.assertEqual(running.stdout, b"")


if __name__ == "__main__":
    unittest.main()
