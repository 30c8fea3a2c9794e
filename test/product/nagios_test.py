# SPDX-License-Identifier: MIT
"""The view for Nagios."""

import re
import unittest

from made_inspections import inspection, service
from manual import shown_commands
from views import DIRECTIONS, DIRECTIONS_REPLACED, ViewTestCase, inspected

NO_PROCESS = "The pid file {} names no running process"
WEB = f"Web Server ({NO_PROCESS.format('/run/kvr/web.pid')})"
LOG = "It is not known which services the administrator started or stopped."


class NagiosTest(ViewTestCase):
    VIEW = "nagios"

    def first_line(self, *services, verdict="problems", dependencies=(), **parameters):
        return self.show(inspection(services, verdict, dependencies), **parameters)

    def state(self, *services, **parameters):
        return self.first_line(*services, **parameters).split(" ")[1]

    def test_recorded_inspections_have_their_lines(self):
        for name, text, numbers in (
                ("all_well", "OK - 7 up", "7 down=0;0;0 unknown=0 stopped=0"),
                ("stopped", "OK - 5 up, 2 stopped by the administrator",
                 "7 down=0;0;0 unknown=0 stopped=2"),
                ("one_down", f"CRITICAL - 1 down: {WEB}", "7 down=1;0;0 unknown=0 stopped=0"),
                ("mixed", f"CRITICAL - 1 down: {WEB}; 1 not known",
                 "7 down=1;0;0 unknown=1 stopped=1"),
                ("disk_full", "UNKNOWN - 6 of 7 not known: There is no space left in"
                 " /usr/local/kvr/tmp", "7 down=0;0;0 unknown=6 stopped=0"),
                ("upgrade", "WARNING - upgrade in progress, 7 not checked",
                 "7 down=0;0;0 unknown=0 stopped=0"),
                ("two_down_in_german", "CRITICAL - 2 down: Mail Transfer (SMTP) (Zur PID-Datei"
                 " /var/lib/kvr/smtp/queue/pid/master.pid läuft kein Prozess), Webserver"
                 " (Zur PID-Datei /run/kvr/web.pid läuft kein Prozess)",
                 "7 down=2;0;0 unknown=0 stopped=0"),
                # One line with one bar.
                ("odd_texts", "CRITICAL - 3 down: <b>\"A\" &amp; 'B'</b> ¦ x second line"
                 f" \ufffd31m ({NO_PROCESS.format('/run/web.pid')}), Q & A"
                 f" ({NO_PROCESS.format('/run/dns.pid')}), {'x' * 47}…"
                 f" ({NO_PROCESS.format('/run/mail.pid')}); 1 not known",
                 "7 down=3;0;0 unknown=1 stopped=0")):
            with self.subTest(name):
                self.assertEqual(
                    self.show(inspected(name)), f"KELDOCTL {text} | services={numbers} time=0.412s\n")

    def test_the_example_of_the_manual_is_what_the_view_prints(self):
        [(_, lines)] = shown_commands("check_keldoctl.8", "EXAMPLES")
        self.assertEqual(" ".join(lines.split()) + "\n", self.show(inspected("mixed")))

    def test_the_line_says_why_services_are_not_known(self):
        dns = service("dns", "unknown", "No space.", title="Name Server")
        for services, text in (
                ([dns], "1 of 1 not known: Name Server (No space)"),
                ([dns, service("a", "up")], "1 of 2 not known: Name Server (No space)"),
                ([dns, service("a", "stopped")], "1 of 1 not known: Name Server (No space)"),
                ([dns, service("a", "unknown", "No space.")], "2 of 2 not known: No space"),
                ([dns, service("a", "unknown", "Why?")],
                 "2 of 2 not known: Name Server (No space), a (Why?)"),
                ([service("a", "unknown", "空きがありません。")],
                 "1 of 1 not known: a (空きがありません)"),
                # A later version may have further states.
                ([service("a", "odd", "Odd."), service("b", "up")], "1 of 2 not known: a (Odd)")):
            with self.subTest(text):
                self.assertIn(f"KELDOCTL UNKNOWN - {text} | ",
                              self.first_line(*services, verdict="unknown"))

    def test_the_line_says_that_the_action_log_cannot_be_read(self):
        log = [("action_log", "failed", LOG)]
        self.assertIn(f"UNKNOWN - 1 up; {LOG[:-1]} |", self.first_line(
            service("web", "up"), verdict="unknown", dependencies=log))
        self.assertIn(f"CRITICAL - 1 down: mysql (Refused); {LOG[:-1]} |", self.first_line(
            service("mysql", "down", "Refused."), dependencies=log))
        self.assertIn(f"UNKNOWN - 1 down: mysql (Refused); {LOG[:-1]} |", self.first_line(
            service("mysql", "down", "Refused."), dependencies=log, warning="none",
            critical="none"))

    def test_the_verdict_of_a_later_version_is_unknown(self):
        self.assertEqual(self.state(service("web", "up"), verdict="fair"), "UNKNOWN")

    def test_a_service_without_a_title_is_named_by_its_id(self):
        self.assertIn(" 1 down: web (R) |", self.first_line(service("web", "down", "R.", title="")))

    def test_no_character_changes_the_direction_of_the_line(self):
        self.assertIn(f"1 down: {DIRECTIONS_REPLACED} ({DIRECTIONS_REPLACED}) |",
                      self.first_line(service("w", "down", DIRECTIONS, title=DIRECTIONS)))

    def test_the_first_of_many_services_are_named(self):
        text = self.show(inspected("forty_down"))
        self.assertEqual(text.count("(The pid file"), 8)
        self.assertIn("(The pid file /run/service08.pid names no running process) and 32 more;"
                      " 11 not known | services=57 down=40;0;0 ", text)

    def test_the_worst_service_comes_first(self):
        text = self.first_line(*(service(severity or "unrated", "down", "R.", severity=severity)
                                 for severity in ("minor", None, "critical", "major")))
        self.assertIn(" 4 down: critical (R), major (R), minor (R), unrated (R) | ", text)

    def test_a_line_is_short_enough_for_a_monitor(self):
        for state, verdict in (("down", "problems"), ("unknown", "unknown")):
            text = self.first_line(*(service(f"s{number}", state, f"{number} {'字' * 1000}",
                                             title="字" * 1000) for number in range(600)),
                                   verdict=verdict)
            self.assertLess(len(text.encode()), 4096)

    def test_thresholds_decide_the_state(self):
        # The states if a service of this severity is down: minor, major, critical, none at all.
        for warning, critical, states in (
                ("minor", "major", "WARNING CRITICAL CRITICAL WARNING"),
                ("major", "critical", "OK WARNING CRITICAL OK"),
                ("critical", "none", "OK OK WARNING OK"),
                ("none", "none", "OK OK OK OK"),
                ("none", "minor", "CRITICAL CRITICAL CRITICAL CRITICAL"),
                ("minor", "none", "WARNING WARNING WARNING WARNING")):
            with self.subTest(warning=warning, critical=critical):
                found = [self.state(service("a", "down", severity=severity),
                                    warning=warning, critical=critical)
                         for severity in ("minor", "major", "critical", None)]
                self.assertEqual(" ".join(found), states)

    def test_the_performance_data_has_the_thresholds(self):
        for warning, critical, shown in (("major", "critical", "0;"), ("critical", "none", ";"),
                                         ("none", "minor", ";0"), ("minor", "major", "0;0")):
            with self.subTest(warning=warning, critical=critical):
                self.assertIn(f" down=1;{shown} ", self.show(
                    inspected("one_down"), warning=warning, critical=critical))

    def test_a_problem_below_the_thresholds_does_not_hide_what_is_not_known(self):
        services = service("a", "down", "R."), service("b", "unknown", "U.")
        for critical, state in (("major", "CRITICAL"), ("none", "UNKNOWN")):
            self.assertIn(f"KELDOCTL {state} - 1 down: a (R); 1 not known | ", self.first_line(
                *services, warning="none", critical=critical))

    def test_an_upgrade_is_minor(self):
        for parameters, state in (({}, "WARNING"), ({"warning": "major"}, "OK"),
                                  ({"critical": "minor"}, "CRITICAL")):
            self.assertIn(f"KELDOCTL {state} - upgrade in progress, 7 not checked | ",
                          self.show(inspected("upgrade"), **parameters))

    def test_each_verbosity_adds_lines(self):
        first, *lines = self.show(inspected("mixed"), verbosity=3).splitlines(keepends=True)
        web, dns, mail = (
            f"down: {WEB[:10]} [web]: {NO_PROCESS.format('/run/kvr/web.pid')}.\n",
            "unknown: Name Server [dns]: The monitor refuses line 8 of the service definition"
            " /service/dns.xml.\n",
            "stopped: Mailbox Access (IMAP) [mail]: The administrator stopped the service.\n")
        details = [line for line in lines if line.startswith("    ")]
        self.assertEqual(details, ["    'web' process is not running\n",
                                   "    'web' trying to restart\n",
                                   "    /usr/local/kvr/tmp/keldoctl-inspect.XXXXXX/4:3:"
                                   " syntax error 'dnsx'\n"])
        without_details = [line for line in lines if line not in details]
        self.assertEqual(without_details, [
            *(f"up: {name}: All tests passed.\n" for name in (
                "Database Server [mysql]", "Control Panel [keldo]", "Mail Transfer (SMTP) [smtp]")),
            web, dns, mail, "up: Redis Cache [redis]: All tests passed.\n",
            "depends on configuration [/etc/kvr/kvr.conf]: ok\n",
            "depends on definitions [/service]: ok\n",
            "depends on upgrade_tool [/usr/local/kvr/admin/sbin/noupgradecheck]: ok\n",
            "depends on database: ok\n", "depends on action_log: ok\n",
            "depends on control_files [/usr/local/kvr/tmp]: ok\n",
            "depends on monitor [/usr/local/kvr/admin/sbin/monit]: ok\n"])
        for verbosity, more in ((0, []), (1, [web, dns, mail]), (2, without_details), (4, lines)):
            with self.subTest(verbosity):
                self.assertEqual(self.show(inspected("mixed"), verbosity=verbosity),
                                 "".join([first, *more]))
        self.assertIn("depends on control_files [/usr/local/kvr/tmp]: failed: There is no space left"
                      " in /usr/local/kvr/tmp.\n", self.show(inspected("disk_full"), verbosity=2))

    def test_only_the_first_line_has_a_bar(self):
        odd = service("w", "down", f"a|b\nc{DIRECTIONS}", title="a|b\nc", detail="a|b\n\tc\x9b")
        lines = self.first_line(odd, verbosity=3).splitlines()
        self.assertEqual(len(re.findall(r"\|", "\n".join(lines))), 1)
        self.assertEqual(lines[1:], [f"down: a¦b c [w]: a¦b c{DIRECTIONS_REPLACED}",
                                     "    a¦b", "    \tc\ufffd"])


if __name__ == "__main__":
    unittest.main()
