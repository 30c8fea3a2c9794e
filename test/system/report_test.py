# SPDX-License-Identifier: MIT
"""Odd texts in a report: what libxml2 makes of them as element content and as attributes."""

import unittest

from panel import Panel


class TextTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()
        for service in ("mysql", "keldo", "smtp", "dns", "mail"):
            self.panel.write_definition(service, None)

    def log_of(self, commands, **options):
        """What stands between the log tags of a repair with these commands."""
        self.panel.write_service("web", start=commands)
        done = self.panel.run("--repair", "restart-service:web", **options)
        return done.stdout.partition(b"<log>")[2].partition(b"</log>")[0]

    def test_angle_brackets_and_quotes(self):
        self.assertEqual(self.log_of("""echo "<a b='c'>" '"'"""), b"&lt;a b='c'&gt; \"\n")

    def test_a_carriage_return_is_a_character_reference(self):
        self.assertEqual(self.log_of(r"printf 'a\r\nb'"), b"a&#13;\nb")

    def test_an_entity_reference_is_one(self):
        self.assertEqual(self.log_of("echo 'a &amp; b &lt; &#65; &#x42;'"), b"a &amp; b &lt; A B\n")

    # No XML parser takes a report with a reference to what is not defined, so neither does a schema.

    def test_an_unknown_entity_stays_a_reference(self):
        self.assertEqual(self.log_of("echo 'a &unknown; b'", by_schema=False), b"a &unknown; b\n")

    def test_a_bare_ampersand_is_what_libxml2_makes_of_it(self):
        self.assertEqual(self.log_of("echo 'salt & pepper; more'", by_schema=False),
                         b"salt & pepper; more\n")

    def test_a_bare_ampersand_without_a_semicolon_loses_the_text(self):
        self.assertEqual(self.log_of("echo 'salt & pepper'"), b"")

    def test_utf8_stays(self):
        self.assertEqual(self.log_of("printf 'l\\303\\244uft \\342\\202\\254'"),
                         "läuft €".encode())

    def test_ids_are_escaped_as_attributes(self):
        self.panel.write_service("web", own_id="a<b>&\"c'", ports=[(80, {})], title="T & <T>")
        self.panel.fake_monitor(script="#!/bin/sh\ncat <<'END'\n<monit><service><name>"
                                       "a&lt;b></name><status>1</status></service></monit>\nEND\n")
        self.assertEqual(self.panel.run("--status").stdout.count(b"problem id"), 0)
        self.panel.write_service("web", own_id='a<b>&"c', title="T")
        self.panel.fake_monitor({'a<b>&"c': 1})
        self.assertIn(b'<problem id="service-down:a&lt;b&gt;&amp;&quot;c">',
                      self.panel.run("--status").stdout)


if __name__ == "__main__":
    unittest.main()
