# SPDX-License-Identifier: MIT
"""The view for a terminal."""

import subprocess
import unittest

from panel import Action, Problem, report, restart, service_down
from views import ViewTestCase, recorded


class TextTest(ViewTestCase):
    VIEW = "text"

    def test_all_well(self):
        self.check("all_well", "No problems found\n")

    def test_one_problem(self):
        self.check("one_down", """\
Problems: 1

[Major] The web title service is switched off.
    Restart the web title service.
        keldoctl --repair restart-service:web
""")

    def test_several_problems_in_the_words_of_their_language(self):
        self.check("two_down_in_german", """\
Probleme: 2

[Schwerwiegend] Der Dienst „Mailbox Access (IMAP)“ ist ausgeschaltet.
    Den Dienst „Mailbox Access (IMAP)“ neu starten.
        keldoctl --repair restart-service:mail

[Schwerwiegend] Der Dienst „Webserver“ ist ausgeschaltet.
    Den Dienst „Webserver“ neu starten.
        keldoctl --repair restart-service:web

Alle vorgeschlagenen Reparaturen auf einmal:
    keldoctl --repair restart-service:mail restart-service:web
""")

    def test_an_upgrade_says_what_is_not_known(self):
        self.check("upgrade", """\
Problems: 1

[Minor] Upgrade is in progress. Please wait.

Services are not checked while an upgrade is in progress.
""")

    def test_repairs_with_and_without_output(self):
        self.check("repaired", """\
Repairs carried out: 2

[Succeeded] Restart the Name Server service.

[Succeeded] Restart the Web Server service.
    web: was not running any more
    web: started

No problems found
""")

    def test_a_repair_that_failed_comes_before_its_problem(self):
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

[Major] service-down:dns
    restart-service:dns
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

    def test_the_worst_comes_first_and_the_recommended_action(self):
        problems = [Problem("a", "Bearable.", "minor"), Problem("b", "Bad.", "major"),
                    Problem("c", "Terrible.", "critical", ("first", "second"), "second"),
                    Problem("d", "As bad.", "major"), Problem("e", "Anything.", None)]
        self.assertEqual(self.show(report(problems, [Action("first", "Try this."),
                                                     Action("second", "Or this.")])), """\
Problems: 5

[Critical] Terrible.
    Or this. (recommended)
        keldoctl --repair second
    Try this.
        keldoctl --repair first

[Major] Bad.

[Major] As bad.

[Minor] Bearable.

[Not rated] Anything.
""")

    def test_an_action_that_several_problems_share_is_proposed_once_for_all(self):
        problems = [Problem(name, name, actions=(action,), default=action)
                    for name, action in (("a", "one"), ("b", "two"), ("c", "one"))]
        self.assertIn("at once:\n    keldoctl --repair one two\n", self.show(report(problems)))

    def test_two_hundred_problems_and_an_endless_log(self):
        services = [f"service{number:03}" for number in range(200)]
        log = "".join(f"line {number}\n" for number in range(20000))
        text = self.show(report([service_down(service) for service in services],
                                [*map(restart, services), restart("z", status="ok", log=log)]))
        self.assertEqual(text.count("\n[Major] "), 200)
        self.assertIn(log.replace("line", "    line"), text)

    def test_the_command_may_be_another(self):
        self.assertIn("\n        sudo keldoctl --repair restart-service:web\n",
                      self.show(recorded("one_down"), command="sudo keldoctl"))


class CommandTest(ViewTestCase):
    """What a shell makes of a command that is shown."""

    VIEW = "text"

    def arguments(self, command):
        """The arguments that keldoctl gets."""
        script = f"keldoctl() {{ printf '%s\\0' \"$@\"; }}\n{command}"
        done = subprocess.run(["bash", "-c", script], stdout=subprocess.PIPE, check=True, cwd="/")
        return done.stdout.decode().split("\0")[:-1]

    def test_each_id_stays_one_word_that_means_nothing_to_the_shell(self):
        *_, command, _ = self.show(recorded("odd_ids")).split("\n")
        services = ["#x", "$(touch x)", "*", "`touch x`", "a b", "a;b", "back\\slash", 'q"q', "~",
                    "ä"]
        self.assertEqual(self.arguments(command),
                         ["--repair", *(f"restart-service:{service}" for service in services)])

    def test_apostrophes(self):
        for action in ("'", "''", "it's", "'$(touch x)'", "a'b'c", "\\'"):
            with self.subTest(action):
                text = self.show(report([Problem("p", "P", actions=(action,))]))
                command = text.split("\n        ")[1]
                self.assertEqual(self.arguments(command), ["--repair", action])

    def test_an_id_that_needs_no_quotes_has_none(self):
        self.assertIn(" --repair restart-service:web-1.2_x@y\n", self.show(
            report([Problem("p", "P", actions=("restart-service:web-1.2_x@y",))])))

    def test_what_a_shell_acts_on_while_it_reads_is_replaced(self):
        self.assertIn("\n        keldoctl --repair 'a\ufffdb\ufffdc\ufffdd'\n", self.show(
            report([Problem("p", "P", actions=("a&#9;b&#10;c\x9bd",))]).replace(b"&amp;", b"&")))


if __name__ == "__main__":
    unittest.main()
