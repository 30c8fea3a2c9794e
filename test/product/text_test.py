# SPDX-License-Identifier: MIT
"""The view for a terminal."""

import html
import re
import subprocess
import unittest
from xml.sax.saxutils import escape, quoteattr

from languages import listed_languages
from views import DIRECTIONS, DIRECTIONS_REPLACED, VIEWS, ViewTestCase, inspected, show

HEAD = "panel.example  2026-11-22 00:20 UTC"
RESTART = "keldoctl-report --repair restart-service"


def service(name, state="down", reason="It fails.", code="x", title=None):
    return (f'<service id={quoteattr(name)} state="{state}"><title>{escape(title or name)}</title>'
            f'<reason code="{code}">{escape(reason)}</reason></service>')


def problem(name, *actions, default=None):
    proposed = "".join(f"<action id={quoteattr(action)}{' default=%r' % 'true' * (action == default)}/>"
                       for action in actions)
    return (f"<problem id={quoteattr('service-down:' + name)}><solutions>{proposed}</solutions>"
            "</problem>")


def repair(log, status="ok"):
    return (f'<action id="a"><message>Repair a.</message><status>{status}</status>'
            f"<log>{escape(log)}</log></action>")


def inspection(*services, report="", dependencies=""):
    """An inspection with a sentence for each state, "N STATE."."""
    counts = {}
    for each in services:
        state = re.search('state="(.*?)"', each)[1]
        counts[state] = counts.get(state, 0) + 1
    sentences = "".join(f'<sentence code="{state}">{count} {state}.</sentence>'
                        for state, count in counts.items())
    return (f'<inspection version="1" host="h" started="2026-11-22T00:20:11Z" xml:lang="en-US">'
            f"<summary>{sentences}</summary><dependencies>{dependencies}</dependencies>"
            f"<services>{''.join(services)}</services><keldoctl>{report}</keldoctl>"
            "</inspection>").encode()


class TextTest(ViewTestCase):
    VIEW = "text"

    def body(self, document, **parameters):
        """The text below the head."""
        head, body = self.show(document, **parameters).split("\n", 1)
        self.assertIn("  2026-11-22 00:20 UTC", head)
        return body.removeprefix("\n")

    def test_recorded_inspections_have_their_texts(self):
        up = ("✔ 6 services are up: Database Server, Control Panel, Mail Transfer (SMTP),\n"
              "  Name Server, Mailbox Access (IMAP), Redis Cache\n")
        for name, text in (("all_well", f"""\
{HEAD}  7 services were checked in 0.4 s.
✔ All 7 services that ought to run are up: Database Server, Control Panel,
  Mail Transfer (SMTP), Web Server, Name Server, Mailbox Access (IMAP),
  Redis Cache
"""), ("one_down", f"""\
{HEAD}  7 services were checked in 0.4 s.

✖ 1 service is down.
  Web Server  The pid file /run/kvr/web.pid names no running process.
              {RESTART}:web

{up}"""), ("two_down_in_german", f"""\
{HEAD}  7 Dienste wurden in 0.4 s geprüft.

✖ 2 Dienste sind ausgefallen.
  Mail Transfer (SMTP)  Zur PID-Datei
                        /var/lib/kvr/smtp/queue/pid/master.pid läuft kein
                        Prozess.
                        {RESTART}:smtp
  Webserver             Zur PID-Datei /run/kvr/web.pid läuft kein Prozess.
                        {RESTART}:web
  Alle vorgeschlagenen Reparaturen auf einmal: keldoctl-report --repair all

✔ 5 Dienste laufen: Datenbankserver, Verwaltungsoberfläche, Nameserver,
  Postfachzugriff (IMAP), Redis-Zwischenspeicher
"""), ("repaired", f"""\
{HEAD}  7 services were checked in 0.4 s.

✔ Succeeded: Restart the Name Server service.
    dns: stopped
    dns: started
✔ Succeeded: Restart the Web Server service.
    web: was not running any more
    web: started

✔ All 7 services that ought to run are up: Database Server, Control Panel,
  Mail Transfer (SMTP), Web Server, Name Server, Mailbox Access (IMAP),
  Redis Cache
"""), ("upgrade", f"""\
{HEAD}

– Upgrade is in progress. Please wait.
  Services are not checked while the panel is being upgraded. 7 services
  were not checked.
"""), ("stopped", f"""\
{HEAD}  5 services were checked in 0.4 s.
✔ All 5 services that ought to run are up: Database Server, Control Panel,
  Mail Transfer (SMTP), Web Server, Name Server
– 2 services were stopped by the administrator: Mailbox Access (IMAP),
  Redis Cache
"""), ("disk_full", f"""\
{HEAD}  1 service was checked in 0.4 s.

? The state of 6 services is not known.
  There is no space left in /usr/local/kvr/tmp.
    Control Panel, Mail Transfer (SMTP), Web Server, Name Server,
    Mailbox Access (IMAP), Redis Cache

✔ 1 service is up: Database Server
"""), ("mixed", f"""\
{HEAD}  5 services were checked in 0.4 s.

✖ 1 service is down.
  Web Server   The pid file /run/kvr/web.pid names no running process.
               {RESTART}:web

? The state of 1 service is not known.
  Name Server  The monitor refuses line 8 of the service definition
               /service/dns.xml.
               keldo-service-lint /service/dns.xml

✔ 4 services are up: Database Server, Control Panel, Mail Transfer (SMTP),
  Redis Cache
– 1 service was stopped by the administrator: Mailbox Access (IMAP)
""")):
            with self.subTest(name):
                self.check(name, text)

    def test_a_failed_repair_comes_first_and_is_named_where_it_is_proposed_again(self):
        text = self.show(inspected("repair_failed"))
        failed, succeeded, proposed = (text.index(part) for part in (
            "\n✖ Failed: Restart the Web Server service.\n    ",
            "\n✔ Succeeded: Restart the Name Server service.\n    ", f"""
  Web Server  The pid file /run/kvr/web.pid names no running process.
              This repair has just failed:
              {RESTART}:web
"""))
        self.assertLess(failed, succeeded)
        self.assertLess(succeeded, proposed)

    def test_long_titles_and_those_of_uncertain_width_stand_on_a_line_of_their_own(self):
        for title in ("x" * 31, "ウェブサーバー", "שרת", "e\u0301", "a\x9bb"):
            with self.subTest(title):
                self.assertEqual(self.body(inspection(service("a"), service("web", title=title),
                                                      report=problem("web", "r"))), f"""\
✖ 2 down.
  a
    It fails.
  {title.replace(chr(0x9b), chr(0xfffd))}
    It fails.
    keldoctl-report --repair r
""")

    def test_short_titles_of_certain_width_stand_beside_the_reasons(self):
        for title in ("x" * 30, "Überprüfung", "Сервер", "Żółw"):
            with self.subTest(title):
                self.assertEqual(self.body(inspection(service("a"), service("w", title=title))), f"""\
✖ 2 down.
  a{" " * (len(title) - 1)}  It fails.
  {title}  It fails.
""")

    def test_a_title_in_a_list_does_not_move_the_reasons(self):
        long = [service(name, "unknown", "It hangs.", title="x" * 40 + name) for name in "bc"]
        self.assertIn("\n  a  It fails.\n", self.body(inspection(service("a"), *long)))

    def test_no_line_is_wider_than_the_terminal_unless_a_word_is(self):
        words = "word " * 50 + "w" * 90 + " word" * 20
        for width in (40, 80, 120):
            for wide, reason in ((1, words), (2, "理由" * 100), (2, "理由 " * 100)):
                with self.subTest(reason, width=width):
                    text = self.body(inspection(service("a", reason=reason)), width=width)
                    first, *lines = text.splitlines()[1:]
                    self.assertTrue(first.startswith("  a  "))
                    lines.append(first[2:])
                    self.assertEqual("".join(re.sub(r"\s", "", line) for line in [first, *lines[:-1]]),
                                     re.sub(r"\s", "", "a" + reason))
                    longest = max(len(line) + (wide - 1) * len(re.sub("[ a]", "", line))
                                  for line in lines if "www" not in line)
                    self.assertLessEqual(longest, width)
                    self.assertGreater(longest, width - 8)

    def test_no_title_in_a_list_is_broken(self):
        titles = [f"Service with the number {number}" for number in range(20)]
        text = self.body(inspection(*(service(f"s{title}", "up", title=title) for title in titles)))
        self.assertEqual([title for title in titles if title not in text], [])

    def test_many_services_that_are_up_are_all_named(self):
        text = self.body(inspection(*(service(f"s{number}", "up") for number in range(3000))))
        self.assertEqual(len(re.findall(r"s\d+", text)), 3000)

    def test_the_head_is_broken_for_a_narrow_terminal(self):
        self.assertEqual(self.show(inspected("all_well"), width=60).split("\u2714")[0], f"""\
{HEAD}
  7 services were checked in 0.4 s.
""")

    def test_if_nothing_is_known_the_headline_has_the_common_reason(self):
        same = [service(name, "unknown", "There is no space.") for name in "ab"]
        missing = [service(name, "unknown", f"There is no {name}.xml.", "definition_missing")
                   for name in "ab"]
        no_definitions = ('<dependency id="definitions" state="missing"><reason>There are none.'
                          "</reason></dependency>")
        other = service("c", "unknown", "It is silent.")
        for name, document, text in (
                ("one reason", inspection(*same), """\
? Nothing is known: There is no space.
  2 unknown.
"""), ("a dependency explains it", inspection(*missing, dependencies=no_definitions), """\
? Nothing is known: There are none.
  2 unknown.
"""), ("a dependency explains one", inspection(missing[0], dependencies=no_definitions), """\
? Nothing is known: There are none.
  1 unknown.
"""), ("several reasons", inspection(*same, other), """\
? Nothing is known: 3 unknown.
  There is no space.
    a, b
  c  It is silent.
""")):
            with self.subTest(name):
                self.assertEqual(self.body(document), text)

    def test_a_dependency_whose_reason_no_service_has_is_shown(self):
        for state, told in (("failed", True), ("missing", True), ("ok", False), ("unasked", False)):
            for reason in ("It is silent.", "It fails."):
                with self.subTest(state, reason=reason):
                    dependency = (f'<dependency id="x" state="{state}"><reason>{reason}</reason>'
                                  "</dependency>")
                    text = self.body(inspection(service("a"), dependencies=dependency))
                    self.assertEqual(text.endswith(f"\n\n? {reason}\n"),
                                     told and reason == "It is silent.")

    def test_a_wrong_definition_comes_with_the_command_that_explains_it(self):
        definitions = '<dependency id="definitions" state="ok" path="/service"/>'
        for code, is_named in (("definition_refused", True), ("definition_ill_formed", True),
                               ("definition_missing", False), ("not_named", False)):
            text = self.body(inspection(service("it's", "unknown", code=code), service("b", "up"),
                                        dependencies=definitions))
            self.assertEqual("\n        keldo-service-lint '/service/it'\\''s.xml'\n" in text,
                             is_named, code)

    def test_the_recommended_repair_comes_first_and_all_repairs_last(self):
        problems = problem("a", "one", "two", default="two") + problem("b", "two", default="two")
        services = service("a"), service("b")
        self.assertEqual(self.body(inspection(*services, report=problems)), """\
✖ 2 down.
  a  It fails.
     keldoctl-report --repair two
     keldoctl-report --repair one
  b  It fails.
     keldoctl-report --repair two
""")
        both = problem("a", "one", default="one") + problem("b", "two", default="two")
        self.assertTrue(self.body(inspection(*services, report=both), command="sudo report").endswith("""\
     sudo report --repair two
  All proposed repairs at once: sudo report --repair all
"""))

    def test_long_logs_show_their_last_lines(self):
        def lines(first, last):
            return "".join(f"line {number}\n" for number in range(first, last + 1))

        for log, shown in (
                (lines(1, 10), lines(1, 10)),
                (lines(1, 11), "(Earlier lines that are not shown: 1)\n" + lines(2, 11)),
                (lines(1, 100000), "(Earlier lines that are not shown: 99990)\n"
                 + lines(99991, 100000)),
                (lines(1, 3) + "\n\nno end", lines(1, 3) + "\n\nno end\n"),
                ("a" * 5000, "a" * 5000 + "\n"),
                (("a" * 2000 + "\n") * 11, "(Earlier lines that are not shown: 1)\n"
                 + ("a" * 2000 + "\n") * 10),
                ("\n" * 5000 + "end", "(Earlier lines that are not shown: 4991)\n"
                 + "\n" * 9 + "end\n")):
            with self.subTest(log[-100:]):
                self.assertEqual(
                    self.body(inspection(report=repair(log))) + "\n",
                    "✔ Succeeded: Repair a.\n" + re.sub("^(?!\\Z)", "    ", shown, flags=re.M) + "\n")

    def test_no_template_is_called_for_each_line_of_a_log(self):
        document = inspection(report=repair("line of the log\n" * 20000))
        profile = subprocess.run(["xsltproc", "--profile", VIEWS / "report-text.xsl", "-"],
                                 input=document, capture_output=True, check=True).stderr
        self.assertLess(int(re.search(rb"\n +Total +(\d+)", profile)[1]), 100)

    def test_control_characters_are_replaced(self):
        text = self.show(inspected("odd_texts"))
        self.assertIn("""
✔ Succeeded: Restart the <b>"A" & 'B'</b> | x second line \ufffd31m service.
    \n\
      <pre> "quoted" &\ta\ufffd
    \ufffd[31mred
""", text)
        self.assertIn("\n  <b>\"A\" &amp; 'B'</b> | x second line \ufffd31m\n", text)

    def test_no_text_changes_the_direction_of_a_line(self):
        text = self.show(inspection(
            service("a", title=DIRECTIONS, reason=DIRECTIONS), service("b", "up", title=DIRECTIONS),
            service("c", "unknown", title=DIRECTIONS, reason=DIRECTIONS + "c"),
            report=problem("a", DIRECTIONS)
            + repair(DIRECTIONS).replace("Repair a.", DIRECTIONS)).replace(
                b'host="h"', f'host="{DIRECTIONS}"'.encode()))
        self.assertEqual(text.count(DIRECTIONS_REPLACED), 9)
        self.assertFalse(set(DIRECTIONS[1:-1]) & set(text))

    def test_signs_and_headlines_have_their_colours(self):
        text = self.body(inspection(
            service("a"), service("b", "unknown", reason="E fails"), service("c", "up"),
            service("d", "stopped"), report=repair("E")), escape="E")
        self.assertEqual(text, """\
E[1;32m✔ Succeeded:E[0m Repair a.
    \ufffd

E[1;31m✖ 1 down.E[0m
  E[1maE[0m  It fails.

E[1;33m? 1 unknown.E[0m
  E[1mbE[0m  \ufffd fails

E[1;32m✔ 1 up:E[0m c
– 1 stopped: d
""")

    def test_a_start_that_is_broken_into_lines_has_no_colour(self):
        document = inspection(service("a", "up")).replace(b"1 up.", b"word " * 10)
        self.assertEqual(self.body(document, escape="E", width=40), """\
E[1;32m✔E[0m word word word word word word word
  word word word : a
""")

    def test_signs_are_ascii_if_asked_for(self):
        text = self.body(inspection(
            service("a"), service("b", "unknown"), service("c", "up"), service("d", "stopped"),
            report=repair("", "error")), ascii="yes")
        self.assertEqual(re.findall(r"^\S+", text, re.M), ["[x]", "[x]", "[?]", "[+]", "[-]"])

    def test_each_language_has_texts_of_its_own(self):
        document = inspection(service("a", "unknown"), report=repair("x\n" * 21, "error"))
        texts = {self.show(document, language=language.code) for language in listed_languages()}
        self.assertEqual(len(texts), len(list(listed_languages())))


class CommandTest(ViewTestCase):
    """The words that a shell makes of a shown command."""

    VIEW = "text"

    def arguments(self, command):
        """The arguments that the command passes to keldoctl-report."""
        script = f"keldoctl-report() {{ printf '%s\\0' \"$@\"; }}\n{command}"
        done = subprocess.run(["bash", "-c", script], stdout=subprocess.PIPE, check=True, cwd="/")
        return done.stdout.decode().split("\0")[:-1]

    def commands(self, text):
        return re.findall(r"^ +(keldoctl-report --repair .*)", text, re.M)

    def test_each_id_is_quoted_as_one_word(self):
        services = ["#x", "$(touch x)", "*", "`touch x`", "a b", "a;b", "back\\slash", 'q"q', "~",
                    "ä"]
        self.assertEqual(
            sorted(self.arguments(command) for command in self.commands(self.show(inspected("odd_ids")))),
            sorted(["--repair", f"restart-service:{service}"] for service in services))
        for action in ("'", "''", "it's", "'$(touch x)'", "a'b'c", "\\'"):
            with self.subTest(action):
                [command] = self.commands(
                    self.show(inspection(service("a"), report=problem("a", action))))
                self.assertEqual(self.arguments(command), ["--repair", action])

    def test_only_unsafe_ids_are_quoted_and_their_controls_replaced(self):
        for action, shown in (("restart-service:web-1.2_x@y", "restart-service:web-1.2_x@y"),
                              # An interactive shell acts on these while it reads.
                              ("a&#9;b&#10;c\x9bd\x7f", "'a\ufffdb\ufffdc\ufffdd\ufffd'"),
                              (DIRECTIONS, f"'{DIRECTIONS_REPLACED}'")):
            document = inspection(service("a"), report=problem("a", action)).replace(b"&amp;#", b"&#")
            command = f"keldoctl-report --repair {shown}"
            self.assertEqual(self.commands(self.show(document)), [command])
            [on_page] = re.findall("<code[^>]*>(<span>.*?)</code>", show("html", document), re.S)
            self.assertEqual(html.unescape(re.sub("<.*?>", "", on_page)), command)


if __name__ == "__main__":
    unittest.main()
