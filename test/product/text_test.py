# SPDX-License-Identifier: MIT
"""The view for a terminal."""

import re
import subprocess
import unittest

from panel import Action, Problem, report, restart, service_down
from views import DIRECTIONS, DIRECTIONS_REPLACED, VIEWS, ViewTestCase, recorded


class TextTest(ViewTestCase):
    VIEW = "text"

    def test_recorded_reports(self):
        for name, text in (("all_well", "No problems found\n"), ("one_down", """\
Problems: 1

[Major] The web title service is switched off.
    Restart the web title service.
        keldoctl --repair restart-service:web
"""), ("two_down_in_german", """\
Probleme: 2

[Schwerwiegend] Der Dienst „Mailbox Access (IMAP)“ ist ausgeschaltet.
    Den Dienst „Mailbox Access (IMAP)“ neu starten.
        keldoctl --repair restart-service:mail

[Schwerwiegend] Der Dienst „Webserver“ ist ausgeschaltet.
    Den Dienst „Webserver“ neu starten.
        keldoctl --repair restart-service:web

Alle vorgeschlagenen Reparaturen auf einmal:
    keldoctl --repair restart-service:mail restart-service:web
"""), ("upgrade", """\
Problems: 1

[Minor] Upgrade is in progress. Please wait.

Services are not checked while an upgrade is in progress.
"""), ("repaired", """\
Repairs carried out: 2

[Succeeded] Restart the Name Server service.

[Succeeded] Restart the Web Server service.
    web: was not running any more
    web: started

No problems found
""")):
            with self.subTest(name):
                self.check(name, text)

    def test_a_failed_repair_comes_before_its_problem(self):
        journal = "".join(f"    web: line {number} of the journal\n" for number in range(1, 151))
        self.check("repair_failed", f"""\
Repairs carried out: 2

[Succeeded] Restart the Name Server service.
    dns: started

[Failed] Restart the Web Server service.
{journal}    web: cannot bind to port 80, address in use

Problems: 1

[Major] The Web Server service is switched off.
    Restart the Web Server service.
        keldoctl --repair restart-service:web
""")

    def test_lines_are_indented_and_control_characters_replaced(self):
        long = "x" * 300
        self.check("odd_texts", f"""\
Repairs carried out: 1

[Succeeded] Restart the <b>"A" & 'B'</b> | x
    \tsecond line \ufffd31m service.
    \n\
      <pre> "quoted" &\ta\ufffd
    \ufffd[31mred

Problems: 3

[Major] The Q & A service is switched off.
    Restart the Q & A service.
        keldoctl --repair restart-service:dns

[Major] The {long} service is switched off.
    Restart the {long} service.
        keldoctl --repair restart-service:mail

[Major] The <b>"A" & 'B'</b> | x
    \tsecond line \ufffd31m service is switched off.
    Restart the <b>"A" & 'B'</b> | x
    \tsecond line \ufffd31m service.
        keldoctl --repair restart-service:web

All proposed repairs at once:
    keldoctl --repair restart-service:dns restart-service:mail restart-service:web
""")

    def test_no_character_changes_the_direction_of_a_line(self):
        text = self.show(report([Problem("p", DIRECTIONS, actions=(DIRECTIONS,))],
                                [Action("a", "A.", status="ok", log=DIRECTIONS)]))
        self.assertEqual(text.count(DIRECTIONS_REPLACED), 4)
        self.assertFalse(set(DIRECTIONS[1:-1]) & set(text))

    def test_the_worst_problem_and_the_recommended_action_come_first(self):
        problems = [Problem("a", "Bearable.", "minor"), Problem("b", "Bad.", "major"),
                    Problem("c", "Terrible.", "critical", ("first", "second"), "second"),
                    Problem("d", "As bad.", "major"), Problem("e", "Anything.", None),
                    Problem("no text", "", "major")]
        self.assertEqual(self.show(report(problems, [Action("first", "Try this."),
                                                     Action("second", "Or this.")])), """\
Problems: 6

[Critical] Terrible.
    Or this. (recommended)
        keldoctl --repair second
    Try this.
        keldoctl --repair first

[Major] Bad.

[Major] As bad.

[Major] no text

[Minor] Bearable.

[Not rated] Anything.
""")

    def test_the_command_for_all_repairs_contains_each_action_once(self):
        problems = [Problem(name, name, actions=(action,), default=action)
                    for name, action in (("a", "one"), ("b", "two"), ("c", "one"))]
        self.assertIn("at once:\n    keldoctl --repair one two\n", self.show(report(problems)))

    def test_many_problems_and_long_logs(self):
        services = [f"service{number:03}" for number in range(200)]
        logs = ["".join(f"line {number}\n" for number in range(lines)) for lines in (10, 20000)]
        calls = []
        for log in logs:
            document = report([service_down(service) for service in services],
                              [*map(restart, services), restart("z", status="ok", log=log)])
            text = self.show(document)
            self.assertEqual(text.count("\n[Major] "), 200)
            self.assertIn(log.replace("line", "    line"), text)
            profile = subprocess.run(["xsltproc", "--profile", VIEWS / "report-text.xsl", "-"],
                                     input=document, capture_output=True, check=True).stderr
            calls.append(re.search(rb"\n +Total +(\d+)", profile)[1])
        # No template is called for each line.
        self.assertEqual(calls[0], calls[1])

    def test_the_start_of_a_command_is_a_parameter(self):
        self.assertIn("\n        sudo keldoctl --repair restart-service:web\n",
                      self.show(recorded("one_down"), command="sudo keldoctl"))


class CommandTest(ViewTestCase):
    """The words that a shell makes of a shown command."""

    VIEW = "text"

    def arguments(self, command):
        """The arguments that the command passes to keldoctl."""
        script = f"keldoctl() {{ printf '%s\\0' \"$@\"; }}\n{command}"
        done = subprocess.run(["bash", "-c", script], stdout=subprocess.PIPE, check=True, cwd="/")
        return done.stdout.decode().split("\0")[:-1]

    def command(self, action):
        """The command shown for an action's id."""
        text = self.show(report([Problem("p", "P", actions=(action,))]).replace(b"&amp;#", b"&#"))
        return text.split("\n        ")[1].rstrip("\n")

    def test_each_id_is_quoted_as_one_word(self):
        *_, command, _ = self.show(recorded("odd_ids")).split("\n")
        services = ["#x", "$(touch x)", "*", "`touch x`", "a b", "a;b", "back\\slash", 'q"q', "~",
                    "ä"]
        self.assertEqual(self.arguments(command),
                         ["--repair", *(f"restart-service:{service}" for service in services)])
        for action in ("'", "''", "it's", "'$(touch x)'", "a'b'c", "\\'"):
            with self.subTest(action):
                self.assertEqual(self.arguments(self.command(action)), ["--repair", action])

    def test_quotes_and_replacements(self):
        for action, shown in (("restart-service:web-1.2_x@y", "restart-service:web-1.2_x@y"),
                              # An interactive shell acts on these while it reads.
                              ("a&#9;b&#10;c\x9bd", "'a\ufffdb\ufffdc\ufffdd'")):
            self.assertEqual(self.command(action), f"keldoctl --repair {shown}")


if __name__ == "__main__":
    unittest.main()
