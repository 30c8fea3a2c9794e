# SPDX-License-Identifier: MIT
"""Rules for all stylesheets, and the words of the views."""

import base64
import hashlib
import itertools
import pathlib
import re
import shutil
import tempfile
import unittest
import xml.etree.ElementTree

from languages import listed_languages
from panel import report
from views import FLEETS, INSPECTIONS, VIEWS, fleet, inspected, run_view, show

XSL = "{http://www.w3.org/1999/XSL/Transform}"
WRITE_FILE = "{http://exslt.org/common}document"
LANGUAGE = "{http://www.w3.org/XML/1998/namespace}lang"
STYLESHEETS = [*VIEWS.glob("*.xsl"), *VIEWS.glob("parts/*.xsl")]
STATES = {"up", "down", "unknown", "stopped"}
# Why a host of a fleet gave no inspection.
REASONS = ("no_answer", "too_large", "not_an_inspection", "doctype", "contradiction", "timed_out",
           "busy", "refused", "no_gate", "no_document", "limit_on_target", "exit_status",
           "unreachable", "unasked", "task_failed")
LANGUAGES = ["en", *(language.catalogue.replace("_", "-") for language in listed_languages())]


def words():
    """The words by their ids, by language."""
    tables = xml.etree.ElementTree.parse(VIEWS / "parts/words.xml").getroot()
    return {table.get(LANGUAGE): {word.get("id"): word.text for word in table} for table in tables}


class StylesheetsTest(unittest.TestCase):
    def test_they_are_plain_xslt(self):
        for path in STYLESHEETS:
            with self.subTest(path.name):
                root = xml.etree.ElementTree.parse(path).getroot()
                self.assertEqual((root.tag, root.get("version")), (XSL + "stylesheet", "1.0"))
                for element in root.iter():
                    if "}" in element.tag and element.tag != WRITE_FILE:
                        self.assertTrue(element.tag.startswith(XSL), element.tag)
                    # Without escaping, a text of the inspection could become markup or a script.
                    self.assertNotIn("disable-output-escaping", element.attrib)

    def test_every_view_refuses_other_documents(self):
        for view in ("html", "text", "prometheus", "nagios", "changes", "repairs", "fleet-html",
                     "fleet-text", "fleet-json"):
            for document in (b"", b"<keldoctl>", b"<html/>", b"<keldoctl xmlns='x'/>",
                             b"<a><keldoctl/></a>"):
                with self.subTest(view=view, document=document):
                    done = run_view(view, document)
                    self.assertNotEqual(done.returncode, 0)
                    self.assertEqual(done.stdout, b"")
        for view in ("prometheus", "nagios"):
            for document in (report(), inspected("all_well").replace(b'version="1"', b'version="2"')):
                self.assertNotEqual(run_view(view, document).returncode, 0)

    def test_texts_are_the_same_without_exslt(self):
        with tempfile.TemporaryDirectory() as directory:
            views = pathlib.Path(directory, "views")
            shutil.copytree(VIEWS, views)
            strings = views / "parts/strings.xsl"
            text = strings.read_text(encoding="utf-8")
            self.assertIn("http://exslt.org/strings", text)
            strings.write_text(text.replace("http://exslt.org/strings", "urn:unknown"),
                               encoding="utf-8")
            for directory, names in ((INSPECTIONS, ("text", "prometheus", "nagios")),
                                     (FLEETS, ("fleet-text", "fleet-json"))):
                for view, path in itertools.product(names, directory.iterdir()):
                    with self.subTest(path.name, view=view):
                        self.assertEqual(
                            run_view(view, path.read_bytes(), views=views).stdout.decode(),
                            show(view, path.read_bytes()))

    def test_the_security_policy_has_the_hashes_of_the_styles_and_the_scripts(self):
        for view, document in (("html", inspected("all_well")), ("fleet-html", fleet("all_states"))):
            page = show(view, document)
            for name in ("style", "script"):
                hashes = [base64.b64encode(hashlib.sha256(content.encode()).digest()).decode()
                          for content in re.findall(rf"<{name}>(.*?)</{name}>", page, re.S)]
                self.assertIn(f"{name}-src " + " ".join(f"'sha256-{each}'" for each in hashes), page)


class WordsTest(unittest.TestCase):
    def test_each_language_has_each_word(self):
        self.assertEqual(list(words()), LANGUAGES)
        for language, table in words().items():
            with self.subTest(language):
                self.assertEqual(list(table), list(words()["en"]))
                self.assertTrue(all(text and text == text.strip() for text in table.values()))

    def test_each_word_is_used(self):
        sources = "".join(path.read_text(encoding="utf-8") for path in STYLESHEETS)
        named = re.findall(r"""\$words\[@id = '([a-z-]+)'\]|name="word" select="'([a-z-]+)'""",
                           sources)
        reasons = {f"reason-{code}" for code in REASONS}
        severities, outcomes = {"minor", "major", "critical", "unrated"}, {"ok", "error"}
        tests = {"pid_file", "unix_socket", "port", "connection"}
        # show-changes gets the words of states too, by the states' names.
        changes = set(re.findall('"([a-z]+)"', (VIEWS / "changes.awk").read_text(encoding="utf-8")))
        self.assertEqual(set(words()["en"]),
                         {word for names in named for word in names if word}
                         | severities | outcomes | tests | reasons
                         | {f"change-{word}" for word in changes | STATES
                            if word not in ("report", "inspection", "run", "service", "since", "word",
                                            "passed", "true", "false")})

    def headline(self, spoken, **parameters):
        """The word for "nothing is known" in the text view of an inspection in this language."""
        document = (f'<inspection version="1" xml:lang="{spoken}"><services><service id="a"'
                    ' state="unknown"><reason/></service></services></inspection>')
        return show("text", document.encode(), ascii="yes", **parameters).split("[?] ")[1].split(":")[0]

    def test_the_language_is_that_of_the_inspection_or_of_the_parameter(self):
        for language, expected in (
                ("en-US", "en"), ("en-GB", "en"), ("de-DE", "de"), ("de-AT", "de"),
                ("pt-BR", "pt-BR"), ("pt-PT", "pt-BR"), ("zh-CN", "zh-CN"), ("zh-TW", "zh-TW"),
                ("zh-SG", "zh-CN"), ("zh-HK", "zh-TW"), ("zh-MO", "zh-TW"), ("he-IL", "en")):
            with self.subTest(language):
                self.assertEqual(self.headline(language), words()[expected]["nothing-known"])
        self.assertEqual(self.headline("de-DE", language="fr-FR"), words()["fr"]["nothing-known"])


if __name__ == "__main__":
    unittest.main()
