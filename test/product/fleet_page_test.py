# SPDX-License-Identifier: MIT
"""The page of a fleet document (fleet-html.xsl) in a real browser."""

import re
import subprocess
import unittest

import made_fleets
from made_fleets import (full_disk, host, outcome, service, smtp_refused, timed_out, unreachable,
                         web_down)
from pages import OPEN_ALL, PHONE, TOO_WIDE, PageTestCase, page_of
from views import DIRECTIONS

MARKUP = "<script>document.title = 'x'</script><img src=x onerror=alert(1)>&amp;\"'"
WELL = made_fleets.fleet(host("web1.example"), host("web2.example"))
TEN = made_fleets.ten()
UPGRADE = made_fleets.fleet(host("web1.example"), host("web2.example", "upgrade"))
NOT_KNOWN = made_fleets.fleet(
    host("web1.example", "unknown", *full_disk()), host("web2.example", "unknown"),
    made_fleets.unasked("web3.example"), timed_out("web4.example"), unreachable("web5.example"))
REPAIRED = made_fleets.fleet(
    host("web1.example", "well", outcome("restart-service:web")),
    host("web2.example", "problems", web_down(), outcome("restart-service:web", "failed")),
    host("web3.example", "well", outcome("restart-service:web")),
    host("web4.example", "problems", smtp_refused(),
         outcome("restart-service:smtp", "not_carried_out")), play="repair")
HOSTILE = made_fleets.fleet(
    host(f"a{MARKUP}", "problems", service("web", title=MARKUP, reason=MARKUP, repair=MARKUP),
         outcome(MARKUP, "failed"), file="a%3Cscript"),
    host("b" * 200, "failed", reason=("no_answer", MARKUP + "x" * 800)),
    host(DIRECTIONS, "unknown", service("x" * 190, "unknown", "odd", DIRECTIONS), file="%E2"),
    host("@file", "problems", web_down(), file="%40file"),
    host("javascript:alert(1)", "unreachable", reason=("unreachable", DIRECTIONS)))
DOCUMENTS = {"well": WELL, "ten": TEN, "upgrade": UPGRADE, "not known": NOT_KNOWN,
             "repaired": REPAIRED, "hostile": HOSTILE}


class FleetPageTestCase(PageTestCase):
    VIEW = "fleet-html"


class EveryPageTest(FleetPageTestCase):
    """Rules for the page of any fleet document."""

    def check_each(self, check):
        """Shows the page of each document, then calls `check`."""
        for name, document in DOCUMENTS.items():
            with self.subTest(name):
                self.load(document)
                self.run_script(OPEN_ALL)
                check()

    def test_the_browser_logs_nothing_and_loads_nothing_else(self):
        self.check_each(self.check_that_nothing_else_is_loaded)

    def test_a_phone_scrolls_downwards_only(self):
        def check():
            self.assertEqual(self.run_script("document.documentElement.scrollWidth"), width)
            self.assertEqual(self.run_script(TOO_WIDE), [])

        for width in (PHONE, 320):
            self.browser.view(width=width, height=640)
            self.check_each(check)


class AccessibilityTest(FleetPageTestCase):
    def test_axe_core_finds_nothing(self):
        self.check_accessibility({name: page_of(self.VIEW, document)
                                  for name, document in DOCUMENTS.items()})


if __name__ == "__main__":
    unittest.main()
