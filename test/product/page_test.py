# SPDX-License-Identifier: MIT
"""The page of a report (report-html.xsl) in a real browser."""

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
# A report with each part that a page can have.
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

# The text elements with less contrast than level AA of WCAG 2 demands, and the number of all text
# elements. A background is the mixture of the colours of all ancestors up to the first opaque one.
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

# The elements that are wider than the window or cut off their own content.
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
        """Shows the page of a report, or of a recorded report, given by its name."""
        if isinstance(document, str):
            document = recorded(document)
        self.load_html(page_of(document, **parameters))

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


class EveryPageTest(PageTestCase):
    """Rules for the page of any report."""

    def check_each(self, check, **parameters):
        """Shows the page of each report, then calls `check` with the XML tree of the report."""
        for name, document in REPORTS_TO_TRY.items():
            with self.subTest(name):
                self.load(document, **parameters)
                self.run_script(OPEN_ALL)
                check(xml.etree.ElementTree.fromstring(document))

    def test_the_browser_logs_nothing_and_loads_nothing_else(self):
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

    def test_a_phone_scrolls_downwards_only(self):
        def check(_):
            self.assertEqual(self.run_script("document.documentElement.scrollWidth"), width)
            self.assertEqual(self.run_script(TOO_WIDE), [])

        for width in (PHONE, 320):
            self.browser.view(width=width, height=640)
            self.check_each(check, host="a-very-long-name-of-a-host." * 5)

    def test_texts_are_unchanged(self):
        def check(root):
            repairs = [action for action in root.findall("action")
                       if action.find("status") is not None]
            items = [*repairs, *root.findall("problem")]
            self.assertCountEqual(self.texts(".card > h3"),
                                  [each.findtext("message") or each.get("id") for each in items])
            self.assertCountEqual(self.texts(".card > .id"), [each.get("id") for each in items])
            # HTML has only line feeds.
            self.assertEqual(self.texts("pre"), [log.replace("\r\n", "\n") for each in repairs
                                                 if (log := each.findtext("log"))])

        self.check_each(check)

    def test_heading_levels_have_no_gap(self):
        def check(_):
            levels = self.each("h1, h2, h3", "Number(each.tagName[1])")
            self.assertEqual(levels.count(1), 1)
            self.assertTrue(all(next <= level + 1 for level, next in zip(levels, levels[1:])))

        self.check_each(check)

    def test_each_severity_and_outcome_has_a_word_and_a_symbol(self):
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


class SecurityPolicyTest(PageTestCase):
    def test_the_browser_runs_and_loads_nothing_of_a_text_that_became_markup(self):
        self.load_html(page_of(recorded("one_down")).replace("<main>", """<main>
            <script>document.title = "script"</script>
            <img id="image" src="data:," onerror="document.title = 'handler'">
            <style>main { display: none }</style><p id="text" style="display: none">x</p>
            <base href="https://example.invalid/">"""))
        self.assertEqual(self.run_script("document.title"), "Problems: 1 – Service report")
        self.assertEqual(self.each("main, #text", "getComputedStyle(each).display"),
                         ["block", "block"])
        self.assertTrue(self.run_script("document.baseURI").startswith("file:"))
        # Our own script has run.
        self.assertEqual(self.texts("button"), ["Copy"])


class ContentTest(PageTestCase):
    """The content of a page."""

    def test_no_problems(self):
        self.load("all_well", host="panel.example", time="2026-11-21 12:00 UTC")
        self.assertEqual(self.run_script("document.body.innerText.split(/\\n+/)"), [
            "Service report", "panel.example", "2026-11-21 12:00 UTC", "No problems found"])
        self.assertEqual(self.run_script("document.title"),
                         "No problems found – panel.example – Service report")

    def test_every_part_of_a_page(self):
        self.load(EVERYTHING)
        for selector, texts in (
                ("h1", ["Problems: 5"]),
                (".counts li", ["Critical 1", "Major 1", "Minor 2", "Not rated 1"]),
                ("section:last-child h3", ["Terrible.", "Bad.", "Bearable.",
                                           "Upgrade is in progress.", "Anything."]),
                (".note", ["Services are not checked while an upgrade is in progress."]),
                (".proposal .label", ["Proposed repair", "Proposed repair – recommended",
                                      "Proposed repair"]),
                (".proposal .label + p", ["First.", "Second.", "First."]),
                (".command code", ["keldoctl --repair one", "keldoctl --repair two",
                                   "keldoctl --repair one", "keldoctl --repair two one"]),
                (".silent", ["No output"])):
            with self.subTest(selector):
                self.assertEqual(self.texts(selector), texts)
        # Only the output of the failed repair is open.
        self.assertEqual(self.each(".card details", "each.open"), [False, True])

    def test_commands_quote_ids_for_the_shell(self):
        self.load("odd_ids")
        self.assertEqual(self.texts(".proposal code")[1:5], [
            f"keldoctl --repair 'restart-service:{service}'"
            for service in ("$(touch x)", "*", "`touch x`", "a b")])

    def test_two_hundred_problems(self):
        self.load(MANY)
        self.assertEqual(self.run_script("document.querySelectorAll('.card').length"), 200)
        self.assertEqual(self.texts(".counts li"), ["Major 200"])


class LanguageTest(PageTestCase):
    def test_languages_and_directions(self):
        german = Problem("a", "Eins.", language="de-DE")
        hebrew = Problem("b", "שירות.", language="he-IL")
        for document, page, languages, directions in (
                ("two_down_in_german", ["de", "ltr"], ["de-DE"] * 2, ["ltr"] * 2),
                (report([german, Problem("b", "Two.")]), ["de", "ltr"], ["de-DE", "en-US"],
                 ["ltr"] * 2),
                # A missing text has no language.
                (report([Problem("a", "One."), Problem("b", "")]), ["en", "ltr"], ["en-US", ""],
                 ["ltr"] * 2),
                (report([german, hebrew]), ["de", "ltr"], ["de-DE", "he-IL"], ["ltr", "rtl"]),
                ("repair_in_hebrew", ["en", "rtl"], ["he-IL"] * 2, ["rtl"] * 2)):
            with self.subTest(document):
                self.load(document)
                self.assertEqual(self.run_script(
                    "(({lang, dir}) => [lang, dir])(document.documentElement)"), page)
                self.assertEqual(self.each("h3", "each.lang"), languages)
                self.assertEqual(self.each("h3", "getComputedStyle(each).direction"), directions)
                self.assertLessEqual(set(self.each(".label + p", "each.lang")), set(languages))
                # Commands and ids never change their direction.
                self.assertEqual(set(self.each("code", "getComputedStyle(each).direction")),
                                 {"ltr"})

    def test_the_page_turns_for_a_language_from_right_to_left(self):
        self.browser.view(width=PHONE)
        self.load("repair_in_hebrew")
        self.assertEqual(self.each(".card", """(({borderLeftWidth, borderRightWidth}) =>
            [borderLeftWidth, borderRightWidth])(getComputedStyle(each))"""), [["1px", "5px"]] * 2)
        # The symbol is on the right of its word.
        self.assertEqual(self.each(".badge", """each.firstChild.getBoundingClientRect().left
            > each.getBoundingClientRect().left + 20"""), [True] * 2)


class UseTest(PageTestCase):
    """Reading and copying by keyboard, by touch and without a script."""

    # The focused element: its tag, and the beginning of a text that identifies it.
    FOCUSED = """(e => [e.tagName, (e.parentElement.querySelector("code") ?? e).textContent
        .slice(0, 24)])(document.activeElement)"""

    def tab(self):
        self.browser.press("Tab", 9)
        return self.run_script(self.FOCUSED)

    def test_the_keyboard_follows_the_order_of_the_page_and_shows_the_focus(self):
        for scheme in ("light", "dark"):
            self.browser.view(scheme=scheme)
            self.load("repair_failed")
            for focused in (["SUMMARY", "Output"], ["SUMMARY", "Output"],
                            ["PRE", "web: line 1 of the journ"],
                            ["BUTTON", "keldoctl --repair restar"]):
                self.assertEqual(self.tab(), focused)
                self.assertEqual(self.run_script(
                    "(s => [s.outlineStyle, s.outlineWidth])"
                    "(getComputedStyle(document.activeElement))"), ["solid", "3px"])
            self.tab()
            self.assertEqual(self.run_script("document.activeElement.tagName"), "BODY")

    def test_a_long_output_scrolls_by_the_keyboard(self):
        self.load("repair_failed")
        self.run_script("window.scrolled = new Promise(done => document.querySelector('[open] pre')"
                        ".addEventListener('scrollend', done)); 0")
        for _ in range(3):
            self.tab()
        self.browser.press("PageDown", 34)
        self.run_script("window.scrolled.then(() => 0)")
        self.assertGreater(self.run_script("document.activeElement.scrollTop"), 100)

    def test_a_button_copies_its_command(self):
        self.browser.call("Browser.grantPermissions",
                          permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        self.load(report([Problem("p", "P", actions=("a  b'c\"&<", "d"))]))
        self.tab()
        self.run_script("""window.said = new Promise(done => new MutationObserver(done)
            .observe(document.getElementById("status"), {childList: true})); 0""")
        self.browser.press("Enter", 13, "\r")
        self.run_script("window.said.then(() => 0)")
        self.assertEqual(self.run_script("navigator.clipboard.readText()"), "keldoctl --repair 'a  b'\\''c\"&<'")
        self.assertEqual(self.texts("button, #status"), ["Copied", "Copy", "Copied"])
        self.tab()
        self.assertEqual(self.texts("button, #status"), ["Copy", "Copy", ""])

    def test_the_description_of_a_button_is_its_command(self):
        self.load("two_down_in_german")
        self.browser.call("Accessibility.enable")
        nodes = self.browser.call("Accessibility.getFullAXTree")["nodes"]
        buttons = [(node["name"]["value"], node["description"]["value"]) for node in nodes
                   if node["role"]["value"] == "button"]
        self.assertEqual(buttons, [
            ("Kopieren", "keldoctl --repair restart-service:mail"),
            ("Kopieren", "keldoctl --repair restart-service:web")])

    def test_the_command_is_selected_if_copying_is_not_allowed(self):
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
                # The label does not wrap.
                words = self.each(".proposal button", """(range => {
                    range.selectNodeContents(each);
                    return range.getClientRects().length;
                })(new Range())""")
                self.assertEqual(words, [1, 1])

    def test_without_a_script_only_the_buttons_are_missing(self):
        self.browser.call("Emulation.setScriptExecutionDisabled", value=True)
        self.addCleanup(self.browser.call, "Emulation.setScriptExecutionDisabled", value=False)
        self.load("two_down_in_german")
        self.assertEqual(self.texts("button"), [])
        self.assertEqual(len(self.texts(".command code")), 3)
        self.assertEqual(set(self.each(".command code", "getComputedStyle(each).userSelect")),
                         {"all"})


if __name__ == "__main__":
    unittest.main()
