# SPDX-License-Identifier: MIT
"""Definition files that are enormous, cut, in any encoding, or that ask for other files."""

import os
import pathlib
import unittest

from panel import NAMESPACE, SERVICES, Panel, report, restart, service_down
from trace import own, traced

CHECKS = "<checks><pid-file>/run/web.pid</pid-file></checks>"
OTHER = pathlib.Path("/usr/local/kvr/other")
STOLEN = pathlib.Path("/usr/local/kvr/stolen")
CATALOGUE = {"XML_CATALOG_FILES": "/usr/local/kvr/catalogue.xml"}


def definition(body, declarations=""):
    """A definition of web. `declarations` is the text before the root element."""
    return f'{declarations}<service xmlns="{NAMESPACE}" id="web">{body}</service>'


def titled(title, declarations="", rest=CHECKS):
    """A definition with that title, followed by `rest`."""
    return definition(f'<title xml:lang="en-US">{title}</title>{rest}', declarations)


def entities(**texts):
    """A document type with these internal entities."""
    declared = "".join(f'<!ENTITY {name} "{text}">' for name, text in texts.items())
    return f"<!DOCTYPE service [{declared}]>"


def write_catalogue(name):
    """Writes an XML catalogue that puts OTHER in the place of `name`."""
    pathlib.Path(CATALOGUE["XML_CATALOG_FILES"]).write_text(
        '<catalog xmlns="urn:oasis:names:tc:entity:xmlns:xml:catalog">'
        f'<system systemId="{name}" uri="{OTHER}"/><uri name="{name}" uri="{OTHER}"/></catalog>',
        encoding="utf-8")


class DefinitionTest(unittest.TestCase):
    """The monitor says that web is down. If its definition can be read, web is in the report."""

    def setUp(self):
        self.panel = Panel()
        self.panel.remove_definitions()
        self.panel.fake_monitor({"web": 1})

    def status(self, *, env=None):
        done = self.panel.run("--status", env=env)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def check_title(self, text, title="T", *, env=None):
        """Checks the title of web in the report. Returns the control file of web."""
        self.panel.write_definition("web", text)
        self.panel.forget_calls()
        expected = report([service_down("web", title)], [restart("web", title)])
        self.assertTrue(self.status(env=env) == expected)  # too long to be shown
        return self.panel.calls()[0].control_file

    def check_unknown(self, *texts):
        """Checks that each of the texts defines no service."""
        for text in texts:
            with self.subTest(start=text[:100], end=text[-100:]):
                self.panel.write_definition("web", text)
                self.panel.forget_calls()
                self.assertEqual(self.status(), report())
                self.assertEqual(self.panel.calls(), [])


class SizeTest(DefinitionTest):
    def test_a_hundred_thousand_ports_are_tested(self):
        numbers = [str(1 + i % 65535) for i in range(100000)]
        ports = "".join(f'<port number="{number}"/>' for number in numbers)
        control_file = self.check_title(titled("T", rest=f"<checks>{ports}</checks>"))
        self.assertTrue(control_file.splitlines()[2:] ==
                        [f"\tif failed port {number} then alert" for number in numbers])

    def test_many_or_deep_elements_are_read(self):
        deep, end = "<x>" * 200, "</x>" * 200
        for text in (titled("T", rest="<x/>" * 300000 + CHECKS),
                     titled(f"{deep}T{end}", rest=deep + end + CHECKS)):
            self.check_title(text)

    def test_a_title_below_libxml2s_limit_is_reported_whole(self):
        self.check_title(titled("x" * 9000000), "x" * 9000000)

    def test_a_definition_beyond_libxml2s_limits_is_not_well_formed(self):
        long = "x" * 11000000
        self.check_unknown(titled(long), titled("T") + f"<!--{long}-->",
                           definition(f'<x y="{long}"/>'),
                           definition("<x>" * 10000 + "</x>" * 10000 + CHECKS))


class EntityTest(DefinitionTest):
    def test_internal_entities_are_replaced_everywhere(self):
        self.panel.write_definition("web", titled(
            "a &one; b", entities(one="x<b>y</b>z", two="two &one;", port="80"),
            '<action type="start">echo &two;</action>'
            '<checks><pid-file>/run/&one;</pid-file><port number="&port;"/></checks>'))
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual(done.stdout, report(
            [service_down("web", "a xyz b")],
            [restart("web", "a xyz b", status="ok", log="two xyz\n")]))
        self.assertEqual(self.panel.calls()[0].control_file,
                         "check process web\n\twith pidfile \"/run/xyz\"\n"
                         "\tif failed port 80 then alert\n")

    def test_an_entity_that_contains_itself_is_not_well_formed(self):
        self.check_unknown(titled("&a;", entities(a="&b;", b="&a;")))

    def test_entities_that_multiply_are_not_well_formed(self):
        laughs = {f"e{level}": f"&e{level - 1};" * 10 for level in range(1, 10)}
        declarations = entities(e0="ha", **laughs)
        self.check_unknown(
            titled("&e9;", declarations),
            titled("T", declarations, f'<action type="start">&e9;</action>{CHECKS}'),
            definition("<checks><pid-file>&e9;</pid-file></checks>", declarations),
            definition('<checks><port number="1" protocol="&e9;"/></checks>', declarations))

    def test_a_long_entity_may_be_used_often(self):
        # libxml2 from 2.12 on refuses a document whose entities expand to more than a million bytes.
        declarations = entities(long="x" * 10000)
        references, text = "&long;" * 30, "x" * 300000
        self.check_title(titled(references, declarations), text)
        control_file = self.check_title(definition(
            f"<action type='start'>: {references}</action><checks><pid-file>{references}</pid-file>"
            f'<port number="1" protocol="{references}"/></checks>', declarations), "")
        self.assertTrue(control_file == f'check process web\n\twith pidfile "{text}"\n'
                                        f"\tif failed port 1 protocol {text} then alert\n")

    def test_a_command_longer_than_the_system_takes_fails(self):
        # An argument of a program has at most 128 KiB.
        self.panel.write_definition("web", definition(
            f"<action type='start'>: {'&long;' * 30}</action>", entities(long="x" * 10000)))
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual(done.stdout, report(actions=[restart("web", "", status="error")]))


class OtherFilesTest(DefinitionTest):
    """A definition that refers to other files or hosts: no file is opened, and no host is asked."""

    REPAIRED = report(actions=[restart("web", "T", status="ok")])
    COMMAND = f"touch {STOLEN}"
    ENTITY = f'<!ENTITY e "{COMMAND}">'

    def check(self, declarations="", text="&e;", content=COMMAND, *, expected=REPAIRED, env=None):
        """Repairs web, whose title and start command contain `text`, while OTHER contains
        `content`. Checks the report, and that OTHER is not opened."""
        OTHER.write_text(content, encoding="utf-8")
        self.panel.write_definition("web", titled(
            f"T{text}", declarations, f'<action type="start">{text}</action>'))
        done, calls = traced(self.panel, "%file,%network", "--repair", "restart-service:web",
                             env=env)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, expected, b""))
        self.assertEqual([call for call in own(calls) if str(OTHER) in call.arguments
                          or "AF_INET" in call.arguments], [])
        self.assertFalse(STOLEN.exists())

    def test_an_external_entity_is_empty(self):
        for where in (f'SYSTEM "file://{OTHER}"', f'SYSTEM "{OTHER}"', f'SYSTEM "..{OTHER}"',
                      'SYSTEM "http://127.0.0.1/other"', 'SYSTEM "ftp://127.0.0.1/other"',
                      f'PUBLIC "-//Other//EN" "file://{OTHER}"'):
            with self.subTest(where):
                self.check(f"<!DOCTYPE service [<!ENTITY e {where}>]>")

    def test_an_external_entity_in_an_attribute_is_not_well_formed(self):
        self.check(f'<!DOCTYPE service [<!ENTITY e SYSTEM "file://{OTHER}">]>', "<x y='&e;'/>",
                   expected=report())

    def test_external_declarations_are_not_read(self):
        for where in (f"file://{OTHER}", "http://127.0.0.1/other"):
            with self.subTest(where):
                self.check(f'<!DOCTYPE service SYSTEM "{where}">', content=self.ENTITY)
                # Versions of libxml2 differ on a reference to e here.
                self.check(f'<!DOCTYPE service [<!ENTITY % p SYSTEM "{where}"> %p;]>', "",
                           self.ENTITY)

    def test_a_catalogue_does_not_replace_a_document_type(self):
        write_catalogue("/usr/local/kvr/type")
        self.check('<!DOCTYPE service SYSTEM "/usr/local/kvr/type">', content=self.ENTITY,
                   env=CATALOGUE)

    def test_inclusions_and_processing_instructions_do_nothing(self):
        self.check(text='<xi:include xmlns:xi="http://www.w3.org/2001/XInclude" parse="text" '
                        f'href="file://{OTHER}"/>')
        self.check(f'<?oasis-xml-catalog catalog="{OTHER}"?>'
                   f'<?xml-stylesheet href="file://{OTHER}"?>', "")


class CatalogueTest(DefinitionTest):
    """libxml2's catalogues, which can put one file in the place of another, are not used."""

    def setUp(self):
        super().setUp()
        write_catalogue("/service/web.xml")
        OTHER.write_text(titled("Other"), encoding="utf-8")

    def test_a_definition_is_not_replaced(self):
        self.assertEqual(self.status(env=CATALOGUE), report())
        self.check_title(titled("Web"), "Web", env=CATALOGUE)

    def test_no_catalogue_is_opened(self):
        _, calls = traced(self.panel, "openat", "--status", env=CATALOGUE)
        self.assertEqual([call for call in calls
                          if "/etc/xml" in call.arguments or "catalogue.xml" in call.arguments], [])


class EncodingTest(DefinitionTest):
    def test_a_byte_order_mark_gives_the_encoding(self):
        for codec in ("utf-8", "utf-16-le", "utf-16-be"):
            with self.subTest(codec):
                self.check_title(("\ufeff" + titled("läuft €")).encode(codec), "läuft €")

    def test_a_declaration_gives_the_encoding(self):
        for codec, name in (("utf-8", "UTF-8"), ("utf-16-le", "UTF-16LE"),
                            ("utf-16-be", "UTF-16BE"), ("utf-7", "UTF-7"),
                            ("iso8859-15", "ISO-8859-15"), ("cp1252", "CP1252")):
            with self.subTest(codec):
                text = titled("läuft €", f'<?xml version="1.0" encoding="{name}"?>')
                self.check_title(text.encode(codec), "läuft €")

    def test_an_unknown_or_wrong_encoding_is_not_well_formed(self):
        for codec, declared in (("utf-8", "X-NONE"), ("utf-8", "UTF-16"), ("latin-1", None),
                                ("latin-1", "UTF-8"), ("utf-16-le", None), ("utf-32", None)):
            with self.subTest(codec=codec, declared=declared):
                declaration = f'<?xml version="1.0" encoding="{declared}"?>' if declared else ""
                self.check_unknown(titled("läuft", declaration).encode(codec))

    def test_bytes_outside_utf8_are_not_well_formed(self):
        whole = titled("here").encode()
        self.check_unknown(*(whole.replace(b"here", text) for text in (
            b"\xe4", b"\xc0\x80", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xc3", b"\xef\xbf\xbe")))

    def test_characters_outside_xml_are_not_well_formed(self):
        self.check_unknown(*map(titled, ("\0", "\1", "\x1b[31m", "&#0;", "&#1;", "&#xD800;",
                                         "&#x110000;")))


class FileTest(DefinitionTest):
    def test_an_empty_or_incomplete_file_is_not_well_formed(self):
        whole = titled("läuft", '<?xml version="1.0" encoding="UTF-8"?>').encode()
        self.check_unknown(b"", b" \n", b"\xef\xbb\xbf", b"\0", b"\0" * 5000,
                           whole[:whole.index(b"\xa4")],  # ends within a character
                           *(whole[:-missing] for missing in range(1, 13)))

    def test_text_after_the_root_element_is_not_well_formed(self):
        self.check_unknown(titled("T") + "more", titled("T") + titled("T"))

    def test_a_directory_or_a_link_that_leads_to_no_text_defines_nothing(self):
        path = SERVICES / "web.xml"
        for target in ("web.xml", "missing", "/dev/null", "/dev/zero", "/proc/self/mem", "/tmp"):
            with self.subTest(target):
                os.symlink(target, path)
                self.assertEqual(self.status(), report())
                path.unlink()
        path.mkdir()
        self.assertEqual(self.status(), report())


if __name__ == "__main__":
    unittest.main()
