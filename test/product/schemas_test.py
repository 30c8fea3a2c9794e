# SPDX-License-Identifier: MIT
"""The schemas accept valid documents, reject others with the line, and agree in all forms."""

import pathlib
import re
import subprocess
import tempfile
import unittest

from schemas import DEFINITION, FLEET, FORMS, PROJECT, REPORT, SCHEMAS, errors

SERVICES = PROJECT / "host/root/service"
EXAMPLES = SCHEMAS.parent / "examples"

# The tests refer to line numbers.
RIGHT_REPORT = """<keldoctl>
  <problem id="service-down:web">
    <message xml:lang="en-US">The Web Server service is switched off.</message>
    <severity>major</severity>
    <solutions>
      <action id="reload-service:web"/>
      <action id="restart-service:web" default="true"/>
    </solutions>
  </problem>
  <problem id="upgrade">
    <severity>minor</severity>
  </problem>
  <action id="reload-service:web"/>
  <action id="restart-service:web">
    <message xml:lang="de-DE">Den Dienst neu starten.</message>
    <status>ok</status>
    <log/>
  </action>
</keldoctl>
"""

# A text of the right report, its replacement, and the line that a message must name.
WRONG_REPORTS = (
    ("keldoctl>", "report>", 1),
    ("<keldoctl>", '<keldoctl version="1">', 1),
    ("<keldoctl>", '<keldoctl xmlns="http://keldo.example/report">', 1),
    ("<problem id=\"service-down:web\">", "<problem>", 2),
    ("<problem id=\"service-down:web\">", '<problem id="">', 2),
    ("<problem id=\"service-down:web\">", '<problem id="web" state="new">', 2),
    ('<message xml:lang="en-US">', "<message>", 3),
    ('<message xml:lang="en-US">', '<message lang="en-US">', 3),
    ('<message xml:lang="en-US">', '<message xml:lang="en_US">', 3),
    ('<message xml:lang="en-US">', '<message xml:lang="en">', 3),
    ("The Web Server service", "The <b>Web Server</b> service", 3),
    ("<severity>major", "<severity>fatal", 4),
    ("<severity>major", "<severity> major", 4),
    ("<severity>major", "<severity>", 4),
    ("<severity>major</severity>", "<severity>major</severity><severity>major</severity>", 4),
    ('default="true"', 'default="false"', 7),
    ('<action id="reload-service:web"/>\n      ',
     '<action id="reload-service:web" default="true"/>\n      ', {"rng": 6, "xsd": 7}),
    ('<action id="restart-service:web" default="true"/>', "<action/>", 7),
    ('<action id="restart-service:web" default="true"/>', '<action id="a"><log/></action>', 7),
    ('<problem id="upgrade">', '<action id="early"/><problem id="upgrade">', 10),
    ('<severity>minor</severity>', '<severity>minor</severity><message xml:lang="en-US"/>', 11),
    ('<action id="reload-service:web"/>\n  <', '<action id="reload-service:web" default="true"/>\n  <',
     13),
    ("<status>ok", "<status>failed", 16),
    ("<status>ok</status>", "", 17),
    ("<log/>", "", 14),
    ("<log/>", "<log><line/></log>", 17),
    ("<log/>", "<log/>text", 14),
)

RIGHT_DEFINITION = """<service xmlns="http://keldo.example/schemas/keldo/service/1" id="web">
  <title xml:lang="en-US">Web Server</title>
  <title xml:lang="de-DE">Webserver</title>
  <action type="start">start</action>
  <action type="stop">stop</action>
  <checks>
    <pid-file>/run/web server.pid</pid-file>
    <unix-socket protocol="http">/run/web.sock</unix-socket>
    <unix-socket>/run/other.sock</unix-socket>
    <port number="80" protocol="http"/>
    <port number="65535" type="TCPSSL"/>
  </checks>
</service>
"""

CHECKS = RIGHT_DEFINITION[RIGHT_DEFINITION.index("<checks>"):RIGHT_DEFINITION.index("</service>")]

RIGHT_DEFINITIONS = (
    ("", ""),
    (CHECKS, '<checks><port number="1" type="UDP" protocol="dns"/></checks>'),
    (CHECKS, "<checks><pid-file>/run/x</pid-file></checks>"),
    (' id="web"', ' id="mysql"', CHECKS, "<checks/>"),
    ('"start">start', '"stop">start', '"stop">stop', '"start">stop'),
    ('id="web"', 'id="_a.b-c+d1"'),
    ("/run/web.sock", "\n      /run/web.sock\n\t"),
    ("Web Server", "Salt &amp;amp; Pepper"),
)

WRONG_DEFINITIONS = (
    ("service/1", "service/2", 1),
    (' id="web"', "", 1),
    (' id="web"', ' id=""', 1),
    (' id="web"', ' id="w b"', 1),
    (' id="web"', ' id="-web"', 1),
    (' id="web"', ' id="w/b"', 1),
    (' id="web"', ' id="web" version="1"', 1),
    (' xml:lang="en-US"', "", 2),
    (' xml:lang="en-US"', ' xml:lang="english"', 2),
    ("Web Server", "", 2),
    ("Web Server", " ", 2),
    ("Web Server", "Web <b>Server</b>", 2),
    ('title xml:lang="en-US">Web Server</title', "name/", {"rng": 1, "xsd": 2}),
    (' type="start"', "", 4),
    (' type="start"', ' type="Start"', 4),
    (' type="start"', ' type="start" user="root"', 4),
    ('">start<', '"><', 4),
    ('type="stop"', 'type="start"', 5),
    ('<action type="stop">stop</action>', "", 6),
    ("<action type=\"stop\">", "<title xml:lang=\"fr-FR\">late</title><action type=\"stop\">", 5),
    (CHECKS, "", 1),
    (CHECKS, CHECKS + "<checks/>", 13),
    (CHECKS, "<checks><unix-socket>/run/x</unix-socket></checks>", 6),
    ("<pid-file>", "<pid-file>\n", 7),
    ("<pid-file>", "<pid-file> ", 7),
    ("server.pid", "server.pid ", 7),
    ("<pid-file>/", "<pid-file>", 7),
    ("web server.pid", 'web".pid', 7),
    ("web server.pid", "web\\nserver.pid", 7),
    ("web server.pid", "\\", 7),
    ("/run/web server.pid", "/\\", 7),
    ("web server.pid", "web\\", 7),
    ("<pid-file>", "<pid-file>/a</pid-file><pid-file>", 7),
    ("/run/web.sock", "run/web.sock", 8),
    ("/run/web.sock", "/run/web server.sock", 8),
    ("/run/web.sock", "/run/web(1).sock", 8),
    ("/run/web.sock", "/run/web'.sock", 8),
    ("/run/web.sock", "", 8),
    ("/run/web.sock", " ", 8),
    ('<unix-socket protocol="http">', '<unix-socket protocol="h t">', 8),
    # Here libxml2's RELAX NG names the line of its last choice.
    (' number="80"', "", {"rng": 4, "xsd": 10}),
    (' number="80"', ' number="0"', 10),
    (' number="80"', ' number=" 80"', 10),
    (' number="80"', ' number="080"', 10),
    (' number="80"', ' number="http"', 10),
    ("65535", "65536", 11),
    ("TCPSSL", "SSL", 11),
    ("TCPSSL", "tcp", 11),
    ('protocol="http"/>', 'protocol=""/>', 10),
    ('protocol="http"/>', 'protocol="http" host="x"/>', 10),
    ('protocol="http"/>', 'protocol="http">x</port>', 10),
)

RIGHT_FLEET = """<fleet version="1" program="1.1.0" run="0a" play="ask" started="2026-11-22T04:48:37Z" seconds="1.000" xml:lang="en-US" verdict="problems">
  <summary hosts="3" well="0" problems="1" unknown="0" upgrade="0" failed="1" unreachable="0" unasked="1"/>
  <host name="a b" state="problems" file="a=20b" services="2" up="0" down="1" unknown="1" stopped="0" unchecked="0" seconds="0.412" xml:lang="de-DE">
    <service id="web" state="down"><title>Web Server</title><reason code="refused">Refused.</reason><repair>restart-service:web</repair></service>
    <service id="x y" state="unknown"><title/><reason code="limit"/></service>
    <outcome id="restart-service:web" state="failed"/>
  </host>
  <host name="b" state="failed">
    <reason code="no_answer">Nothing.</reason>
    <outcome id="restart-service:web" state="not_carried_out"/>
  </host>
  <host name="c" state="unasked"><reason code="unasked"/></host>
</fleet>
"""

# As above. RELAX NG tells a host that answered from one that did not by its attributes.
WRONG_FLEETS = (
    ('<fleet version="1"', '<fleet version="2"', 1),
    (' run="0a"', "", 1),
    (' xml:lang="en-US"', "", 1),
    ('verdict="problems"', 'verdict="failed"', 1),
    ("04:48:37Z", "04:48:37", 1),
    (' unasked="1"', "", 2),
    ('name="a b"', 'name=""', 3),
    ('file="a=20b"', 'file="../b"', 3),
    ('file="a=20b"', 'file=".b"', 3),
    ('file="a=20b"', 'file="a%20b"', 3),
    ('state="down"', 'state="up"', {"rng": 3, "xsd": 4}),
    ("<repair>restart-service:web</repair>", "<repair/>", {"rng": 3, "xsd": 4}),
    ("<title>Web Server</title>", "", {"rng": 3, "xsd": 4}),
    ('<title>Web Server', '<title>Web <b>Server</b>', {"rng": 3, "xsd": 4}),
    ('state="failed"/>', 'state="error"/>', {"rng": 3, "xsd": 6}),
    ('state="failed">', 'state="broken">', {"rng": 3, "xsd": 8}),
    ('code="no_answer"', 'code="No answer"', {"rng": 3, "xsd": 9}),
)


def replaced(text, *pairs):
    for old, new in zip(pairs[::2], pairs[1::2]):
        assert old in text, old
        text = text.replace(old, new)
    return text.encode()


class SchemaTestCase(unittest.TestCase):
    def assert_right(self, document, schema, name=""):
        for form in FORMS:
            with self.subTest(form=form, name=name):
                self.assertEqual(errors(document, schema, form), "")

    def assert_wrong(self, document, schema, line):
        """`line` is a number, or a dictionary of a number for each form."""
        for form in FORMS:
            with self.subTest(form=form, document=document.decode()):
                lines = re.findall(r"^-:(\d+):", errors(document, schema, form), re.MULTILINE)
                self.assertIn(str(line[form] if isinstance(line, dict) else line), lines)


class ReportSchemaTest(SchemaTestCase):
    def test_accepts_every_element_of_a_report(self):
        self.assert_right(RIGHT_REPORT.encode(), REPORT)

    def test_accepts_an_empty_report(self):
        self.assert_right(b"<keldoctl/>", REPORT)

    def test_accepts_empty_solutions_and_an_empty_message(self):
        self.assert_right(b'<keldoctl><problem id="a"><message xml:lang="en-US"/><solutions/>'
                          b'</problem></keldoctl>', REPORT)

    def test_rejects_an_invalid_document_and_names_the_line(self):
        for old, new, line in WRONG_REPORTS:
            self.assert_wrong(replaced(RIGHT_REPORT, old, new), REPORT, line)


class DefinitionSchemaTest(SchemaTestCase):
    def test_accepts_every_element_of_a_definition(self):
        for pairs in RIGHT_DEFINITIONS:
            self.assert_right(replaced(RIGHT_DEFINITION, *pairs), DEFINITION, pairs)

    def test_rejects_an_invalid_document_and_names_the_line(self):
        for old, new, line in WRONG_DEFINITIONS:
            self.assert_wrong(replaced(RIGHT_DEFINITION, old, new), DEFINITION, line)

    def test_accepts_every_shipped_definition(self):
        for folder, least in ((SERVICES, 7), (EXAMPLES, 3)):
            files = list(folder.glob("*.xml"))
            self.assertGreaterEqual(len(files), least)
            for file in files:
                self.assert_right(file.read_bytes(), DEFINITION, file)


class FleetSchemaTest(SchemaTestCase):
    def test_accepts_every_element_of_a_fleet(self):
        self.assert_right(RIGHT_FLEET.encode(), FLEET)

    def test_rejects_an_invalid_document_and_names_the_line(self):
        for old, new, line in WRONG_FLEETS:
            self.assert_wrong(replaced(RIGHT_FLEET, old, new), FLEET, line)


class GeneratedFormTest(unittest.TestCase):
    """The compact form is what people write. The XML form kept beside it is made from it."""

    def made(self, source):
        """The XML form that trang makes of a schema."""
        with tempfile.TemporaryDirectory() as folder:
            made = pathlib.Path(folder) / "made.rng"
            subprocess.run(["trang", "-I", "rnc", "-O", "rng", PROJECT / "schemas" / source, made],
                           check=True)
            return made.read_text(encoding="utf-8")

    def kept(self, name):
        return (PROJECT / "schemas" / name).read_text(encoding="utf-8")

    def test_the_reports_xml_form_matches_its_compact_form(self):
        self.assertEqual(self.kept("keldoctl-report.rng"), self.made("keldoctl-report.rnc"))

    def test_the_fleets_xml_form_matches_its_compact_form(self):
        self.assertEqual(self.kept("keldoctl-fleet.rng"), self.made("keldoctl-fleet.rnc"))

    def test_the_inspections_xml_form_matches_its_compact_form(self):
        self.assertEqual(self.kept("keldoctl-inspection.rng"),
                         self.made("keldoctl-inspection.rnc"))

    def test_the_definitions_xml_form_matches_its_compact_form(self):
        self.assertEqual(self.kept("keldo-service.rng.in"), self.made("keldo-service.rnc.in"))


if __name__ == "__main__":
    unittest.main()
