# SPDX-License-Identifier: MIT
"""Inspections are read as data, and an answer that disagrees with anything is refused."""

from __future__ import annotations

import unittest

from ansible_collections.keldo.keldoctl.plugins.plugin_utils import inspection

HEAD = '<?xml version="1.0" encoding="UTF-8"?>\n'
REASON = '<reason code="c" xml:lang="en-US">Why.</reason>'
LOG_IS_READ = '<dependency id="action_log" state="ok"/>'


def service(name, state, title="Title"):
    return (f'<service id="{name}" origin="core" state="{state}" seconds="0.011">'
            f'<title xml:lang="en-US">{title}</title>{REASON}<tests/></service>')


def problem(name, solutions=""):
    return (f'<problem id="service-down:{name}"><message xml:lang="en-US">Down.</message>'
            f"<severity>major</severity><solutions>{solutions}</solutions></problem>")


def document(states, verdict, dependencies=LOG_IS_READ, report=None):
    """The bytes of an inspection of services s0, s1 ... in these states."""
    counts = " ".join(f'{state}="{states.count(state)}"' for state in inspection.STATES)
    services = "".join(service(f"s{number}", state) for number, state in enumerate(states))
    if report is None:
        report = "".join(problem(f"s{number}") for number, state in enumerate(states)
                         if state == "down")
    return (f'{HEAD}<inspection version="1" program="1.1.0" host="h" started="2026-11-22T00:20:11Z"'
            f' seconds="0.412" xml:lang="en-US" verdict="{verdict}">'
            f'<summary services="{len(states)}" {counts}/>'
            f"<dependencies>{dependencies}</dependencies><services>{services}</services>"
            f"<keldoctl>{report}</keldoctl></inspection>\n").encode()


WELL = document(["up"], "well")
DOWN = document(["up", "down"], "problems")
# A repair that was carried out, with a place for its status.
ACTION = ('<action id="repair:x"><message xml:lang="en-US">Repair.</message>'
          "<status>{}</status><log>Line.\n</log></action>")
REPAIRED = document(["up"], "well", report=ACTION.format("ok"))
NOT_REPAIRED = document(["up"], "well", report=ACTION.format("error"))

EVERYTHING = f"""{HEAD}<inspection version="1" program="1.1.0" host="panel.example" started="2026-11-22T04:48:37Z" seconds="0.226" xml:lang="de-DE" verdict="problems" later="x">
  <summary services="2" up="1" down="1" unknown="0" stopped="0" unchecked="0">
    <sentence code="down" xml:lang="de-DE">Ein Dienst.</sentence>
  </summary>
  <later><inspection/></later>
  <dependencies>
    <dependency id="action_log" state="ok"/>
    <dependency id="monitor" state="failed" path="/m"><reason code="monitor_silent" xml:lang="en-US">Silent.</reason><detail>a
b</detail></dependency>
  </dependencies>
  <services>
    <service id="mysql" origin="core" state="up" seconds="0.017">
      <title xml:lang="en-US">Database Server</title>
      <reason code="passed" xml:lang="en-US">Passed.</reason>
      <tests><connection state="ok"/><later/></tests>
    </service>
    <service id="web" origin="started" state="down" seconds="0.000">
      <title xml:lang="en-US"/>
      <reason code="refused" xml:lang="de-DE">Ärger.</reason>
      <detail>words</detail>
      <tests>
        <pid_file path="/p" state="ok"/>
        <port number="80" type="TCP" protocol="http" state="failed"/>
      </tests>
    </service>
  </services>
  <keldoctl>
    <problem id="service-down:web">
      <message xml:lang="en-US">Off.</message>
      <severity>major</severity>
      <solutions><action id="reload:web"/><action id="restart:web" default="true"/></solutions>
    </problem>
    <problem id="other"><message xml:lang="en-US">Other.</message></problem>
    <action id="restart:web"><message xml:lang="en-US">Restart.</message></action>
  </keldoctl>
</inspection>
""".encode()

DATA = {
    "version": 1, "program": "1.1.0", "host": "panel.example", "started": "2026-11-22T04:48:37Z",
    "seconds": 0.226, "lang": "de-DE", "verdict": "problems",
    "summary": {"services": 2, "up": 1, "down": 1, "unknown": 0, "stopped": 0, "unchecked": 0,
                "sentences": [{"code": "down", "text": "Ein Dienst.", "lang": "de-DE"}]},
    "dependencies": [
        {"id": "action_log", "state": "ok"},
        {"id": "monitor", "state": "failed", "path": "/m",
         "reason": {"code": "monitor_silent", "text": "Silent.", "lang": "en-US"},
         "detail": "a\nb"}],
    "services": [
        {"id": "mysql", "origin": "core", "state": "up", "seconds": 0.017,
         "title": {"text": "Database Server", "lang": "en-US"},
         "reason": {"code": "passed", "text": "Passed.", "lang": "en-US"},
         "tests": [{"kind": "connection", "state": "ok"}]},
        {"id": "web", "origin": "started", "state": "down", "seconds": 0.0,
         "title": {"text": "", "lang": "en-US"},
         "reason": {"code": "refused", "text": "Ärger.", "lang": "de-DE"}, "detail": "words",
         "tests": [{"kind": "pid_file", "path": "/p", "state": "ok"},
                   {"kind": "port", "number": 80, "type": "TCP", "protocol": "http",
                    "state": "failed"}]}],
    "problems": [
        {"id": "service-down:web", "message": {"text": "Off.", "lang": "en-US"}, "severity": "major",
         "solutions": [{"id": "reload:web"}, {"id": "restart:web", "default": True}]},
        {"id": "other", "message": {"text": "Other.", "lang": "en-US"}}],
    "actions": [{"id": "restart:web", "message": {"text": "Restart.", "lang": "en-US"}}],
}

PROBLEMS = [
    {"id": "service-down:web", "service": "web", "title": "", "severity": "major",
     "reason": {"code": "refused", "text": "Ärger.", "lang": "de-DE"},
     "repairs": ["reload:web", "restart:web"], "default": "restart:web"},
    {"id": "other", "service": "", "title": "Other.", "severity": "",
     "reason": {"code": "other", "text": "Other.", "lang": "en-US"}, "repairs": [], "default": ""},
]

# A text of WELL, its replacement, and the code of the refusal.
WRONG = (
    (b"</inspection>", b"", "not_an_inspection"),
    (b"<inspection ", b"<!DOCTYPE inspection><inspection ", "doctype"),
    (b"<inspection ", b"<!DOCTYPE a [<!ENTITY e 'x'>]><inspection ", "doctype"),
    (b"Title", b"&entity;", "not_an_inspection"),
    (b"Title", b"\xff", "not_an_inspection"),
    (b"Title", b"\x1b[31m", "not_an_inspection"),
    (b"<inspection ", b"<?xml-stylesheet href='x'?><inspection ", "not_an_inspection"),
    (b'encoding="UTF-8"', b'encoding="UTF-7"', "not_an_inspection"),
    (b'encoding="UTF-8"', b'encoding="ISO-8859-1"', "not_an_inspection"),
    (b"<inspection ", b"<inspection xmlns='x' ", "not_an_inspection"),
    (b'version="1" ', b'version="2" ', "not_an_inspection"),
    (b'verdict="well"', b'verdict="fine"', "not_an_inspection"),
    (b'verdict="well"', b"", "not_an_inspection"),
    (b'started="2', b'started="x', "not_an_inspection"),
    (b'seconds="0.412"', b'seconds="-1"', "not_an_inspection"),
    (b'xml:lang="en-US" verdict', b'xml:lang="english" verdict', "not_an_inspection"),
    (b'up="1"', b'up="one"', "not_an_inspection"),
    ('up="1"'.encode(), 'up="١"'.encode(), "not_an_inspection"),
    (b'state="up"', b'state="fine"', "not_an_inspection"),
    (b'origin="core"', b'origin="x"', "not_an_inspection"),
    (b'id="s0"', b'id=""', "not_an_inspection"),
    (b'code="c"', b'code="<b>"'.replace(b"<b>", b"&lt;b>"), "not_an_inspection"),
    (b"<tests/>", b"", "not_an_inspection"),
    (b"<services>", b"<services/><services>", "not_an_inspection"),
    (b"<keldoctl></keldoctl>", b"", "not_an_inspection"),
    (b"<keldoctl></keldoctl>", b'<keldoctl><action id="a"><status>?</status></action></keldoctl>',
     "not_an_inspection"),
    (service("s0", "up").encode(), service("s0", "up").encode() * 2, "not_an_inspection"),
    (b"<tests/>", b"<tests>" + b"<a>" * 20 + b"</a>" * 20 + b"</tests>", "too_large"),
    (b"<tests/>", b"<tests>" + b"<a/>" * 20000 + b"</tests>", "too_large"),
    (b"Title", b"x" * inspection.MOST_BYTES, "too_large"),
    (b'services="1"', b'services="2"', "contradiction"),
    (b'up="1"', b'up="0"', "contradiction"),
    (b'state="up"', b'state="down"', "contradiction"),
    (b"<keldoctl>", b"<keldoctl>" + problem("s0").encode(), "contradiction"),
    (b"<keldoctl>", b'<keldoctl><problem id="other"/>', "contradiction"),
)

# The states of services, the dependencies, and the verdicts that they allow.
LOG_IS_NOT_READ = '<dependency id="action_log" state="failed"/>'
POSSIBLE = (
    (["up", "up"], LOG_IS_READ, {"well"}),
    (["up", "stopped"], LOG_IS_READ, {"well"}),
    (["up", "down", "unknown"], LOG_IS_READ, {"problems"}),
    (["up", "unknown"], LOG_IS_READ, {"unknown"}),
    (["up"], LOG_IS_NOT_READ, {"unknown"}),
    (["up"], "", {"unknown"}),
    ([], LOG_IS_READ, {"unknown"}),
    (["unchecked", "stopped"], LOG_IS_READ, {"upgrade"}),
    (["unchecked", "up"], LOG_IS_READ, set()),
    (["stopped"], LOG_IS_READ, {"well", "upgrade"}),
)

# The exit status, what was printed, the ids of the repairs that were asked for, and the code of the
# refusal.
WRONG_ANSWERS = (
    (0, b"", (), "no_answer"),
    (1, WELL, (), "contradiction"),
    (0, DOWN, (), "contradiction"),
    (2, DOWN, (), "contradiction"),
    (4, WELL, (), "contradiction"),
    (3, WELL, (), "no_document"),
    (64, WELL, (), "refused"),
    (75, WELL, (), "busy"),
    (77, WELL, (), "refused"),
    (124, WELL, (), "limit_on_target"),
    (126, WELL, (), "no_gate"),
    (127, WELL, (), "no_gate"),
    (5, WELL, (), "exit_status"),
    (-9, WELL, (), "exit_status"),
    (0, REPAIRED, (), "contradiction"),
    (0, REPAIRED, ("repair:y",), "contradiction"),
    (1, REPAIRED, ("repair:x",), "contradiction"),
    (0, NOT_REPAIRED, ("repair:x",), "contradiction"),
    (0, WELL, ("repair:x",), "contradiction"),
)

RIGHT_ANSWERS = (
    (0, WELL, ()),
    (1, DOWN, ()),
    (2, document(["unknown"], "unknown"), ()),
    (4, document(["unchecked"], "upgrade"), ()),
    (0, REPAIRED, ("repair:x",)),
    (1, NOT_REPAIRED, ("repair:x",)),
    (1, WELL, ("repair:x",)),
    (1, REPAIRED, ("repair:x", "repair:y")),
)


class InspectionTest(unittest.TestCase):
    def assert_refused(self, code, read, *arguments):
        try:
            read(*arguments)
        except inspection.Refusal as refusal:
            self.assertEqual(refusal.code, code, refusal)
        else:
            self.fail("not refused")

    def test_every_element_is_read_and_later_additions_are_ignored(self):
        self.assertEqual(inspection.parse(EVERYTHING), DATA)

    def test_problems_have_what_a_playbook_needs(self):
        self.assertEqual(inspection.problems_of(DATA), PROBLEMS)

    def test_a_wrong_document_is_refused(self):
        inspection.parse(WELL)
        for old, new, code in WRONG:
            with self.subTest(old=old, new=new[:50]):
                self.assertIn(old, WELL)
                self.assert_refused(code, inspection.parse, WELL.replace(old, new, 1))

    def test_a_verdict_that_the_states_do_not_allow_is_refused(self):
        for states, dependencies, possible in POSSIBLE:
            for verdict in inspection.VERDICTS.values():
                with self.subTest(states=states, dependencies=dependencies, verdict=verdict):
                    text = document(states, verdict, dependencies)
                    if verdict in possible:
                        self.assertEqual(inspection.parse(text)["verdict"], verdict)
                    else:
                        self.assert_refused("contradiction", inspection.parse, text)

    def test_an_answer_that_disagrees_with_its_exit_status_is_refused(self):
        for status, stdout, ids, code in WRONG_ANSWERS:
            with self.subTest(status=status, stdout=stdout, ids=ids):
                self.assert_refused(code, inspection.read_answer, status, stdout, b"", ids)

    def test_an_answer_that_agrees_with_its_exit_status_is_read(self):
        for status, stdout, ids in RIGHT_ANSWERS:
            with self.subTest(status=status, stdout=stdout, ids=ids):
                inspection.read_answer(status, stdout, b"", ids)

    def test_a_refusal_ends_with_the_last_error_message_that_may_be_a_reason(self):
        messages = b"banner\nreason \x1b[31m\xff\nWarning: Permanently added 'h'.\ndebug1: x\n\n"
        with self.assertRaisesRegex(inspection.Refusal, "nothing: reason \ufffd\\[31m\ufffd$"):
            inspection.read_answer(0, b"", messages)

    def test_control_characters_are_replaced(self):
        text = inspection.parse(WELL.replace(b"Title", "a\x9b\u061c\u202e\u2028\n\tb".encode()))
        self.assertEqual(text["services"][0]["title"]["text"], "a\ufffd\ufffd\ufffd\ufffd\n\tb")

    def test_a_line_has_no_control_characters_and_at_most_1_kib(self):
        for text, line in (("a\r\n\tb", "a b"), ("\x1b[0m", "\ufffd[0m"), ("\udcff", "\ufffd"),
                           ("ä" * 1000, "ä" * 512), ("x" + "ä" * 1000, "x" + "ä" * 511)):
            with self.subTest(line[:9]):
                self.assertEqual(inspection.one_line(text), line)

    def test_an_id_of_a_repair_is_a_plain_word(self):
        for text in ("restart-service:web", "a", "a" * 200, "A.b_c:d/e@f+g-1"):
            with self.subTest(text):
                self.assertTrue(inspection.REPAIR_ID.fullmatch(text))
        for text in ("", "-a", "a" * 201, "a b", "a\n", "a;b", "$a", "ä", "*"):
            with self.subTest(text):
                self.assertFalse(inspection.REPAIR_ID.fullmatch(text))


if __name__ == "__main__":
    unittest.main()
