# SPDX-License-Identifier: MIT
"""The page that report-html.xsl makes of a report, in a real browser."""

import functools
import pathlib
import re
import tempfile
import unittest
import xml.etree.ElementTree

from browser import Browser
from panel import Action, Problem, report, restart, service_down
from views import REPORTS, recorded, show

PHONE = 360  # CSS pixels
LONG_LOG = "".join(f"line {number}\n" for number in range(500))
MANY = report([service_down(f"s{number:03}") for number in range(200)],
              [restart(f"s{number:03}") for number in range(200)])
# Everything that a page can have.
EVERYTHING = report(
    [Problem("a", "Bearable.", "minor", ("one", "two"), "two"),
     Problem("b", "Bad.", "major", ("one",), "one"), Problem("c", "Terrible.", "critical"),
     Problem("d", "Anything.", None), Problem("upgrade", "Upgrade is in progress.", "minor")],
    [Action("one", "First."), Action("three", "Third.", status="ok", log="done\n"),
     Action("two", "Second."), Action("x", "Failed.", status="error", log=LONG_LOG),
     Action("y", "Silent.", status="ok")])
REPORTS_TO_TRY = {path.name: path.read_bytes() for path in sorted(REPORTS.iterdir())} | {
    "two hundred problems": MANY, "everything": EVERYTHING}

OPEN_ALL = "document.querySelectorAll('details').forEach(each => each.open = true)"

# The text elements whose contrast is less than WCAG 2's level AA asks for, and the number of all.
# A colour is what is painted by the nearest ancestors until one is opaque.
LOW_CONTRASTS = r"""(() => {
  const parse = text => text.match(/[\d.]+/g).map(Number);
  const over = ([r, g, b, a = 1], below) =>
      [r, g, b].map((value, i) => value * a + below[i] * (1 - a));
  const background = element => {
    if (!element) return [255, 255, 255];
    const own = parse(getComputedStyle(element).backgroundColor);
    return own.length === 3 ? own : over(own, background(element.parentElement));
  };
  const luminance = colour => {
    const [r, g, b] = colour.map(value => value / 255)
        .map(value => value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const ratio = (one, other) => {
    const [low, high] = [luminance(one), luminance(other)].sort((a, b) => a - b);
    return (high + 0.05) / (low + 0.05);
  };
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  const elements = new Set(document.querySelectorAll(".symbol"));
  while (walker.nextNode()) {
    const parent = walker.currentNode.parentElement;
    if (walker.currentNode.data.trim() && parent.getClientRects().length) elements.add(parent);
  }
  const low = [];
  for (const element of elements) {
    const style = getComputedStyle(element), below = background(element);
    const found = ratio(over(parse(style.color), below), below);
    const isSymbol = element.classList.contains("symbol");
    if (found < (isSymbol ? 3 : 4.5)) {
      low.push(`${element.tagName}.${element.className} ${found.toFixed(2)}`);
    }
  }
  return [low, elements.size];
})()"""

# What reaches beyond a side of the window, or is cut off at a side of its own.
TOO_WIDE = """[...document.querySelectorAll("body *:not(.spoken)")].filter(each => {
  const box = each.getBoundingClientRect();
  const isCut = each.clientWidth > 0 && each.scrollWidth > each.clientWidth + 1;
  return box.left < -0.5 || box.right > innerWidth + 0.5
      || isCut && getComputedStyle(each).display !== "inline";
}).map(each => each.outerHTML.slice(0, 80))"""


@functools.cache
def page_of(document, **parameters):
    return show("html", document, **parameters)


class PageTestCase(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.browser = cls.enterClassContext(Browser())
        cls.directory = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))

    def setUp(self):
        self.browser.view()

    def load(self, document, **parameters):
        """Shows the page of a report, or of the recorded one of that name."""
        if isinstance(document, str):
            document = recorded(document)
        page = self.directory / "page.html"
        page.write_text(page_of(document, **parameters), encoding="utf-8")
        self.browser.load(page)

    def run_script(self, script):
        return self.browser.run(script)

    def each(self, selector, expression):
        """The values of an expression in `each`, for each element that the selector finds."""
        return self.run_script(
            f"[...document.querySelectorAll({selector!r})].map(each => {expression})")

    def texts(self, selector):
        return self.each(selector, "each.textContent")


class EveryPageTest(PageTestCase):
    """What is true of the page of any report."""

    def check_each(self, check, **parameters):
        """Shows the page of each report and calls `check` with the report as an XML tree."""
        for name, document in REPORTS_TO_TRY.items():
            with self.subTest(name):
                self.load(document, **parameters)
                self.run_script(OPEN_ALL)
                check(xml.etree.ElementTree.fromstring(document))

    def test_the_browser_has_nothing_to_say_and_nothing_else_to_load(self):
        def check(_):
            self.assertEqual(self.browser.events(
                "Log.entryAdded", "Runtime.consoleAPICalled", "Runtime.exceptionThrown"), [])
            self.assertEqual([request["request"]["url"] for request
                              in self.browser.events("Network.requestWillBeSent")],
                             [f"file://{self.directory}/page.html"])
            self.assertEqual(self.run_script("document.compatMode"), "CSS1Compat")

        self.check_each(check)

    def test_contrast_in_light_and_dark(self):
        def check(_):
            low, number = self.run_script(LOW_CONTRASTS)
            self.assertEqual(low, [])
            self.assertGreaterEqual(number, 3)
            page = self.run_script("getComputedStyle(document.body).backgroundColor")
            self.assertEqual(int(re.search(r"\d+", page)[0]) > 127, scheme == "light")

        for scheme in ("light", "dark"):
            self.browser.view(scheme=scheme)
            self.check_each(check)

    def test_a_phone_has_to_scroll_downwards_only(self):
        def check(_):
            self.assertEqual(self.run_script("document.documentElement.scrollWidth"), width)
            self.assertEqual(self.run_script(TOO_WIDE), [])

        for width in (PHONE, 320):
            self.browser.view(width=width, height=640)
            self.check_each(check, host="a-very-long-name-of-a-host." * 5)

    def test_texts_arrive_as_they_are(self):
        def check(root):
            repairs = [action for action in root.findall("action")
                       if action.find("status") is not None]
            items = [*repairs, *root.findall("problem")]
            self.assertCountEqual(self.texts(".card > h3"),
                                  [each.findtext("message") or each.get("id") for each in items])
            self.assertCountEqual(self.texts(".card > .id"), [each.get("id") for each in items])
            # A page has one kind of line ends.
            self.assertEqual(self.texts("pre"), [log.replace("\r\n", "\n") for each in repairs
                                                 if (log := each.findtext("log"))])

        self.check_each(check)

    def test_headings_go_down_step_by_step(self):
        def check(_):
            levels = self.each("h1, h2, h3", "Number(each.tagName[1])")
            self.assertEqual(levels.count(1), 1)
            self.assertTrue(all(next <= level + 1 for level, next in zip(levels, levels[1:])))

        self.check_each(check)

    def test_severity_and_outcome_are_words_and_symbols_of_their_own(self):
        self.load(EVERYTHING)
        badges = dict(zip(self.texts(".card > .badge"), self.each(
            ".card > .badge use", "each.getAttribute('href')")))
        self.assertEqual(badges, {
            "Critical": "#symbol-critical", "Major": "#symbol-major", "Minor": "#symbol-minor",
            "Not rated": "#symbol-unrated", "Succeeded": "#symbol-ok", "Failed": "#symbol-error"})
        shapes = self.each("symbol path", "each.getAttribute('d')")
        self.assertEqual(len(set(shapes)), len(badges))
        for width, height in self.each(".card > .badge use",
                                       "[each.getBBox().width, each.getBBox().height]"):
            self.assertGreater(min(width, height), 10)


class ContentTest(PageTestCase):
    """What a page says."""

    def test_all_well(self):
        self.load("all_well", host="panel.example", time="2026-11-21 12:00 UTC")
        self.assertEqual(self.run_script("document.body.innerText.split(/\\n+/)"), [
            "Service report", "panel.example", "2026-11-21 12:00 UTC", "No problems found"])
        self.assertEqual(self.run_script("document.title"),
                         "No problems found – panel.example – Service report")

    def test_the_worst_comes_first_and_the_numbers_are_told(self):
        self.load(EVERYTHING)
        self.assertEqual(self.texts("h1"), ["Problems: 5"])
        self.assertEqual(self.texts(".counts li"),
                         ["Critical 1", "Major 1", "Minor 2", "Not rated 1"])
        self.assertEqual(self.texts("section:last-child h3"),
                         ["Terrible.", "Bad.", "Bearable.", "Upgrade is in progress.", "Anything."])

    def test_an_upgrade_says_what_is_not_known(self):
        self.load("upgrade")
        self.assertEqual(self.texts(".note"),
                         ["Services are not checked while an upgrade is in progress."])

    def test_proposals(self):
        self.load(EVERYTHING)
        self.assertEqual(self.texts(".proposal .label"), [
            "Proposed repair", "Proposed repair – recommended", "Proposed repair"])
        self.assertEqual(self.texts(".proposal .label + p"), ["First.", "Second.", "First."])
        self.assertEqual(self.texts(".command code"), [
            "keldoctl --repair one", "keldoctl --repair two", "keldoctl --repair one",
            "keldoctl --repair two one"])

    def test_commands_quote_ids_for_the_shell(self):
        self.load("odd_ids")
        self.assertEqual(self.texts(".proposal code")[1:5], [
            "keldoctl --repair 'restart-service:$(touch x)'",
            "keldoctl --repair 'restart-service:*'",
            "keldoctl --repair 'restart-service:`touch x`'",
            "keldoctl --repair 'restart-service:a b'"])
        self.load(report([Problem("p", "P", actions=("it's",))]))
        self.assertEqual(self.texts(".command code"), ["keldoctl --repair 'it'\\''s'"])

    def test_the_output_is_open_where_a_repair_failed(self):
        self.load(EVERYTHING)
        self.assertEqual(self.each(".card details", "each.open"), [False, True])
        self.assertEqual(self.texts(".silent"), ["No output"])

    def test_two_hundred_problems(self):
        self.load(MANY)
        self.assertEqual(self.run_script("document.querySelectorAll('.card').length"), 200)
        self.assertEqual(self.texts(".counts li"), ["Major 200"])


class LanguageTest(PageTestCase):
    def page_language(self):
        return self.run_script("(({lang, dir}) => [lang, dir])(document.documentElement)")

    def test_the_page_is_in_the_language_of_the_report(self):
        self.load("two_down_in_german")
        self.assertEqual(self.texts("h1"), ["Probleme: 2"])
        self.assertEqual(self.page_language(), ["de", "ltr"])
        self.assertEqual(set(self.each("h3, .label + p", "each.lang")), {"de-DE"})

    def test_texts_that_are_in_another_language_say_so(self):
        self.load(report([Problem("a", "Eins.", language="de-DE"), Problem("b", "Two.")]))
        self.assertEqual(self.each("h3", "each.lang"), ["de-DE", "en-US"])

    def test_a_text_that_is_missing_is_in_no_language(self):
        self.load("odd_texts")
        self.assertEqual(self.each("section:last-child h3", "each.lang"), ["", "en-US", "en-US"])

    def test_the_page_turns_for_a_language_from_right_to_left(self):
        self.browser.view(width=PHONE)
        self.load("repair_in_hebrew")
        self.assertEqual(self.page_language(), ["en", "rtl"])
        self.assertEqual(set(self.each("h3, .label + p", "each.lang")), {"he-IL"})
        self.assertEqual(self.each(".card", """(({borderLeftWidth, borderRightWidth}) =>
            [borderLeftWidth, borderRightWidth])(getComputedStyle(each))"""), [["1px", "5px"]] * 2)
        # The symbol is on the right of its word.
        self.assertEqual(self.each(".badge", """each.firstChild.getBoundingClientRect().left
            > each.getBoundingClientRect().left + 20"""), [True] * 2)
        self.assertEqual(self.each("h3", "getComputedStyle(each).direction"), ["rtl"] * 2)
        # Commands and ids stay as they are typed.
        self.assertEqual(set(self.each("code", "getComputedStyle(each).direction")), {"ltr"})

    def test_a_text_from_right_to_left_keeps_to_itself_on_another_page(self):
        self.load(report([Problem("a", "Eins.", language="de-DE"),
                          Problem("b", "שירות.", language="he-IL")]))
        self.assertEqual(self.page_language(), ["de", "ltr"])
        self.assertEqual(self.each("h3", "getComputedStyle(each).direction"), ["ltr", "rtl"])


class UseTest(PageTestCase):
    """Reading and copying by keyboard, by touch, and without a script."""

    # What has the focus: the tag, and the text that tells it from others.
    FOCUSED = """(e => [e.tagName, (e.parentElement.querySelector("code") ?? e).textContent
        .slice(0, 24)])(document.activeElement)"""

    def tab(self):
        self.browser.press("Tab", 9)
        return self.run_script(self.FOCUSED)

    def test_the_keyboard_goes_through_the_page_in_its_order(self):
        self.load("repair_failed")
        self.assertEqual([self.tab() for _ in range(4)], [
            ["SUMMARY", "Output"], ["SUMMARY", "Output"], ["PRE", "web: line 1 of the journ"],
            ["BUTTON", "keldoctl --repair restar"]])
        self.tab()
        self.assertEqual(self.run_script("document.activeElement.tagName"), "BODY")

    def test_the_focus_is_seen(self):
        for scheme in ("light", "dark"):
            self.browser.view(scheme=scheme)
            self.load("repair_failed")
            for _ in range(4):
                self.tab()
                self.assertEqual(self.run_script(
                    "(s => [s.outlineStyle, s.outlineWidth])"
                    "(getComputedStyle(document.activeElement))"), ["solid", "3px"])

    def test_a_long_output_scrolls_by_the_keyboard(self):
        self.load("repair_failed")
        self.run_script("window.scrolled = new Promise(done => document.querySelector('[open] pre')"
                        ".addEventListener('scrollend', done)); 0")
        for _ in range(3):
            self.tab()
        self.browser.press("PageDown", 34)
        self.run_script("window.scrolled.then(() => 0)")
        self.assertGreater(self.run_script("document.activeElement.scrollTop"), 100)

    def copied(self):
        return self.run_script("navigator.clipboard.readText()")

    def test_a_button_copies_its_command(self):
        self.browser.call("Browser.grantPermissions",
                          permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        self.load(report([Problem("p", "P", actions=("a  b'c\"&<", "d"))]))
        self.tab()
        self.run_script("""window.said = new Promise(done => new MutationObserver(done)
            .observe(document.getElementById("status"), {childList: true})); 0""")
        self.browser.press("Enter", 13, "\r")
        self.run_script("window.said.then(() => 0)")
        self.assertEqual(self.copied(), "keldoctl --repair 'a  b'\\''c\"&<'")
        self.assertEqual(self.texts("button, #status"), ["Copied", "Copy", "Copied"])
        self.tab()
        self.assertEqual(self.texts("button, #status"), ["Copy", "Copy", ""])

    def test_a_button_tells_what_it_copies(self):
        self.load("two_down_in_german")
        self.browser.call("Accessibility.enable")
        nodes = self.browser.call("Accessibility.getFullAXTree")["nodes"]
        buttons = [(node["name"]["value"], node["description"]["value"]) for node in nodes
                   if node["role"]["value"] == "button"]
        self.assertEqual(buttons, [
            ("Kopieren", "keldoctl --repair restart-service:mail"),
            ("Kopieren", "keldoctl --repair restart-service:web")])

    def test_where_copying_is_not_allowed_the_command_is_selected(self):
        self.load("one_down")
        self.run_script("navigator.clipboard.writeText = () => Promise.reject(new Error()); 0")
        self.run_script("window.selected = new Promise(done =>"
                        " document.addEventListener('selectionchange', done)); 0")
        self.tab()
        self.browser.press("Enter", 13, "\r")
        self.run_script("window.selected.then(() => 0)")
        self.assertEqual(self.run_script("getSelection().toString()"),
                         "keldoctl --repair restart-service:web")

    def test_buttons_are_large_enough_for_a_finger(self):
        for width in (320, 360, 390, 412, 480, 600, 1024):
            with self.subTest(width):
                self.browser.view(width=width)
                self.load("two_down_in_german")
                heights = self.each(".proposal button", "each.getBoundingClientRect().height")
                self.assertGreaterEqual(min(heights), 40)
                # Their word is in one line.
                words = self.each(".proposal button", """(range => {
                    range.selectNodeContents(each);
                    return range.getClientRects().length;
                })(new Range())""")
                self.assertEqual(words, [1, 1])

    def test_without_a_script_nothing_is_missing_but_the_buttons(self):
        self.browser.call("Emulation.setScriptExecutionDisabled", value=True)
        self.addCleanup(self.browser.call, "Emulation.setScriptExecutionDisabled", value=False)
        self.load("two_down_in_german")
        self.assertEqual(self.texts("button"), [])
        self.assertEqual(len(self.texts(".command code")), 3)
        self.assertEqual(set(self.each(".command code", "getComputedStyle(each).userSelect")),
                         {"all"})


if __name__ == "__main__":
    unittest.main()
