# SPDX-License-Identifier: MIT
"""The language of a report: its texts and their language tags."""

import os
import unittest

from panel import Action, Panel, Problem, report

HEADER = 'msgid ""\nmsgstr "Content-Type: text/plain; charset=UTF-8\\n"\n\n'
DOWN = ('msgid "The <service_title> service is switched off."\n'
        'msgstr "Der Dienst <service_title> läuft nicht."\n\n')
RESTART = ('msgid "Restart the <service_title> service."\n'
           'msgstr "Den Dienst <service_title> neu starten."\n\n')
UPGRADE = ('msgid "Upgrade is in progress. Please wait."\n'
           'msgstr "Eine Aktualisierung läuft. Bitte warten."\n\n')
FRENCH = DOWN.replace("Der Dienst <service_title> läuft nicht", "<service_title> est en panne")


def web_down(message, language, action, action_language):
    return report(
        [Problem("service-down:web", message, actions=("restart-service:web",),
                 default="restart-service:web", language=language)],
        [Action("restart-service:web", action, language=action_language)])


GERMAN = web_down("Der Dienst Web-Server läuft nicht.", "de-DE",
                  "Den Dienst Web-Server neu starten.", "de-DE")
ENGLISH = web_down("The Web Server service is switched off.", "en-US",
                   "Restart the Web Server service.", "en-US")


class LanguageTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()
        for service in ("mysql", "keldo", "smtp", "dns", "mail"):
            self.panel.write_definition(service, None)
        self.panel.write_service("web", "Web Server", titles={"de-DE": "Web-Server"})
        self.panel.fake_monitor({"web": 32})

    def status(self, language, **environment):
        done = self.panel.run("--status", f"--language={language}", env=environment)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def test_a_german_report_has_german_texts(self):
        self.panel.catalogue(HEADER + DOWN + RESTART)
        self.assertEqual(self.status("de-DE"), GERMAN)

    # keldoctl installs no Danish locale.

    def test_a_locale_that_is_not_installed_leaves_the_run_english(self):
        self.panel.catalogue(HEADER + DOWN, locale="da")
        self.panel.write_service("web", "Web Server", titles={"da-DK": "Server"})
        self.assertEqual(self.status("da-DK"), ENGLISH)

    def test_a_locale_that_is_not_installed_falls_back_to_the_english_one(self):
        self.panel.catalogue(HEADER + DOWN.replace("läuft nicht", "has stopped")
                             .replace("Der Dienst", "Service"), locale="en")
        self.assertIn(b'<message xml:lang="en-US">Service Web Server has stopped.</message>',
                      self.status("da-DK", LOCPATH=os.environ["LOCPATH_UTF8"]))

    def test_the_upgrade_problem_is_translated(self):
        self.panel.catalogue(HEADER + UPGRADE)
        self.panel.upgrade_tool(1)
        self.assertEqual(
            self.status("de-DE"),
            report([Problem("upgrade", "Eine Aktualisierung läuft. Bitte warten.", "minor",
                            language="de-DE")]))

    def test_the_environment_does_not_choose_the_language(self):
        self.panel.catalogue(HEADER + DOWN + RESTART)
        self.panel.catalogue(HEADER + FRENCH, locale="fr")
        for name, value in (("LANGUAGE", "fr"), ("LANGUAGE", "fr:de"), ("LC_ALL", "C"),
                            ("LANG", "fr_FR"), ("LC_MESSAGES", "C"), ("OUTPUT_CHARSET", "LATIN1")):
            with self.subTest(name=name, value=value):
                self.assertEqual(self.status("de-DE", **{name: value}), GERMAN)

    def test_the_environment_does_not_translate_an_english_run(self):
        self.panel.catalogue(HEADER + DOWN + RESTART)
        for extra in ({}, {"LOCPATH": os.environ["LOCPATH_UTF8"]}):
            with self.subTest(extra):
                self.assertEqual(self.status("en-US", LANGUAGE="de", **extra), ENGLISH)

    def test_children_keep_the_language_variable(self):
        self.panel.catalogue(HEADER + DOWN + RESTART)
        self.panel.write_service("web", start='echo "$LANGUAGE"', titles={"de-DE": "Web-Server"})
        done = self.panel.run("--repair", "--language=de-DE", "restart-service:web",
                              "restart-service:web", env={"LANGUAGE": "fr"})
        self.assertIn(b"<log>fr\n</log>", done.stdout)

    def test_a_translation_comes_in_the_codeset_of_the_locale(self):
        # The title is not converted, so text with an umlaut would mix two encodings. Panels install
        # UTF-8 locales for this reason.
        self.panel.catalogue(HEADER + DOWN.replace("läuft nicht", "steht") + RESTART)
        self.assertEqual(
            self.status("de-DE", LOCPATH=os.environ["LOCPATH_LATIN1"]),
            web_down("Der Dienst Web-Server steht.", "de-DE",
                     "Den Dienst Web-Server neu starten.", "de-DE"))


class LocaleTest(unittest.TestCase):
    """A locale's decimal comma, digit grouping and 8-bit letters do not change numbers or names."""

    def test_numbers_and_configuration_are_read_the_same_in_every_locale(self):
        panel = Panel(root="/usr/local/kvr/root")
        panel.configure("A\xe4 x\nPRODUCT_ROOT_D /usr/local/kvr/root\n".encode("latin-1").decode("latin-1"))
        ports = [(80, {}), (65535, {"type": "UDP"}), (1234567, {"protocol": "http"})]
        panel.write_service("web", ports=ports, pid_file="")
        for variable in ("LOCPATH_UTF8", "LOCPATH_LATIN1"):
            with self.subTest(variable):
                panel.forget_calls()
                panel.run("--status", "--language=de-DE",
                          env={"LOCPATH": os.environ[variable]})
                controls = [call.control_file for call in panel.calls()]
                self.assertIn("check host web\n\twith address 127.0.0.1\n"
                              "\tif failed port 80 then alert\n"
                              "\tif failed port 65535 type UDP  then alert\n"
                              "\tif failed port 1234567 protocol http then alert\n", controls)

    def test_letters_of_the_locale_are_invalid_in_a_variable_name(self):
        panel = Panel()
        with open("/etc/kvr/kvr.conf", "wb") as file:
            file.write(b"PRODUCT_ROOT_D /usr/local/kvr\nPRODUCT_ROOT_D\xa0/x y\n")
        panel.run("--status", "--language=de-DE", env={"LOCPATH": os.environ["LOCPATH_LATIN1"]})
        self.assertEqual(len(panel.calls()), 5)


if __name__ == "__main__":
    unittest.main()
