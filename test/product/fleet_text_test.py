# SPDX-License-Identifier: MIT
"""The view of a fleet document for a terminal."""

import unittest

from made_fleets import fleet, host, outcome, service, silent
from recorded_fleets import thousand
from views import DIRECTIONS, DIRECTIONS_REPLACED, FLEETS, ViewTestCase
from views import fleet as recorded

REPAIR = "ansible-playbook keldo.keldoctl.repair --limit"


def web(**details):
    return service("web", title="Web Server", repair="restart-service:web", **details)


class FleetTextTest(ViewTestCase):
    VIEW = "fleet-text"

    def body(self, document, **parameters):
        """The text below the head."""
        head, body = self.show(document, **parameters).split("\n\n", 1)
        self.assertNotIn("\n", head)
        return body

    def test_recorded_documents_have_their_texts(self):
        for name, text in (("all_states", f"""\
Hosts: 12  2026-11-22 04:48 UTC  12.345 s

✖ Hosts with problems: 2
  Web Server (Hosts: 2)
    The pid file /run/kvr/web.pid names no running process.
    web1.example  web2.example
  All proposed repairs at once:
    {REPAIR} web1.example,web2.example

? Hosts whose state is not known: 7
  Name Server (Hosts: 1)
    The monitor refuses line 8 of the service definition /service/dns.xml.
    web2.example
  Not known (Hosts: 1)
    There is no space left in /usr/local/kvr/tmp.
    web5.example
  No usable answer (Hosts: 1)
    no complete answer within 120 s
    web8.example
  No usable answer (Hosts: 1)
    the host printed nothing
    web9.example
  No usable answer (Hosts: 1)
    the verdict is 'well', but the exit status is 1
    web10.example
  No usable answer (Hosts: 1)
    there is no gate on the host
    web11.example
  Not asked (Hosts: 1)
    The host was not asked.
    web12.example
  Unreachable (Hosts: 1)
    ssh: connect to host web7.example port 22: Connection refused
    web7.example

– Upgrade in progress: 1
    web6.example
✔ Well: 2
    web3.example  web4.example
"""), ("all_well", """\
Hosts: 3  2026-11-22 04:48 UTC  12.345 s

✔ All hosts are well.
    web1.example  web2.example  web3.example
"""), ("repaired", """\
Hosts: 4  2026-11-22 04:48 UTC  12.345 s

✖ Failed: restart-service:web (Hosts: 2)
    web2.example  web3.example
– Not carried out: restart-service:dns (Hosts: 1)
    web2.example
✔ Succeeded: restart-service:web (Hosts: 1)
    web1.example

✖ Hosts with problems: 1
  Web Server (Hosts: 1)
    The pid file /run/kvr/web.pid names no running process.
    web2.example

? Hosts whose state is not known: 1
  No usable answer (Hosts: 1)
    the time limit on the host was reached
    web3.example

✔ Well: 2
    web1.example  web4.example
"""), ("in_german", f"""\
Server: 3  2026-11-22 04:48 UTC  12.345 s

✖ Server mit Problemen: 2
  Mail Transfer (SMTP) (Server: 2)
    Zur PID-Datei /var/lib/kvr/smtp/queue/pid/master.pid läuft kein
    Prozess.
    web1.example  web2.example
  Webserver (Server: 2)
    Zur PID-Datei /run/kvr/web.pid läuft kein Prozess.
    web1.example  web2.example
  Alle vorgeschlagenen Reparaturen auf einmal:
    {REPAIR} web1.example,web2.example

✔ In Ordnung: 1
    web3.example
"""), ("empty", """\
Hosts: 0  2026-11-22 04:48 UTC  12.345 s

? Nothing is known
""")):
            with self.subTest(name):
                self.assertEqual(self.show(recorded(name)), text)

    def test_a_host_with_problems_can_have_services_that_are_not_known(self):
        self.assertEqual(self.body(fleet(host("a", "problems", web(), service("dns", "unknown")))), f"""\
✖ Hosts with problems: 1
  Web Server (Hosts: 1)
    It fails.
    a
  All proposed repairs at once:
    {REPAIR} a

? Not known
  dns (Hosts: 1)
    It fails.
    a
""")

    def test_different_texts_of_one_reason_are_shown_by_an_example(self):
        texts = [silent(name, "unreachable", "unreachable", f"{name} is down") for name in "ab"]
        self.assertIn("  Unreachable (Hosts: 2)\n    For example: a is down\n    a  b\n",
                      self.body(fleet(*texts)))
        self.assertIn("    サーバーに到達できません。 例: a is down\n",
                      self.body(fleet(*texts), language="ja-JP"))

    def test_hosts_without_a_reason_refer_to_their_reports(self):
        text = self.body(fleet(host("a", "problems"), host("b", "unknown"), host("c", "new")))
        self.assertIn("  Problems (Hosts: 1)\n    The host’s report says why.\n    a\n", text)
        self.assertIn("  Not known (Hosts: 2)\n    The host’s report says why.\n    b  c\n", text)

    def test_names_stand_in_columns_that_fit_the_width(self):
        hosts = fleet(*(host("x" * length, "well") for length in (10, 1, 9, 2, 8)))
        for width, lines in (
                (40, ["xxxxxxxxxx  x           xxxxxxxxx", "xx          xxxxxxxx"]),
                (39, ["xxxxxxxxxx  x           xxxxxxxxx", "xx          xxxxxxxx"]),
                (37, ["xxxxxxxxxx  x", "xxxxxxxxx   xx", "xxxxxxxx"]),
                (20, ["x" * length for length in (10, 1, 9, 2, 8)])):
            with self.subTest(width):
                text = self.body(hosts.replace(b'"problems"', b'"well"', 1), width=width)
                self.assertEqual(text.splitlines()[-len(lines):], [f"    {line}" for line in lines])

    def test_many_well_hosts_are_only_counted(self):
        for number, named in ((20, 20), (21, 0)):
            text = self.body(fleet(silent("a"), *(host(f"web{n}") for n in range(number))))
            self.assertEqual((text.count("web"), f"✔ Well: {number}\n" in text), (named, True))

    def test_a_document_that_contradicts_itself_does_not_say_that_all_is_well(self):
        for hosts in ([host("a"), silent("b")], [host("a", "well", outcome("x", "failed"))],
                      [host("a", "new")], []):
            self.assertNotIn("All hosts are well", self.show(fleet(*hosts, verdict="well")))

    def test_signs_are_ascii_if_asked_for(self):
        text = self.show(recorded("repaired"), ascii="yes")
        self.assertTrue(text.isascii())
        self.assertEqual([line[:3] for line in text.splitlines() if line.startswith("[")],
                         ["[x]", "[-]", "[+]", "[x]", "[?]", "[+]"])

    def test_headlines_and_outcomes_have_their_colours(self):
        text = self.show(recorded("repaired"), escape="\ue000")
        self.assertIn("\ue000[1;31m✖ Failed:\ue000[0m restart-service:web", text)
        self.assertIn("\ue000[1;32m✔ Succeeded:\ue000[0m", text)
        self.assertIn("\ue000[1;33m? Hosts whose state is not known: 1\ue000[0m", text)
        self.assertIn("  \ue000[1mWeb Server\ue000[0m (Hosts: 1)", text)

    def test_texts_cannot_control_the_terminal(self):
        odd = f"{DIRECTIONS}\x85\x9b\n\ue000"
        text = self.show(fleet(
            host(odd, "problems", service(odd, title=odd, reason=odd, repair=odd),
                 outcome(odd, "failed")), silent(odd, words=odd)), escape="\ue000")
        self.assertEqual(set(text) & set(odd), {"a", "b", "\n", "\ue000"})
        self.assertNotIn("\ue000", text.replace("\ue000[", ""))
        self.assertIn(f"{DIRECTIONS_REPLACED}\ufffd\ufffd \ufffd", text)

    def test_the_command_is_one_line_with_plain_names_only(self):
        names = ["a", "@b", "c*", "d-1.example"]
        text = self.show(fleet(*(host(name, "problems", web()) for name in names)),
                         command="ansible-playbook -i hosts.ini keldo.keldoctl.repair")
        self.assertIn("    ansible-playbook -i hosts.ini keldo.keldoctl.repair --limit a,d-1.example\n"
                      "  Hosts whose names the command cannot contain:\n    @b  c*\n", text)

    def test_lines_fit_the_width_unless_a_word_or_the_command_does_not(self):
        for path in FLEETS.iterdir():
            for line in self.show(path.read_bytes(), width=60).splitlines():
                if "--limit" not in line and " " in line.strip():
                    self.assertLessEqual(len(line), 60, path.stem)

    def test_a_thousand_hosts_make_a_short_text(self):
        text = self.show(thousand())
        self.assertIn("\n✖ Hosts with problems: 50\n  Web Server (Hosts: 50)\n", text)
        self.assertIn("\n✔ Well: 871\n", text)
        self.assertLess(text.count("\n"), 120)


if __name__ == "__main__":
    unittest.main()
