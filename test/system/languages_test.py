# SPDX-License-Identifier: MIT
"""Reports in each language that has a catalogue; Turkish changes nothing but texts."""

import gettext
import subprocess
import unittest
from xml.etree import ElementTree

from languages import listed_languages
from locales import BUILD, StockLocales, install_catalogues
from panel import PATH, Action, Panel, Problem, report

DOWN = "The <service_title> service is switched off."
RESTART = "Restart the <service_title> service."
UPGRADE = "Upgrade is in progress. Please wait."
TITLE = "„Website & Söhne“ <I ı İ i>"
LANGUAGES = {language.code: language.catalogue for language in listed_languages()}
XML_LANG = "{http://www.w3.org/XML/1998/namespace}lang"


def translator(catalogue):
    """Returns the function that translates an English text by a built catalogue."""
    path = BUILD / f"share/locale/{catalogue}/LC_MESSAGES/keldoctl.mo"
    with path.open("rb") as file:
        return gettext.GNUTranslations(file).gettext


class EachLanguageTest(unittest.TestCase):
    """On a system whose only locales are C.UTF-8 and ours."""

    def setUp(self):
        self.locales = StockLocales(self)
        self.panel = Panel()
        install_catalogues(self.panel)
        for service in ("mysql", "keldo", "smtp", "dns", "mail"):
            self.panel.write_definition(service, None)

    def add_locales(self):
        done = self.locales.run("add")
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def run_in(self, code, command="--status", *ids):
        """The report of a run, checked to be well-formed, and the languages of its texts."""
        done = self.panel.run(command, f"--language={code}", *ids)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        messages = ElementTree.fromstring(done.stdout).iter("message")
        return done.stdout, {message.get(XML_LANG) for message in messages}

    def web_is_down(self):
        self.panel.write_service("web", titles=dict.fromkeys(LANGUAGES, TITLE))
        self.panel.fake_monitor({"web": 32})

    @staticmethod
    def expected(code, translate):
        """The report on a web server that is down."""
        down, restart = (translate(text).replace("<service_title>", TITLE)
                         for text in (DOWN, RESTART))
        return report([Problem("service-down:web", down, actions=("restart-service:web",),
                               default="restart-service:web", language=code)],
                      [Action("restart-service:web", restart, language=code)])

    def test_a_service_that_is_down_is_reported_in_each_language(self):
        self.add_locales()
        self.web_is_down()
        for code, catalogue in LANGUAGES.items():
            with self.subTest(code):
                self.assertEqual(self.run_in(code),
                                 (self.expected(code, translator(catalogue)), {code}))

    def test_a_repair_is_reported_in_each_language(self):
        self.add_locales()
        self.web_is_down()
        self.panel.write_service("dns", titles=dict.fromkeys(LANGUAGES, "DNS"),
                                 start="echo Başladı, 起動, запущен")
        for code, catalogue in LANGUAGES.items():
            with self.subTest(code):
                text, tags = self.run_in(code, "--repair", "restart-service:dns")
                message = translator(catalogue)(RESTART).replace("<service_title>", "DNS")
                self.assertEqual(tags, {code})
                self.assertIn(f'<message xml:lang="{code}">{message}</message>\n'
                              "    <status>ok</status>\n"
                              "    <log>Başladı, 起動, запущен\n</log>\n".encode(), text)

    def test_an_upgrade_is_reported_in_each_language(self):
        self.add_locales()
        self.panel.upgrade_tool(1)
        for code, catalogue in LANGUAGES.items():
            with self.subTest(code):
                problem = Problem("upgrade", translator(catalogue)(UPGRADE), "minor", language=code)
                self.assertEqual(self.run_in(code), (report([problem]), {code}))

    def test_all_texts_are_english_without_the_locale(self):
        self.panel.upgrade_tool(1)
        english = report([Problem("upgrade", UPGRADE, "minor")])
        for code in LANGUAGES:
            with self.subTest(code):
                self.assertEqual(self.run_in(code), (english, {"en-US"}))

    def test_a_language_without_a_catalogue_uses_no_other_catalogue(self):
        self.add_locales()
        self.panel.upgrade_tool(1)
        english = report([Problem("upgrade", UPGRADE, "minor")])
        for code in ("de-AT", "pt-PT", "zh-HK", "tr-CY", "fr-CA", "es-MX"):
            with self.subTest(code):
                self.assertEqual(self.run_in(code), (english, {"en-US"}))


class TurkishTest(unittest.TestCase):
    """Turkish pairs i with İ and ı with I. Nothing but texts may depend on that."""

    IDS = ("mail", "MAIL", "init", "INIT", "İnit", "ınıt", "Iıİi")

    def setUp(self):
        self.locales = StockLocales(self)
        self.locales.run("add")
        self.panel = Panel()
        self.panel.write_definition("mysql", None)
        install_catalogues(self.panel)

    def run_in(self, code, command, *ids):
        """Returns exit status, standard error, report without texts, and the control files that
        the monitor was given."""
        self.panel.forget_calls()
        done = self.panel.run(command, f"--language={code}", *ids)
        document = ElementTree.fromstring(done.stdout)
        messages = list(document.iter("message"))
        self.assertEqual({message.get(XML_LANG) for message in messages} - {code}, set())
        for message in messages:
            message.clear()
        controls = [call.control_file for call in self.panel.calls()]
        return done.returncode, done.stderr, ElementTree.tostring(document), controls

    def same_in_both(self, *arguments):
        """Checks that runs in Turkish and English differ only in texts. Returns the report and the
        control files of the Turkish one."""
        turkish = self.run_in("tr-TR", *arguments)
        self.assertEqual(turkish, self.run_in("en-US", *arguments))
        return ElementTree.fromstring(turkish[2]), turkish[3]

    def test_the_locale_is_turkish(self):
        # Otherwise the other tests prove nothing.
        done = subprocess.run(["bash", "-c", 'text="iI ıİ"; echo "${text^^} ${text,,}"'],
                              check=True, stdout=subprocess.PIPE,
                              env={"PATH": PATH, "LC_ALL": "tr_TR"})
        self.assertEqual(done.stdout.decode(), "İI Iİ iı ıi\n")

    def test_ids_are_those_of_the_command_line(self):
        for service in (*self.IDS, "disk"):
            self.panel.write_service(service, titles={"tr-TR": service}, start=f"echo {service}")
        document, _ = self.same_in_both(
            "--repair", *(f"restart-service:{service}" for service in self.IDS),
            "RESTART-SERVICE:disk", "restart-servıce:disk", "restart-service:DISK",
            "restart-service:DİSK", "restart-service:dısk")
        self.assertEqual([(action.get("id"), action.find("log").text) for action in document],
                         [(f"restart-service:{service}", service + "\n")
                          for service in sorted(self.IDS, key=str.encode)])

    def test_service_names_in_the_monitors_answer_are_compared_bytewise(self):
        for answered in ("mail", "MAIL", "maıl", "MAİL"):
            with self.subTest(answered):
                self.panel.fake_monitor(script=(
                    "#!/bin/sh\n"
                    "echo '<monit><SERVICE/><servıce/>'\n"
                    f"echo '<service><name>{answered}</name><status>32</status></service>'\n"
                    "echo '</monit>'"))
                document, _ = self.same_in_both("--status")
                down = [problem.get("id") for problem in document.iter("problem")]
                self.assertEqual("service-down:mail" in down, answered == "mail")

    def test_elements_and_attributes_of_definitions_are_found(self):
        self.panel.write_service(
            "mail", titles={"tr-TR": "Posta", "TR-TR": "wrong", "tr-tr": "wrong"},
            pid_file="/run/INIT/mail.pid", sockets=["/run/mail.i", "/run/MAIL.I"],
            ports=[(25, {"type": "UDP", "protocol": "IMAP"}), (143, {"protocol": "imap"}),
                   (1234567, {"type": "UDP", "protocol": "SIP"})])
        _, controls = self.same_in_both("--status")
        self.assertIn('check process mail\n\twith pidfile "/run/INIT/mail.pid"\n'
                      "\tif failed unixsocket /run/mail.i then alert\n"
                      "\tif failed unixsocket /run/MAIL.I then alert\n"
                      "\tif failed port 25 type UDP  protocol IMAP then alert\n"
                      "\tif failed port 143 protocol imap then alert\n"
                      "\tif failed port 1234567 type UDP  protocol SIP then alert\n", controls)

    def test_the_monitors_statuses_are_read(self):
        for status in (0, 1, 32, 512, 4096, 1048576, 16777216):
            with self.subTest(status):
                self.panel.fake_monitor({"mail": status})
                document, _ = self.same_in_both("--status")
                self.assertEqual(document.find("problem") is not None, status != 0)

    def test_configuration_names_are_read(self):
        self.panel.configure("product_root_d /wrong\nPRODUCT_ROOT_D /wrong\n"
                             f"PRODUCT_ROOT_D {self.panel.root}\nDUMP_TMP_D /iI\nıI i\nMAİL_D x\n")
        _, controls = self.same_in_both("--status")
        self.assertEqual(len(controls), 5)

    def test_elements_severities_and_statuses_keep_their_names(self):
        self.panel.fake_monitor({"mail": 32})
        self.panel.write_service("mail", stop="echo no; exit 3", start="exit 3")
        document, _ = self.same_in_both("--repair", "restart-service:mail")
        self.assertEqual([element.tag for element in document.iter()],
                         ["keldoctl", "problem", "message", "severity", "solutions", "action",
                          "action", "message", "status", "log"])
        self.assertEqual(document.find("problem/severity").text, "major")
        self.assertEqual(document.find("action/status").text, "error")
        self.panel.upgrade_tool(1)
        document, _ = self.same_in_both("--status")
        self.assertEqual(document.find("problem/severity").text, "minor")

    def test_other_spellings_of_the_language_are_refused(self):
        for code in ("tr-tr", "TR-TR", "tr_TR", "tr", "tr-İR", "tr-TR.UTF-8", "ır-TR"):
            with self.subTest(code):
                done = self.panel.run("--status", f"--language={code}")
                self.assertEqual((done.returncode, done.stdout, done.stderr.decode()),
                                 (1, b"", f"keldoctl: invalid locale code -- {code}\n"))

    def test_commands_in_capitals_are_refused(self):
        for command in ("--STATUS", "--REPAIR", "--repaır", "--REPAİR"):
            with self.subTest(command):
                done = self.panel.run(command, "--language=tr-TR")
                self.assertEqual((done.returncode, done.stdout, done.stderr.decode()),
                                 (1, b"", f"keldoctl: invalid command -- {command}\n"
                                          "Try `keldoctl --help` for more information.\n"))

    def test_the_usage_is_the_same(self):
        done = self.panel.run("--help", "--language=tr-TR")
        self.assertEqual((done.returncode, done.stdout), (0, self.panel.run("--help").stdout))


if __name__ == "__main__":
    unittest.main()
