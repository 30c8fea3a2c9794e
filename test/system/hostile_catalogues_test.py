# SPDX-License-Identifier: MIT
"""Message catalogues that are damaged, declare a wrong codeset, or are badly translated."""

import os
import signal
import struct
import unittest
import xml.etree.ElementTree

from panel import Action, Panel, Problem, report

DOWN = "The <service_title> service is switched off."
RESTART = "Restart the <service_title> service."
UTF8 = "Content-Type: text/plain; charset=UTF-8\n"


def mo_file(translations, header=UTF8, codec="utf-8"):
    """The bytes of a compiled catalogue; msgfmt would refuse some of these."""
    texts = sorted((key.encode(), value.encode(codec))
                   for key, value in ({"": header} | translations).items())
    start = 28 + 16 * len(texts)
    tables, strings = [], b""
    for column in (0, 1):
        for pair in texts:
            tables.append(struct.pack("<II", len(pair[column]), start + len(strings)))
            strings += pair[column] + b"\0"
    return (struct.pack("<7I", 0x950412DE, 0, len(texts), 28, 28 + 8 * len(texts), 0, 0)
            + b"".join(tables) + strings)


def web_down(down, restart, language="de-DE", restart_language="de-DE"):
    """The report of a run that found web down, with those texts."""
    return report([Problem("service-down:web", down, actions=("restart-service:web",),
                           default="restart-service:web", language=language)],
                  [Action("restart-service:web", restart, language=restart_language)])


ENGLISH = web_down("The Größe service is switched off.", "Restart the Größe service.",
                   "en-US", "en-US")


class CatalogueTest(unittest.TestCase):
    """A report in German on a service that is down and has an umlaut in its title."""

    def setUp(self):
        self.panel = Panel()
        self.panel.remove_definitions()
        self.panel.write_service("web", "Größe")
        self.panel.fake_monitor({"web": 1})
        self.catalogue = self.panel.root / "share/locale/de/LC_MESSAGES/keldoctl.mo"
        self.catalogue.parent.mkdir(parents=True)

    def run_with(self, content, locales="LOCPATH_UTF8"):
        """A run with the bytes of a catalogue."""
        self.catalogue.write_bytes(content)
        done = self.panel.run("--status", "--language=de-DE", env={"LOCPATH": os.environ[locales]})
        self.assertEqual(os.listdir(self.panel.root / "tmp"), [])
        return done

    def check(self, content, expected, locales="LOCPATH_UTF8"):
        done = self.run_with(content, locales)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, expected, b""))


class TranslationTest(CatalogueTest):
    def test_unusual_translations_are_shown_as_they_are(self):
        for fact, texts, shown in (
                ("no placeholder", ("Steht.", "Starten."), ("Steht.", "Starten.")),
                ("several placeholders", ("<service_title>: <service_title>!",
                                          "<service_title><service_title>"),
                 ("Größe: Größe!", "GrößeGröße")),
                ("misspelt placeholders", ("<service_titel> < service_title>", "<service_title"),
                 ("<service_titel> < service_title>", "<service_title")),
                ("empty translation", ("", "Starten."), ("", "Starten.")),
                ("markup", ("</message><b>", "<!-- <?x ]]>"), ("</message><b>", "<!-- <?x ]]>")),
                ("ampersands", ("Kauf & Verkauf; &nbsp;", "&amp;&"),
                 ("Kauf & Verkauf; &nbsp;", "&&"))):
            with self.subTest(fact):
                self.check(mo_file({DOWN: texts[0], RESTART: texts[1]}), web_down(*shown))

    def test_a_translation_of_a_megabyte_is_shown_whole(self):
        self.check(mo_file({DOWN: "ä" * 1000000, RESTART: "r"}), web_down("ä" * 1000000, "r"))

    def test_invalid_plural_forms_are_ignored(self):
        self.check(mo_file({DOWN: "d", RESTART: "r"},
                           header=UTF8 + "Plural-Forms: nplurals=99999999999; plural=1/0;\n"),
                   web_down("d", "r"))


class CodesetTest(CatalogueTest):
    """The codesets that a catalogue is written in and declares, and that of the locale."""

    GERMAN = {DOWN: "<service_title> läuft nicht.", RESTART: "<service_title> öffnen."}
    CONVERTED = web_down("Größe läuft nicht.", "Größe öffnen.")
    REPLACED = web_down("Größe l\ufffduft nicht.", "Größe \ufffdffnen.")

    def german(self, codec, charset):
        """The German catalogue in one codeset that declares another."""
        header = f"Content-Type: text/plain; charset={charset}\n" if charset else ""
        return mo_file(self.GERMAN, header, codec)

    def test_the_catalogues_codeset_is_converted_to_the_locales(self):
        for charset in ("UTF-8", "ISO-8859-1", "ISO-8859-15", "CP1252"):
            with self.subTest(charset):
                self.check(self.german(charset, charset), self.CONVERTED)

    def test_latin1_that_is_not_declared_is_replaced(self):
        for charset in ("UTF-8", None):
            with self.subTest(charset):
                self.check(self.german("latin-1", charset), self.REPLACED)

    def test_utf8_declared_as_latin1_is_converted(self):
        self.check(self.german("utf-8", "ISO-8859-1"),
                   web_down("Größe lÃ¤uft nicht.", "Größe Ã¶ffnen."))

    def test_an_unknown_or_wrong_codeset_leaves_texts_in_english(self):
        for codec, charset in (("utf-8", "X-NONE"), ("utf-8", "ASCII"), ("latin-1", "ASCII"),
                               ("utf-8", "X" * 100000)):
            with self.subTest(codec=codec, charset=charset[:20]):
                self.check(self.german(codec, charset), ENGLISH)

    def test_the_text_of_a_latin1_locale_is_replaced(self):
        for charset in ("UTF-8", "ISO-8859-1"):
            with self.subTest(charset):
                self.check(self.german(charset, charset), self.REPLACED, "LOCPATH_LATIN1")

    def test_latin1_declared_as_utf8_leaves_texts_of_a_latin1_locale_in_english(self):
        self.check(self.german("latin-1", "UTF-8"), ENGLISH, "LOCPATH_LATIN1")


class BrokenFileTest(CatalogueTest):
    WHOLE = mo_file(CodesetTest.GERMAN)

    def check_well_formed(self, done):
        """A complete report, or none and an end by a signal."""
        self.assertEqual(done.stderr, b"")
        if done.returncode == 0:
            self.assertEqual(xml.etree.ElementTree.fromstring(done.stdout).tag, "keldoctl")
        else:
            self.assertEqual((done.returncode, done.stdout), (-signal.SIGSEGV, b""))

    def test_a_truncated_header_is_no_catalogue(self):
        for length in (0, 1, 4, 8, 12, 27):
            self.check(self.WHOLE[:length], ENGLISH)

    def test_a_truncated_file_still_gives_a_report(self):
        for length in range(28, len(self.WHOLE), 9):
            with self.subTest(length):
                done = self.run_with(self.WHOLE[:length])
                self.assertEqual(done.returncode, 0)
                self.check_well_formed(done)

    def test_a_text_cut_in_the_middle_of_a_character_is_replaced(self):
        end = self.WHOLE.index("ä".encode()) + 1
        self.check(self.WHOLE[:end], web_down("Größe l\ufffd", "Größe öffnen."))

    def test_garbage_is_no_catalogue(self):
        for content in (bytes(range(256)) * 20, b"\0" * 5000, b"\xff" * 5000, b"x",
                        self.WHOLE[:4] + b"\xff" * 5000):
            with self.subTest(content[:20]):
                self.check(content, ENGLISH)

    def test_with_wrong_offsets_a_report_is_whole_or_absent(self):
        ends = set()
        for position in range(4, 28 + 16 * 3, 4):
            for value in (0, len(self.WHOLE), 0xFFFFFFFF):
                with self.subTest(position=position, value=value):
                    done = self.run_with(self.WHOLE[:position] + struct.pack("<I", value)
                                         + self.WHOLE[position + 4:])
                    self.check_well_formed(done)
                    ends.add(done.returncode)
        self.assertIn(0, ends)

    def test_a_directory_or_unreadable_file_is_no_catalogue(self):
        self.catalogue.mkdir()
        self.check_unread()
        self.catalogue.rmdir()
        for target in ("keldoctl.mo", "missing", "/dev/null", "/dev/zero", "/proc/self/mem"):
            with self.subTest(target):
                self.catalogue.symlink_to(target)
                self.check_unread()
                self.catalogue.unlink()

    def check_unread(self):
        done = self.panel.run("--status", "--language=de-DE",
                              env={"LOCPATH": os.environ["LOCPATH_UTF8"]})
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, ENGLISH, b""))


if __name__ == "__main__":
    unittest.main()
