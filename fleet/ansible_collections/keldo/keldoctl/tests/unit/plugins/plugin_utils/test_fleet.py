# SPDX-License-Identifier: MIT
"""The fleet document has each host once, and only what this run found out."""

from __future__ import annotations

import os
import pathlib
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from unittest import mock

from ansible_collections.keldo.keldoctl.plugins.plugin_utils import fleet

LANG = "{http://www.w3.org/XML/1998/namespace}lang"
WEB = "restart-service:web"


def answer(state="well", lang="en-US", down=0, document="<inspection />", repairs=()):
    """A result of a module, with this number of services down."""
    services = [{"id": f"s{number}", "state": "down", "title": {"text": "T" * 2000},
                 "reason": {"code": "refused", "text": "a\nb"}} for number in range(down)]
    counts = {"services": down, "up": 0, "down": down, "unknown": 0, "stopped": 0, "unchecked": 0}
    return {"state": state, "document": document, "problems": [{"service": "s0", "default": "r"}],
            "inspection": {"seconds": 0.4, "lang": lang, "summary": counts, "services": services},
            "repairs": [{"id": each, "state": outcome} for each, outcome in repairs]}


class FleetTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.directory = pathlib.Path(folder.name, "made/fleet")
        self.hosts = self.directory / "hosts"
        self.fleet = fleet.Fleet(self.directory, "1.1.0", "ask")

    def root(self, *names):
        return ElementTree.fromstring(self.fleet.document(names).encode())

    def states(self, *names):
        return [host.get("state") for host in self.root(*names).findall("host")]

    def test_each_host_has_the_state_that_was_found_last(self):
        self.fleet.add_answer("a", answer("problems"))
        self.fleet.add_answer("a", answer("well"))
        self.fleet.add_answer("b", answer("well"))
        self.fleet.add_failure("b", "unreachable", "unreachable", "")
        self.fleet.add_failure("c", "failed", "no_answer", "")
        self.fleet.add_answer("c", answer("upgrade"))
        self.assertEqual(self.states("d", "c", "b", "a"),
                         ["unasked", "upgrade", "unreachable", "well"])
        summary = self.root("d", "c", "b", "a").find("summary").attrib
        self.assertEqual({name: count for name, count in summary.items() if count != "0"},
                         {"hosts": "4", "well": "1", "upgrade": "1", "unreachable": "1", "unasked": "1"})

    def test_the_worst_state_decides_the_verdict(self):
        for number, (states, verdict) in enumerate((
                ([], "unknown"), (["well", "well"], "well"), (["upgrade"], "upgrade"),
                (["well", "upgrade"], "upgrade"), (["upgrade", "unknown"], "unknown"),
                (["well", "failed"], "unknown"), (["well", "unreachable"], "unknown"),
                (["well", "unasked"], "unknown"), (["unasked", "problems"], "problems"))):
            with self.subTest(states):
                names = [f"{number}.{place}" for place in range(len(states))]
                for name, state in zip(names, states):
                    if state in ("failed", "unreachable"):
                        self.fleet.add_failure(name, state, "code", "")
                    elif state != "unasked":
                        self.fleet.add_answer(name, answer(state))
                self.assertEqual(self.root(*names).get("verdict"), verdict)

    def test_the_outcome_of_a_repair_stays(self):
        self.fleet.add_answer("a", answer("problems", repairs=[(WEB, "ok"), ("x", "failed")]))
        self.fleet.add_answer("a", answer("well"))
        self.fleet.add_failure("a", "failed", "timed_out", "")
        self.fleet.add_outcomes("a", answer(repairs=[(WEB, "failed")]))
        self.assertEqual([(each.get("id"), each.get("state")) for each in self.root("a").iter("outcome")],
                         [(WEB, "failed"), ("x", "failed")])

    def test_the_language_is_that_of_most_answers(self):
        self.assertEqual(self.root("a").get(LANG), "en-US")
        for name, lang in (("a", "en-US"), ("b", "de-DE"), ("c", "de-DE")):
            self.fleet.add_answer(name, answer(lang=lang))
        self.assertEqual(self.root("a", "b", "c").get(LANG), "de-DE")

    def test_a_host_takes_limited_space(self):
        self.fleet.add_answer("a", answer("problems", down=1000))
        [host] = self.root("a").findall("host")
        self.assertEqual((host.get("down"), len(host.findall("service"))), ("1000", 100))
        self.assertEqual(len(host.find("service/title").text), 1024)
        self.assertEqual(host.find("service/reason").text, "a b")
        self.assertEqual([each.text for each in host.iter("repair")], ["r"])

    def test_inspections_are_written_at_once_and_only_for_their_owner(self):
        self.addCleanup(os.umask, os.umask(0))
        self.fleet.add_answer("web1.example", answer(document="<inspection>ä\r</inspection>"))
        file = self.hosts / "web1.example.xml"
        self.assertEqual(file.read_bytes(), "<inspection>ä\r</inspection>".encode())
        self.fleet.write(["web1.example"])
        modes = {path.name: path.stat().st_mode & 0o777
                 for path in (self.directory, self.hosts, file, self.directory / "fleet.xml")}
        self.assertEqual(modes, {"fleet": 0o700, "hosts": 0o700, "web1.example.xml": 0o600,
                                 "fleet.xml": 0o600})
        self.assertEqual(sorted(path.name for path in self.directory.rglob("*")),
                         ["fleet.xml", "hosts", "web1.example.xml"])

    def test_a_host_that_fails_later_loses_its_inspection(self):
        self.fleet.add_answer("a", answer())
        self.fleet.add_failure("a", "failed", "busy", "")
        self.assertEqual(list(self.hosts.iterdir()), [])
        self.assertIsNone(self.root("a").find("host").get("file"))

    def test_no_host_stays_well_if_its_files_cannot_be_changed(self):
        for name in ("a", "b"):
            self.fleet.add_answer(name, answer("well"))
        fleet.Fleet(self.directory, "1.1.0", "ask").begin()  # another run removes the files
        self.fleet.add_failure("a", "unreachable", "unreachable", "")
        with mock.patch("os.open", side_effect=OSError("full")), self.assertRaisesRegex(OSError, "full"):
            self.fleet.add_answer("b", answer("problems"))
        self.assertEqual(self.states("a", "b"), ["unreachable", "unasked"])

    def test_nothing_is_written_before_begin(self):
        self.fleet.add_failure("a", "failed", "task_failed", "")
        self.fleet.write(["a"])
        self.assertFalse(self.directory.exists())
        self.fleet.begin()
        self.fleet.write(["a"])
        self.assertIn('state="failed"', (self.directory / "fleet.xml").read_text())

    def test_a_reader_keeps_the_old_document_when_a_new_one_is_written(self):
        self.fleet.begin()
        self.fleet.write(["a"])
        with open(self.directory / "fleet.xml", encoding="utf-8") as reader:
            self.fleet.add_answer("a", answer())
            self.fleet.write(["a"])
            self.assertIn('state="unasked"', reader.read())

    def test_only_files_of_an_earlier_run_are_removed(self):
        self.fleet.add_answer("old", answer(document="<inspection >1</inspection>"))
        (self.hosts / "old.html").touch()
        for view in fleet.VIEWS:
            (self.directory / view).touch()
        kept = {"notes.txt": "<inspection >", "other.xml": "<other/>", "other.html": ""}
        for name, text in kept.items():
            (self.hosts / name).write_text(text)
        (self.hosts / "link.xml").symlink_to(self.directory / "target")
        (self.directory / "target").write_text("<inspection >")
        (self.hosts / "folder.xml").mkdir()
        fleet.Fleet(self.directory, "1.1.0", "ask").begin()
        self.assertEqual(sorted(path.name for path in self.hosts.iterdir()),
                         sorted([*kept, "link.xml", "folder.xml"]))
        self.assertEqual(sorted(path.name for path in self.directory.iterdir()), ["hosts", "target"])

    def test_a_directory_of_another_user_is_refused(self):
        self.directory.mkdir(parents=True)
        with mock.patch.object(os, "geteuid", return_value=os.geteuid() + 1):
            with self.assertRaises(PermissionError):
                self.fleet.begin()

    def test_a_host_cannot_choose_a_path(self):
        for name, file in (("web-1.example_x", "web-1.example_x"), (".hidden", "=2Ehidden"),
                           ("..", "=2E."), ("../../etc/passwd", "=2E.=2F..=2Fetc=2Fpasswd"),
                           ("a=2Fb", "a=3D2Fb"), ("a\nb\0", "a=0Ab=00"), ("ä", "=C3=A4"),
                           ("\udcff", "=FF")):
            with self.subTest(file):
                self.assertEqual(fleet.file_name(name), file)
                self.fleet.add_answer(name, answer())
        long = fleet.file_name("x" * 300)
        self.assertRegex(long, "^=-[0-9a-f]{64}$")
        self.assertNotEqual(long, fleet.file_name("x" * 299))
        self.assertEqual({path.parent for path in self.directory.rglob("*.xml")}, {self.hosts})

    def test_names_and_reasons_are_text(self):
        name = "<b a='1'>\"&\n\x1b"
        self.fleet.add_failure(name, "failed", "no_answer", "<script>\x1b\n{{ 1 }}")
        [host] = self.root(name).findall("host")
        self.assertEqual(host.get("name"), "<b a='1'>\"&\ufffd\ufffd")
        self.assertEqual(host.find("reason").text, "<script>\ufffd {{ 1 }}")


if __name__ == "__main__":
    unittest.main()
