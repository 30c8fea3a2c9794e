# SPDX-License-Identifier: MIT
"""The message catalogues: complete, up to date with the sources, and fit for a report."""

import gettext
import json
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest
from typing import NamedTuple

from languages import PO, listed_languages

TEMPLATE = PO / "keldoctl.pot"
PLACEHOLDER = re.compile("<[a-z_]+>")


def output_of(*command, stdin=b""):
    return subprocess.run(command, input=stdin, stdout=subprocess.PIPE, check=True).stdout


class Entry(NamedTuple):
    """A text of a catalogue: in English, with its plural if it is counted, and in all forms of the
    language."""

    english: str
    plural: str
    forms: list


def entries_of(path):
    """The texts of a catalogue, without the header. Each text stands in one line."""
    entries = []
    for block in path.read_text(encoding="utf-8").split("\n\n"):
        texts = {name: json.loads(text) for name, text in
                 re.findall(r'^(msgid|msgid_plural|msgstr(?:\[\d\])?) (".*")$', block, re.M)}
        if texts.get("msgid"):
            forms = [text for name, text in texts.items() if name.startswith("msgstr")]
            entries.append(Entry(texts["msgid"], texts.get("msgid_plural", ""), forms))
    return entries


def catalogues():
    """The catalogues' names and files."""
    return [(language.catalogue, PO / f"{language.catalogue}.po")
            for language in listed_languages()]


def form_of(path):
    """The function that gives the form of a number in a catalogue's language."""
    expression = re.search(r"plural=(.*?);", path.read_text(encoding="utf-8"))[1]
    return gettext.c2py(expression)


class TestCaseWithACopy(unittest.TestCase):
    """Gives each test a scratch file, self.copy."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.copy = pathlib.Path(directory.name, "copy")


class TemplateTest(TestCaseWithACopy):
    def make(self):
        output_of(PO / "make-pot", self.copy)
        return self.copy.read_text(encoding="utf-8")

    def test_the_template_has_the_texts_of_the_sources(self):
        shutil.copy(TEMPLATE, self.copy)
        self.assertEqual(self.make(), TEMPLATE.read_text(encoding="utf-8"),
                         "build the target update-po and translate what is new")

    def test_a_new_date_alone_does_not_change_the_template(self):
        dated = TEMPLATE.read_text(encoding="utf-8").replace("Creation-Date: 2", "Creation-Date: 1")
        self.copy.write_text(dated, encoding="utf-8")
        self.assertEqual(self.make(), dated)

    def test_a_text_that_left_the_sources_leaves_the_template(self):
        shutil.copy(TEMPLATE, self.copy)
        with self.copy.open("a", encoding="utf-8") as file:
            file.write('\nmsgid "Gone."\nmsgstr ""\n')
        self.assertNotIn("Gone", self.make())


class CatalogueTest(TestCaseWithACopy):
    def test_linguas_lists_every_catalogue(self):
        self.assertEqual([language.catalogue for language in listed_languages()],
                         sorted(path.stem for path in PO.glob("*.po")))

    def test_each_locale_matches_its_catalogue(self):
        for catalogue, locale in listed_languages():
            with self.subTest(catalogue):
                self.assertRegex(locale, "^[a-z]{2}_[A-Z]{2}$")
                self.assertTrue(locale == catalogue or locale.startswith(catalogue + "_"))

    def test_msgfmt_accepts_each_catalogue_as_complete(self):
        complete = f"{len(entries_of(TEMPLATE))} translated messages.\n"
        for language, path in catalogues():
            with self.subTest(language):
                done = subprocess.run(
                    ["msgfmt", "--check", "--statistics", "--output-file=/dev/null", path],
                    capture_output=True, text=True, check=False)
                self.assertEqual((done.returncode, done.stderr), (0, complete))

    def test_the_header_names_the_language_and_the_charset(self):
        for language, path in catalogues():
            with self.subTest(language):
                header = path.read_text(encoding="utf-8").partition("\n\n")[0].splitlines()
                self.assertIn(f'"Language: {language}\\n"', header)
                self.assertIn('"Content-Type: text/plain; charset=UTF-8\\n"', header)

    def test_each_catalogue_has_the_texts_of_the_template(self):
        for language, path in catalogues():
            with self.subTest(language):
                self.copy.write_bytes(path.read_bytes())
                output_of("msgmerge", "--quiet", "--update", "--backup=none", "--previous",
                          "--no-wrap", "--sort-by-file", "--add-location=file", self.copy, TEMPLATE)
                merged = self.copy.read_text(encoding="utf-8")
                self.assertEqual(path.read_text(encoding="utf-8"), merged,
                                 "build the target update-po")
                self.assertNotRegex(merged, "(?m)^#(~|, fuzzy)", "left over, or to be looked at")

    def test_a_translation_is_one_line_with_the_placeholders_and_no_other_markup(self):
        self.assertTrue(any(PLACEHOLDER.search(entry.english) for entry in entries_of(TEMPLATE)))
        for language, path in catalogues():
            form = form_of(path)
            for entry in entries_of(path):
                for index, text in enumerate(entry.forms):
                    with self.subTest(language, english=entry.english, form=index):
                        self.check_placeholders(entry, index, text, form)
                        self.assertNotRegex(PLACEHOLDER.sub("", text), "[<>&\n]")
                        self.assertEqual(text, text.strip())
                        # keldoctl would tag an equal text as English.
                        self.assertNotIn(text, (entry.english, entry.plural))

    def check_placeholders(self, entry, index, text, form):
        """A form that no number above 1 uses may lack <count>."""
        wanted = set(PLACEHOLDER.findall(entry.plural or entry.english))
        if entry.plural and not any(form(number) == index for number in range(2, 200)):
            wanted.discard("<count>")
        found = PLACEHOLDER.findall(text)
        self.assertEqual(len(found), len(set(found)))
        self.assertEqual(wanted - set(found), set())
        self.assertLessEqual(set(found), wanted | {"<count>"})

    def test_counted_sentences_have_the_right_form(self):
        wanted = {
            "ru": {0: "<count> служб ", 1: "<count> служба ", 2: "<count> службы ",
                   5: "<count> служб ", 21: "<count> служба "},
            "pl": {0: "<count> usług ", 1: "<count> usługa ", 2: "<count> usługi ",
                   5: "<count> usług ", 21: "<count> usług "},
        }
        for language, beginnings in wanted.items():
            path = PO / f"{language}.po"
            [entry] = [entry for entry in entries_of(path)
                       if entry.english == "<count> service is down."]
            for number, beginning in beginnings.items():
                with self.subTest(language, number=number):
                    self.assertIn(beginning.strip(),
                                  entry.forms[form_of(path)(number)] + " ")


if __name__ == "__main__":
    unittest.main()
