# SPDX-License-Identifier: MIT
"""How a report writes markup, references and ampersands in texts and ids."""

import unittest

from panel import Panel


class TextTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()
        for service in ("mysql", "keldo", "smtp", "dns", "mail"):
            self.panel.write_definition(service, None)

    def log_of(self, output):
        """The log of a repair that prints `output`, as the report has it between the tags."""
        file = self.panel.root / "output"
        file.write_bytes(output)
        self.panel.write_service("web", start=f"cat {file}")
        done = self.panel.run("--repair", "restart-service:web")
        return done.stdout.partition(b"<log>")[2].partition(b"</log>")[0]

    def check_logs(self, logs):
        """Checks pairs of what a repair prints and how its log is written."""
        for output, log in logs:
            with self.subTest(output):
                self.assertEqual(self.log_of(output), log)

    def test_characters_of_markup_are_escaped(self):
        self.check_logs(((b"<a b='c'> \"\n", b"&lt;a b='c'&gt; \"\n"), (b"a\r\nb", b"a&#13;\nb"),
                         (b"]]>", b"]]&gt;"), ("läuft €".encode(), "läuft €".encode())))

    def test_references_are_resolved(self):
        self.check_logs(((b"a &amp; b &lt; &#65; &#x42;", b"a &amp; b &lt; A B"),
                         (b"&gt;&quot;&apos;&#13;", b"&gt;\"'&#13;"),
                         (b"&#38;amp; &amp;lt;", b"&amp;amp; &amp;lt;"),
                         (b"&#0000000000065;&#x1F600;", "A\U0001f600".encode())))

    def test_other_ampersands_are_escaped(self):
        for text in (b"&", b"&&", b"&;", b"&amp", b"& lt;", b"&#0;", b"&#xD800;", b"&#x110000;",
                     b"&#65", b"&#xZ;", b"&#;", b"&#x;", b"&#X41;", b"&unknown;", b"a & b",
                     b"a & b; c", b"/?a=1&b=2", b"&am\np;", b"&#4294967361;"):
            self.check_logs(((text, text.replace(b"&", b"&amp;")),))

    def test_references_and_ampersands_at_the_ends_of_chunks(self):
        # keldoctl reads a command's output in chunks of 1023 bytes.
        text = b"&lt;&#65;&amp;&&x;"
        for before in range(1023 - len(text), 1024):
            self.assertEqual(self.log_of(b"x" * before + text),
                             b"x" * before + b"&lt;A&amp;&amp;&amp;x;", before)

    def test_ampersands_of_a_title_are_escaped(self):
        self.panel.write_service("web", title="R&D &amp;amp; <&lt;>")
        self.assertIn("Restart the R&amp;D &amp;amp; &lt;&lt;&gt; service.".encode(),
                      self.panel.run("--repair", "restart-service:web").stdout)

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
