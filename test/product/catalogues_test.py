# SPDX-License-Identifier: MIT
"""The message catalogues: complete, up to date with the sources, and fit for a report."""

import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from languages import PO, listed_languages

TEMPLATE = PO / "keldoctl.pot"
PLACEHOLDER = re.compile("<[a-z_]+>")


def output_of(*command, stdin=b""):
    return subprocess.run(command, input=stdin, stdout=subprocess.PIPE, check=True).stdout


def translations(po):
    """The translations of a catalogue's text, in its order, without the header."""
    entries = output_of("msgexec", "0", stdin=po).decode().split("\0")[:-1]
    return [entry for entry in entries if not entry.startswith("Project-Id-Version:")]


def english_texts():
    return translations(output_of("msgen", TEMPLATE))


def catalogues():
    """The catalogues' names and files."""
    return [(language.catalogue, PO / f"{language.catalogue}.po")
            for language in listed_languages()]


def all_translations():
    """Each catalogue's language, with each of its texts in English and translated."""
    english = english_texts()
    return [(language, *texts) for language, path in catalogues()
            for texts in zip(english, translations(path.read_bytes()), strict=True)]


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
        complete = f"{len(english_texts())} translated messages.\n"
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
        self.assertTrue(any(map(PLACEHOLDER.search, english_texts())))
        for language, english, text in all_translations():
            with self.subTest(language, english=english):
                self.assertEqual(sorted(PLACEHOLDER.findall(text)),
                                 sorted(set(PLACEHOLDER.findall(english))))
                self.assertNotRegex(PLACEHOLDER.sub("", text), "[<>&\n]")
                self.assertEqual(text, text.strip())
                # keldoctl would tag an equal text as English.
                self.assertNotEqual(text, english)


if __name__ == "__main__":
    unittest.main()
