# SPDX-License-Identifier: MIT
"""A fleet document as JSON."""

import json
import unittest
import xml.etree.ElementTree

from made_fleets import fleet, host, outcome, service, silent
from recorded_fleets import thousand
from views import FLEETS, show

LANGUAGE = "{http://www.w3.org/XML/1998/namespace}lang"
COUNTS = ("services", "up", "down", "unknown", "stopped", "unchecked")


def attributes_of(element):
    """The attributes by their names in JSON, with numbers for counts and durations."""
    names = {LANGUAGE: "lang"}
    return {names.get(name, name): float(value) if name in (*COUNTS, "seconds", "version")
            else value for name, value in element.attrib.items()}


def reason_of(element):
    reason = element.find("reason")
    return {} if reason is None else {"reason": {"code": reason.get("code"),
                                                 "text": reason.text or ""}}


def service_of(element):
    texts = {name: element.findtext(name) for name in ("title", "repair")
             if element.find(name) is not None}
    return attributes_of(element) | texts | reason_of(element)


def host_of(element):
    data = attributes_of(element)
    counts = {name: data.pop(name) for name in COUNTS if name in data}
    return (data | ({"summary": counts} if counts else {}) | reason_of(element)
            | {"services": [service_of(each) for each in element.iter("service")],
               "outcomes": [attributes_of(each) for each in element.iter("outcome")]})


class FleetJsonTest(unittest.TestCase):
    maxDiff = None

    def check(self, document):
        """Compares the JSON of a document with its XML."""
        root = xml.etree.ElementTree.fromstring(document)
        summary = {name: int(value) for name, value in root.find("summary").attrib.items()}
        self.assertEqual(json.loads(show("fleet-json", document)),
                         attributes_of(root) | {"summary": summary,
                                                "hosts": [host_of(each) for each in root.iter("host")]})

    def test_it_has_the_data_of_the_document(self):
        for path in FLEETS.iterdir():
            with self.subTest(path.stem):
                self.check(path.read_bytes())
        self.check(thousand())

    def test_every_text_is_escaped(self):
        for text in ('"', "\\", '\\"', "a\tb\nc\rd", "a\rb", "\\n", "\x7f\x85\u2028\u202e", "<&>'", "ä😀",
                     '","x":"', "\\" * 1000):
            with self.subTest(text):
                # A literal line feed in an attribute would be a space.
                name = text.translate({9: 32, 10: 32, 13: 32})
                self.check(fleet(
                    host(name, "problems", service(name, title=text, reason=text, repair=text),
                         outcome(name, "failed")), silent(name, words=text)))

    def test_each_host_takes_one_line(self):
        lines = show("fleet-json", thousand()).splitlines()
        self.assertEqual(json.loads(lines[3].rstrip(","))["name"], "web0000.fleet.example")
        self.assertEqual(len(lines), 3 + 1000 + 1)


if __name__ == "__main__":
    unittest.main()
