# SPDX-License-Identifier: MIT
"""link-locales makes our locales known to the system and leaves those of others alone."""

import hashlib
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from languages import listed_languages
from locales import ALIASES, SYSTEM, StockLocales, charset_of, install_catalogues
from panel import PATH, Panel

NAMES = [language.locale for language in listed_languages()]
NONE = "ANSI_X3.4-1968"  # charset_of() of a missing locale
ARCHIVE = SYSTEM / "locale-archive"
RECORD = pathlib.Path("/var/lib/keldoctl")


def tree(root):
    """All paths below a directory, each with the link's target or the file's hash."""
    found = {}
    for path in sorted(pathlib.Path(root).rglob("*")):
        if path.is_symlink():
            found[str(path)] = os.readlink(path)
        elif path.is_file():
            found[str(path)] = hashlib.sha256(path.read_bytes()).hexdigest()
        else:
            found[str(path)] = None
    return found


def localedef(*arguments):
    """Compiles a locale as an administrator does."""
    subprocess.run(["localedef", *arguments], check=True, env={"PATH": PATH})


def archived():
    """The names in the system's locale archive."""
    done = subprocess.run(["localedef", "--list-archive"], check=True, stdout=subprocess.PIPE,
                          text=True, env={"PATH": PATH})
    return set(done.stdout.split())


class LinkTest(unittest.TestCase):
    def setUp(self):
        self.locales = StockLocales(self)
        self.files = tree(self.locales.ours)
        self.before = tree(SYSTEM)

    def link(self, action="add", told=""):
        done = self.locales.run(action)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", told))
        self.assertEqual(tree(self.locales.ours), self.files)

    def own_kept(self, name, charset):
        return ("link-locales: reports need this locale in UTF-8, but the system has its own "
                f"-- {name} ({charset})\n")

    def charsets(self):
        return {name: charset_of(name) for name in NAMES}

    def test_add_makes_all_locales_known_and_remove_unknown(self):
        self.assertEqual(self.charsets(), dict.fromkeys(NAMES, NONE))
        self.link()
        self.assertEqual(self.charsets(), dict.fromkeys(NAMES, "UTF-8"))
        self.link("remove")
        self.assertEqual(self.charsets(), dict.fromkeys(NAMES, NONE))
        self.assertEqual(tree(SYSTEM), self.before)

    def test_a_second_call_changes_nothing(self):
        self.link()
        linked = tree(SYSTEM)
        self.link()
        self.assertEqual(tree(SYSTEM), linked)
        self.link("remove")
        self.link("remove")
        self.assertEqual(tree(SYSTEM), self.before)

    def test_a_system_without_any_locale_gets_ours(self):
        shutil.rmtree(SYSTEM)
        self.link("remove")
        self.link()
        self.assertEqual(self.charsets(), dict.fromkeys(NAMES, "UTF-8"))

    def test_an_interrupted_add_is_completed(self):
        self.link()
        linked = tree(SYSTEM)
        shutil.rmtree(SYSTEM / "tr_TR")
        for path in (SYSTEM / "de_DE").glob("LC_*"):
            if path.is_symlink() and path.name != "LC_CTYPE":
                path.unlink()
        for path in (SYSTEM / "pl_PL").glob("LC_*"):
            if path.is_symlink():
                path.unlink()
        self.link()
        self.assertEqual(tree(SYSTEM), linked)

    def test_an_upgrade_removes_old_locales_and_adds_new_ones(self):
        self.link()
        shutil.copytree(self.locales.ours / "zh_TW", self.locales.ours / "xx_XX")
        shutil.rmtree(self.locales.ours / "zh_TW")
        self.files = tree(self.locales.ours)
        self.link()
        self.assertEqual((charset_of("zh_TW"), charset_of("xx_XX")), (NONE, "UTF-8"))
        self.assertFalse((SYSTEM / "zh_TW").exists())
        self.link("remove")
        self.assertEqual(tree(SYSTEM), self.before)

    def test_an_archived_locale_of_the_administrator_comes_before_ours(self):
        localedef("-i", "de_DE", "-f", "ISO-8859-1", "de_DE")
        archive = tree(SYSTEM)
        self.link(told=self.own_kept("de_DE", "ISO-8859-1"))
        self.assertEqual(charset_of("de_DE"), "ISO-8859-1")
        self.assertEqual(charset_of("fr_FR"), "UTF-8")
        ARCHIVE.rename(SYSTEM / "kept")
        self.assertEqual(charset_of("de_DE"), "UTF-8")
        (SYSTEM / "kept").rename(ARCHIVE)
        self.link("remove")
        self.assertEqual(tree(SYSTEM), archive)

    def test_an_archived_locale_in_utf_8_needs_no_message(self):
        localedef("-i", "de_DE", "-f", "UTF-8", "de_DE")
        self.link()
        self.link("remove")
        self.assertEqual(charset_of("de_DE"), "UTF-8")

    def test_a_directory_of_the_administrator_stays(self):
        localedef("--no-archive", "-i", "de_DE", "-f", "ISO-8859-1", "de_DE")
        (SYSTEM / "de_DE/LC_TIME").unlink()
        (SYSTEM / "de_DE/LC_TIME").symlink_to("../C.utf8/LC_TIME")
        before, own = tree(SYSTEM), tree(SYSTEM / "de_DE")
        self.link(told=self.own_kept("de_DE", "ISO-8859-1"))
        self.assertEqual(tree(SYSTEM / "de_DE"), own)
        self.link("remove")
        self.assertEqual(tree(SYSTEM), before)

    def test_a_link_of_the_administrator_stays(self):
        elsewhere = self.locales.ours.parent / "elsewhere"
        shutil.copytree(self.locales.ours / "de_DE", elsewhere)
        for name, target in (("de_DE", elsewhere), ("tr_TR", self.locales.ours / "tr_TR")):
            (SYSTEM / name).symlink_to(target)
        before = tree(SYSTEM)
        self.link()
        self.assertLessEqual(before.items(), tree(SYSTEM).items())
        self.link("remove")
        self.assertEqual(tree(SYSTEM), before)

    def test_localedef_replaces_our_links_and_not_their_targets(self):
        self.link()
        localedef("--no-archive", "-i", "de_DE", "-f", "ISO-8859-1", "de_DE")
        own = tree(SYSTEM / "de_DE")
        self.link(told=self.own_kept("de_DE", "ISO-8859-1"))
        self.link("remove")
        self.assertEqual(tree(SYSTEM), self.before | {str(SYSTEM / "de_DE"): None} | own)

    def test_remove_leaves_files_that_replaced_our_links(self):
        self.link()
        (SYSTEM / "new").write_text("another's", encoding="utf-8")
        (SYSTEM / "new").replace(SYSTEM / "de_DE/LC_TIME")
        self.link("remove")
        self.assertEqual((SYSTEM / "de_DE/LC_TIME").read_text(encoding="utf-8"), "another's")
        self.assertEqual(os.listdir(SYSTEM / "de_DE"), ["LC_TIME"])

    def test_a_directory_that_is_not_a_locale_is_reported(self):
        (SYSTEM / "de_DE").mkdir()
        (SYSTEM / "de_DE/notes").write_text("mine", encoding="utf-8")
        self.link(told="link-locales: reports need this locale in UTF-8, but the system cannot "
                       "load it -- de_DE\n")
        self.assertEqual(os.listdir(SYSTEM / "de_DE"), ["notes"])

    def have_debians_aliases(self):
        """A list like that of the package `locales` up to Debian 13."""
        ALIASES.write_text("# a comment\nja_JP\t\tja_JP.eucJP\n", encoding="utf-8")

    def test_a_locale_whose_name_is_an_alias_is_loaded_from_the_archive(self):
        self.have_debians_aliases()
        for _ in range(2):
            self.link()
            self.assertEqual(self.charsets(), dict.fromkeys(NAMES, "UTF-8"))
        panel = Panel()
        panel.upgrade_tool(1)
        install_catalogues(panel)
        self.assertIn('<message xml:lang="ja-JP">',
                      panel.run("--status", "--language=ja-JP").stdout.decode())
        self.link("remove")
        self.assertEqual(tree(SYSTEM), self.before)
        self.assertFalse(RECORD.exists())

    def test_only_our_entries_leave_the_archive(self):
        self.have_debians_aliases()
        localedef("-i", "de_DE", "-f", "UTF-8", "de_DE")
        before = archived()
        self.link()
        self.link("remove")
        self.assertEqual(archived(), before)

    def test_archive_entries_that_others_have_replaced_stay(self):
        self.have_debians_aliases()
        self.link()
        ARCHIVE.unlink()
        localedef("-i", "ja_JP", "-f", "UTF-8", "ja_JP.UTF-8")
        for action in ("add", "remove", "remove"):
            self.link(action)
        self.assertEqual(archived(), {"ja_JP.utf8"})

    def test_an_archived_locale_behind_an_alias_stays(self):
        self.have_debians_aliases()
        localedef("-i", "ja_JP", "-f", "EUC-JP", "ja_JP")
        before = archived()
        self.link(told=self.own_kept("ja_JP", "EUC-JP"))
        self.link("remove")
        self.assertEqual(archived(), before)

    def test_remove_keeps_the_archive_if_localedef_fails(self):
        self.have_debians_aliases()
        localedef("-i", "de_DE", "-f", "UTF-8", "de_DE")
        before = archived()
        self.link()
        with tempfile.TemporaryDirectory() as directory:
            os.symlink("/bin/false", pathlib.Path(directory, "localedef"))
            done = subprocess.run([self.locales.program, "remove"], check=False,
                                  env={"PATH": f"{directory}:{PATH}"})
        self.assertEqual(done.returncode, 1)
        self.assertLess(before, archived())
        self.link("remove")
        self.assertEqual(archived(), before)

    def test_the_callers_locale_has_no_effect(self):
        environment = {"PATH": PATH, "LOCPATH": os.environ["LOCPATH_LATIN1"], "LC_ALL": "C.UTF-8"}
        done = subprocess.run([self.locales.program, "add"], check=False, capture_output=True,
                              env=environment)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))

    def test_bad_usage_and_missing_locales_are_reported(self):
        for arguments in ((), ("list",), ("add", "remove"), ("",)):
            with self.subTest(arguments):
                done = self.locales.run(*arguments)
                self.assertEqual((done.returncode, done.stderr),
                                 (1, "link-locales: usage: link-locales add|remove\n"))
        shutil.rmtree(self.locales.ours)
        done = self.locales.run("add")
        self.assertEqual((done.returncode, done.stderr),
                         (1, f"link-locales: no locales -- {self.locales.ours}\n"))
        self.assertEqual(tree(SYSTEM), self.before)


class CompiledLocalesTest(unittest.TestCase):
    def setUp(self):
        self.locales = StockLocales(self)

    def test_each_language_has_a_locale(self):
        self.assertEqual(sorted(os.listdir(self.locales.ours)), sorted(NAMES))

    def test_a_file_that_locales_share_is_stored_once(self):
        files = [(path.name, path.read_bytes()) for path in self.locales.ours.rglob("*")
                 if path.is_file() and not path.is_symlink()]
        self.assertEqual(len(files), len(set(files)))

    def test_each_locale_is_what_localedef_makes(self):
        for name in ("de_DE", "tr_TR"):
            with self.subTest(name):
                again = self.locales.ours.parent / "again" / name
                again.parent.mkdir(exist_ok=True)
                localedef("--no-archive", "-i", name, "-f", "UTF-8", str(again))
                self.assertEqual(self.contents(self.locales.ours / name), self.contents(again))

    @staticmethod
    def contents(locale):
        return {path.relative_to(locale): path.read_bytes()
                for path in locale.rglob("*") if path.is_file()}


class OtherCharsetTest(unittest.TestCase):
    """A report in a locale of the administrator's that is not in UTF-8."""

    def test_letters_outside_the_charset_are_replaced(self):
        locales = StockLocales(self)
        localedef("-i", "de_DE", "-f", "ISO-8859-1", "de_DE")
        locales.run("add")
        panel = Panel()
        panel.upgrade_tool(1)
        install_catalogues(panel)
        done = panel.run("--status", "--language=de-DE")
        self.assertIn('<message xml:lang="de-DE">Eine Aktualisierung l\ufffduft. Bitte warten Sie.'
                      "</message>", done.stdout.decode())


if __name__ == "__main__":
    unittest.main()
