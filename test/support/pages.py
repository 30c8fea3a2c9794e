# SPDX-License-Identifier: MIT
"""Loads views that are pages into a browser, for tests."""

import functools
import pathlib
import tempfile
import unittest
import xml.etree.ElementTree

from browser import Browser
from panel import PROJECT
from views import show

PHONE = 360  # CSS pixels

OPEN_ALL = "document.querySelectorAll('details').forEach(each => each.open = true)"

# The elements that are wider than the window or cut off their own content.
TOO_WIDE = """[...document.querySelectorAll("body *:not(.spoken)")].filter(each => {
  const box = each.getBoundingClientRect();
  const isCut = each.clientWidth > 0 && each.scrollWidth > each.clientWidth + 1;
  return box.left < -0.5 || box.right > innerWidth + 0.5
      || isCut && getComputedStyle(each).display !== "inline";
}).map(each => each.outerHTML.slice(0, 80))"""

# Returns what axe-core finds and what it cannot decide. Leaves out the contrast of a long output:
# axe-core cannot see all of it, and a short output has the same colours.
RUN_AXE = """axe.run(%s).then(found =>
    [found.violations, found.incomplete].flat().flatMap(rule => rule.nodes.map(
        node => `${rule.id}: ${node.html.slice(0, 90)}`)).filter(
        text => !/^color-contrast: <pre.*"Whole output/.test(text)))"""


@functools.cache
def page_of(view, document, **parameters):
    return show(view, document, **parameters)


class PageTestCase(unittest.TestCase):
    """Shows pages of the view named VIEW. The documents of some checks are DOCUMENTS, by name."""

    maxDiff = None
    VIEW = None
    DOCUMENTS = None

    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())
        cls.directory = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))

    def setUp(self):
        self.browser.view()

    def load(self, document, **parameters):
        """Shows the page of a document."""
        self.load_html(page_of(self.VIEW, document, **parameters))

    def load_html(self, html):
        page = self.directory / "page.html"
        page.write_text(html, encoding="utf-8")
        self.browser.load(page)

    def run_script(self, script):
        return self.browser.run(script)

    def each(self, selector, expression):
        """The values of an expression in `each`, for each element that the selector finds."""
        return self.run_script(
            f"[...document.querySelectorAll({selector!r})].map(each => {expression})")

    def texts(self, selector):
        return self.each(selector, "each.textContent")

    def check_each(self, check, **parameters):
        """Shows the opened page of each document, then calls `check` with the document's XML tree."""
        for name, document in self.DOCUMENTS.items():
            with self.subTest(name):
                self.load(document, **parameters)
                self.run_script(OPEN_ALL)
                check(xml.etree.ElementTree.fromstring(document))

    def check_phones(self, **parameters):
        """Checks that the page of each document fits into the width of phones."""
        def check(_):
            self.assertEqual(self.run_script("document.documentElement.scrollWidth"), width)
            self.assertEqual(self.run_script(TOO_WIDE), [])

        for width in (PHONE, 320):
            self.browser.view(width=width, height=640)
            self.check_each(check, **parameters)

    def check_that_nothing_else_is_loaded(self):
        """Also checks that the browser has logged nothing."""
        self.assertEqual(self.browser.events(
            "Log.entryAdded", "Runtime.consoleAPICalled", "Runtime.exceptionThrown"), [])
        self.assertEqual([request["request"]["url"] for request
                          in self.browser.events("Network.requestWillBeSent")],
                         [f"file://{self.directory}/page.html"])
        self.assertEqual(self.run_script("document.compatMode"), "CSS1Compat")

    def check_accessibility(self, pages):
        """Checks pages, opened, in both schemes, by the rules of axe-core for WCAG 2.2 and for good
        practice. The test "axe" fetches it."""
        axe = (PROJECT / "build/axe/package/axe.min.js").read_text(encoding="utf-8")
        # Only the contrast differs in dark.
        for scheme, options in (("light", "{rules: {'target-size': {enabled: true}}}"),
                                ("dark", "{runOnly: ['color-contrast']}")):
            self.browser.view(scheme=scheme)
            for name, page in pages.items():
                with self.subTest(name, scheme=scheme):
                    self.load_html(page)
                    self.run_script(OPEN_ALL)
                    self.run_script(axe + "; 0")
                    self.assertEqual(self.run_script(RUN_AXE % options), [])
