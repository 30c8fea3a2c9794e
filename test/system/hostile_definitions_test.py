# SPDX-License-Identifier: MIT
"""Definition files that are enormous, cut, in any encoding, or that ask for other files."""

import gzip
import os
import pathlib
import unittest

from panel import NAMESPACE, SERVICES, Panel, report, restart, service_down
from trace import own, traced

CHECKS = "<checks><pid-file>/run/web.pid</pid-file></checks>"
SECRET = "touch /usr/local/kvr/stolen"


def definition(body, declarations=""):
    """A definition of web. `declarations` are the text before the root element."""
    return f'{declarations}<service xmlns="{NAMESPACE}" id="web">{body}</service>'


def titled(title, declarations=""):
    """A definition with that title."""
    return definition(f'<title xml:lang="en-US">{title}</title>{CHECKS}', declarations)


def entities(**texts):
    """A document type with these internal entities."""
    declared = "".join(f'<!ENTITY {name} "{text}">' for name, text in texts.items())
    return f"<!DOCTYPE service [{declared}]>"


def down(title):
    """The report of a run that found web down, under that title."""
    return report([service_down("web", title)], [restart("web", title)])


class DefinitionTest(unittest.TestCase):
    """One service, web, which the monitor says is down. Defined, it is in the report."""

    def setUp(self):
        self.panel = Panel()
        self.panel.remove_definitions()
        self.panel.fake_monitor({"web": 1})

    def status(self, *, env=None):
        done = self.panel.run("--status", env=env)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def check_title(self, text, title):
        self.panel.write_definition("web", text)
        self.assertTrue(self.status() == down(title))  # too long to be shown

    def check_unknown(self, text):
        self.panel.write_definition("web", text)
        self.panel.forget_calls()
        self.assertEqual(self.status(), report())
        self.assertEqual(self.panel.calls(), [])


class SizeTest(DefinitionTest):
    def test_a_hundred_thousand_ports(self):
        numbers = [str(1 + i % 65535) for i in range(100000)]
        ports = "".join(f'<port number="{number}"/>' for number in numbers)
        self.check_title(definition('<title xml:lang="en-US">T</title>'
                                    f"<checks>{ports}</checks>"), "T")
        lines = self.panel.calls()[0].control_file.splitlines()
        self.assertTrue(lines[2:] == [f"\tif failed port {n} then alert" for n in numbers])

    def test_many_unknown_elements(self):
        self.check_title(definition("<x/>" * 300000 + '<title xml:lang="en-US">T</title>'
                                    + CHECKS), "T")

    def test_a_title_below_libxml2s_limit_is_reported_whole(self):
        self.check_title(titled("x" * 9000000), "x" * 9000000)

    def test_a_text_beyond_libxml2s_limit_is_not_well_formed(self):
        long = "x" * 11000000
        for text in (titled(long), titled("T") + f"<!--{long}-->", definition(f'<x y="{long}"/>')):
            with self.subTest(text[:100]):
                self.check_unknown(text)

    def test_deeply_nested_elements(self):
        self.check_title(definition("<x>" * 200 + "</x>" * 200 + '<title xml:lang="en-US">'
                                    + "<x>" * 200 + "T" + "</x>" * 200 + f"</title>{CHECKS}"), "T")

    def test_elements_nested_beyond_libxml2s_limit_are_not_well_formed(self):
        self.check_unknown(definition("<x>" * 10000 + "</x>" * 10000 + CHECKS))


class EntityTest(DefinitionTest):
    def test_internal_entities_stand_for_their_text_everywhere(self):
        self.panel.write_definition("web", definition(
            '<title xml:lang="en-US">a &one; b</title><action type="start">echo &two;</action>'
            '<checks><pid-file>/run/&one;</pid-file><port number="&port;"/></checks>',
            entities(one="x<b>y</b>z", two="two &one;", port="80")))
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual(done.stdout, report(
            [service_down("web", "a xyz b")],
            [restart("web", "a xyz b", status="ok", log="two xyz\n")]))
        self.assertEqual(self.panel.calls()[0].control_file,
                         "check process web\n\twith pidfile \"/run/xyz\"\n"
                         "\tif failed port 80 then alert\n")

    def test_an_entity_that_holds_itself_is_not_well_formed(self):
        self.check_unknown(titled("&a;", entities(a="&b;", b="&a;")))

    def test_entities_that_multiply_are_not_well_formed(self):
        laughs = {f"e{level}": f"&e{level - 1};" * 10 for level in range(1, 10)}
        declarations = entities(e0="ha", **laughs)
        for text in (titled("&e9;", declarations),
                     definition('<title xml:lang="en-US">T</title><action type="start">&e9;'
                                "</action>" + CHECKS, declarations),
                     definition("<checks><pid-file>&e9;</pid-file></checks>", declarations),
                     definition('<checks><port number="1" protocol="&e9;"/></checks>',
                                declarations)):
            with self.subTest(text[-200:]):
                self.check_unknown(text)

    def test_a_long_entity_referenced_often_is_just_a_long_text(self):
        long = "x" * 10000
        declarations = entities(long=long)
        references = "&long;" * 500
        self.check_title(titled(references, declarations), long * 500)
        self.panel.forget_calls()
        self.check_title(definition(
            f"<action type='start'>: {references}</action><checks><pid-file>{references}</pid-file>"
            f'<port number="1" protocol="{references}"/></checks>', declarations), "")
        self.assertTrue(self.panel.calls()[0].control_file ==
                        f'check process web\n\twith pidfile "{long * 500}"\n'
                        f"\tif failed port 1 protocol {long * 500} then alert\n")

    def test_a_command_longer_than_the_system_takes_fails(self):
        # An argument of a program has at most 128 KiB.
        self.panel.write_definition("web", definition(
            f"<action type='start'>: {'&long;' * 500}</action>", entities(long="x" * 10000)))
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual(done.stdout, report(actions=[restart("web", "", status="error")]))


class OtherFilesTest(DefinitionTest):
    """A definition that refers to other files or hosts: nothing is opened, nothing is asked."""

    def setUp(self):
        super().setUp()
        self.file = pathlib.Path("/usr/local/kvr/other")

    def repaired(self, declarations, title="&e;", content=SECRET, env=None):
        """Repairs web, whose title and start command hold `title`, and returns the report."""
        self.file.write_text(content, encoding="utf-8")
        self.panel.write_definition("web", definition(
            f'<title xml:lang="en-US">T{title}</title><action type="start">{title}</action>',
            declarations))
        done, calls = traced(self.panel, "%file,%network", "--repair", "restart-service:web",
                             env=env)
        touched = [call for call in own(calls) if "/usr/local/kvr/other" in call.arguments
                   or "AF_INET" in call.arguments]
        self.assertEqual(touched, [])
        self.assertFalse(pathlib.Path("/usr/local/kvr/stolen").exists())
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def test_an_external_entity_is_empty(self):
        for where in ('SYSTEM "file:///usr/local/kvr/other"', 'SYSTEM "/usr/local/kvr/other"',
                      'SYSTEM "../usr/local/kvr/other"', 'SYSTEM "http://127.0.0.1/other"',
                      'SYSTEM "ftp://127.0.0.1/other"',
                      'PUBLIC "-//Other//EN" "file:///usr/local/kvr/other"'):
            with self.subTest(where):
                self.assertEqual(self.repaired(f"<!DOCTYPE service [<!ENTITY e {where}>]>"),
                                 report(actions=[restart("web", "T", status="ok")]))

    def test_an_external_entity_in_an_attribute_is_not_well_formed(self):
        self.assertEqual(
            self.repaired('<!DOCTYPE service [<!ENTITY e SYSTEM "file:///usr/local/kvr/other">]>',
                          title="<x y='&e;'/>"), report())

    def test_an_external_document_type_is_not_read(self):
        content = f'<!ENTITY e "{SECRET}">'
        for where in ("file:///usr/local/kvr/other", "http://127.0.0.1/other"):
            with self.subTest(where):
                self.assertEqual(
                    self.repaired(f'<!DOCTYPE service SYSTEM "{where}">', content=content),
                    report(actions=[restart("web", "T", status="ok")]))

    def test_an_external_parameter_entity_is_not_read(self):
        content = f'<!ENTITY e "{SECRET}">'
        for where in ("file:///usr/local/kvr/other", "http://127.0.0.1/other"):
            with self.subTest(where):
                declarations = f'<!DOCTYPE service [<!ENTITY % p SYSTEM "{where}"> %p;]>'
                self.assertEqual(self.repaired(declarations, title="", content=content),
                                 report(actions=[restart("web", "T", status="ok")]))
                # What it would have declared stays undeclared.
                self.assertEqual(self.repaired(declarations, content=content), report())

    def test_an_inclusion_is_an_unknown_element(self):
        include = ('<xi:include xmlns:xi="http://www.w3.org/2001/XInclude" parse="text" '
                   'href="file:///usr/local/kvr/other"/>')
        self.assertEqual(self.repaired("", title=include),
                         report(actions=[restart("web", "T", status="ok")]))

    def test_processing_instructions_do_nothing(self):
        self.assertEqual(
            self.repaired('<?oasis-xml-catalog catalog="/usr/local/kvr/other"?>'
                          '<?xml-stylesheet href="file:///usr/local/kvr/other"?>', title=""),
            report(actions=[restart("web", "T", status="ok")]))

    def test_a_catalogue_gives_a_document_type_no_file(self):
        write_catalogue("/usr/local/kvr/type", "/usr/local/kvr/other")
        self.assertEqual(
            self.repaired('<!DOCTYPE service SYSTEM "/usr/local/kvr/type">',
                          content=f'<!ENTITY e "{SECRET}">', env=CATALOGUE),
            report(actions=[restart("web", "T", status="ok")]))


CATALOGUE = {"XML_CATALOG_FILES": "/usr/local/kvr/catalogue.xml"}


def write_catalogue(name, path):
    """Writes an XML catalogue that has `path` stand for `name`."""
    pathlib.Path("/usr/local/kvr/catalogue.xml").write_text(
        '<catalog xmlns="urn:oasis:names:tc:entity:xmlns:xml:catalog">'
        f'<system systemId="{name}" uri="{path}"/><uri name="{name}" uri="{path}"/></catalog>',
        encoding="utf-8")


class CatalogueTest(DefinitionTest):
    """libxml2's catalogues, which can put one file in place of another."""

    def setUp(self):
        super().setUp()
        write_catalogue("/service/web.xml", "/usr/local/kvr/other")
        pathlib.Path("/usr/local/kvr/other").write_text(titled("Other"), encoding="utf-8")

    def test_a_definition_is_not_replaced(self):
        self.panel.write_definition("web", titled("Web"))
        self.assertEqual(self.status(env=CATALOGUE), down("Web"))

    def test_a_definition_that_is_missing_is_not_replaced(self):
        self.assertEqual(self.status(env=CATALOGUE), report())

    def test_no_catalogue_is_read(self):
        _, calls = traced(self.panel, "openat", "--status", env=CATALOGUE)
        self.assertEqual([call for call in calls
                          if "/etc/xml" in call.arguments or "catalogue.xml" in call.arguments], [])


class EncodingTest(DefinitionTest):
    def test_a_byte_order_mark(self):
        for codec in ("utf-8", "utf-16-le", "utf-16-be"):
            with self.subTest(codec):
                self.check_title(("\ufeff" + titled("läuft €")).encode(codec), "läuft €")

    def test_a_declared_encoding(self):
        for codec in ("utf-8", "utf-16-le", "utf-16-be", "utf-7", "iso8859-15", "cp1252"):
            with self.subTest(codec):
                name = codec.upper().replace("-LE", "LE").replace("-BE", "BE")
                name = name.replace("ISO8859", "ISO-8859")
                text = titled("läuft €", f'<?xml version="1.0" encoding="{name}"?>')
                self.check_title(text.encode(codec), "läuft €")

    def test_an_encoding_that_is_unknown_or_wrong(self):
        for codec, declared in (("utf-8", "X-NONE"), ("utf-8", "UTF-16"), ("latin-1", None),
                                ("latin-1", "UTF-8"), ("utf-16-le", None), ("utf-32", None)):
            with self.subTest(codec=codec, declared=declared):
                declaration = f'<?xml version="1.0" encoding="{declared}"?>' if declared else ""
                self.check_unknown(titled("läuft", declaration).encode(codec))

    def test_bytes_that_are_no_utf8(self):
        for text in (b"\xe4", b"\xc0\x80", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xc3",
                     b"\xef\xbf\xbe"):
            with self.subTest(text):
                self.check_unknown(titled("here").encode().replace(b"here", text))

    def test_characters_that_xml_does_not_have(self):
        for text in ("\0", "\1", "\x1b[31m", "&#0;", "&#1;", "&#xD800;", "&#x110000;"):
            with self.subTest(text):
                self.check_unknown(titled(text))


class FileTest(DefinitionTest):
    def test_an_empty_file(self):
        for content in (b"", b" \n", b"\xef\xbb\xbf", b"\0", b"\0" * 5000):
            with self.subTest(content):
                self.check_unknown(content)

    def test_a_file_cut_anywhere(self):
        whole = titled("läuft", '<?xml version="1.0" encoding="UTF-8"?>').encode()
        for length in range(len(whole) - 12, len(whole)):
            self.check_unknown(whole[:length])
        self.check_unknown(whole[:whole.index(b"\xa4")])  # in the middle of a character

    def test_more_after_the_root_element(self):
        self.check_unknown(titled("T") + "more")
        self.check_unknown(titled("T") + titled("T"))

    def test_a_compressed_file_is_read(self):
        self.check_title(gzip.compress(titled("T").encode()), "T")

    def test_a_directory(self):
        (SERVICES / "web.xml").mkdir()
        self.assertEqual(self.status(), report())

    def test_links_that_lead_nowhere_or_to_no_text(self):
        for target in ("web.xml", "missing", "/dev/null", "/dev/zero", "/proc/self/mem"):
            with self.subTest(target):
                os.symlink(target, SERVICES / "web.xml")
                self.assertEqual(self.status(), report())
                self.panel.remove_definitions()


if __name__ == "__main__":
    unittest.main()
