# SPDX-License-Identifier: MIT
"""The page of an inspection (report-html.xsl) in a real browser."""

import re
import unittest

from pages import OPEN_ALL, PHONE, TOO_WIDE, PageTestCase, page_of
from views import INSPECTIONS, inspected, show

RECORDED = {path.stem: path.read_bytes() for path in sorted(INSPECTIONS.iterdir())}
REPAIR_LOG = re.compile(rb"<log>web.*?</log>", re.DOTALL)


def panel_page(document, **parameters):
    """The page of a panel around a fragment. The panel knows dark and light."""
    fragment = show("fragment", document, **parameters)
    return f"""<!DOCTYPE html><html lang="en"><head><title>Panel</title>
        <meta name="color-scheme" content="light dark">
        <style>body {{ background: light-dark(#eeeeee, #222222) }}</style></head>
        <body><main><h1>Services</h1>{fragment}</main></body></html>"""


def changed(name, *changes):
    """A recorded inspection with some text replaced."""
    document = inspected(name)
    for old, new in changes:
        assert old.encode() in document, old
        document = document.replace(old.encode(), new.encode())
    return document


def with_log(log):
    """The recorded failed repair with another output."""
    return REPAIR_LOG.sub(f"<log>{log}</log>".encode(), inspected("repair_failed"))


class InspectionPageTestCase(PageTestCase):
    VIEW = "html"

    def load(self, document, **parameters):
        """Shows the page of an inspection, or of a recorded one, given by its name."""
        super().load(inspected(document) if isinstance(document, str) else document, **parameters)


class EveryPageTest(InspectionPageTestCase):
    """Rules for the page of any inspection."""

    DOCUMENTS = RECORDED

    def test_the_browser_logs_nothing_and_loads_nothing_else(self):
        self.check_each(lambda _: self.check_that_nothing_else_is_loaded())

    def test_a_phone_scrolls_downwards_only(self):
        self.check_phones(host="a-very-long-name-of-a-host." * 5)

    def test_each_service_is_shown_once_with_its_title_and_reason(self):
        def check(root):
            shown = self.texts("main").pop()
            for service in root.iter("service"):
                title = service.findtext("title") or service.get("id")
                places = self.each(".what h3, .names span", "each.textContent").count(title)
                others = [each for each in root.iter("service") if each.findtext("title") == title]
                self.assertEqual(places, max(len(others), 1), title)
                if service.get("state") in ("down", "unknown"):
                    self.assertIn(service.findtext("reason"), shown)
            # HTML has only line feeds.
            logs = [log.text.replace("\r\n", "\n").rstrip("\n") for log in root.iter("log")
                    if log.text]
            outputs = [text.rstrip("\n") for text in self.texts("pre[role]")]
            self.assertEqual([log for log in logs if log not in outputs], [])

        self.check_each(check)

    def test_the_look_of_the_whole_follows_the_verdict(self):
        looks = {"well": "up", "problems": "down", "unknown": "unknown", "upgrade": "upgrade"}

        def check(root):
            self.assertEqual(self.each(".top", "each.className"),
                             [f"top {looks[root.get('verdict')]}"])

        self.check_each(check)

    def test_each_state_has_a_sign_of_its_own(self):
        shapes = {}
        def check(_):
            for name, shape in self.each("symbol", "[each.id, each.innerHTML]"):
                shapes[name] = shape
            self.assertLessEqual(set(self.each("use", "each.getAttribute('href').slice(1)")),
                                 set(shapes))

        self.check_each(check)
        self.assertEqual(len(set(shapes.values())), 6)

    def test_a_page_of_few_services_is_small(self):
        for name, document in RECORDED.items():
            if name != "forty_down":
                self.assertLess(len(page_of("html", document).encode()), 30_000, name)


class AccessibilityTest(InspectionPageTestCase):
    def test_axe_core_finds_nothing(self):
        pages = {name: page_of("html", RECORDED[name]) for name in (
            "all_well", "stopped", "mixed", "two_down_in_german", "disk_full", "repair_failed",
            "upgrade", "repair_in_hebrew")}
        for name in ("mixed", "repair_failed"):
            pages[f"{name} in a panel"] = panel_page(RECORDED[name], **{"repair-url": "/repair"})
        self.check_accessibility(pages)

    def test_the_page_follows_the_scheme(self):
        for scheme in ("light", "dark"):
            self.browser.view(scheme=scheme)
            self.load("all_well")
            page = self.run_script("getComputedStyle(document.documentElement).backgroundColor")
            self.assertEqual(int(re.search(r"\d+", page)[0]) > 127, scheme == "light")


class SecurityPolicyTest(InspectionPageTestCase):
    def test_the_browser_runs_and_loads_nothing_of_a_text_that_became_markup(self):
        self.load_html(page_of("html", inspected("one_down")).replace("<main>", """<main>
            <script>document.title = "script"</script>
            <img id="image" src="data:," onerror="document.title = 'handler'">
            <style>main { display: none }</style><p id="text" style="display: none">x</p>
            <base href="https://example.invalid/">"""))
        self.assertEqual(self.run_script("document.title"),
                         "1 service is down. – panel.example – Service report")
        self.assertEqual(self.each("main, #text", "getComputedStyle(each).display"),
                         ["block", "block"])
        self.assertTrue(self.run_script("document.baseURI").startswith("file:"))
        # Our own script has run.
        self.assertEqual(self.texts("button"), ["Copy"])


class ContentTest(InspectionPageTestCase):
    """The content of a page."""

    def shown(self):
        """The lines that a reader sees, without opening anything."""
        return self.run_script("document.body.innerText.split(/\\n+/).filter(line => line)")

    def test_a_server_that_is_well_shows_its_services(self):
        self.load("all_well", host="panel.example", time="2026-11-21 12:00 CET")
        self.assertEqual(self.shown(), [
            "All 7 services that ought to run are up.", "7 services were checked in 0.4 s.", "Up",
            "Database Server", "Control Panel", "Mail Transfer (SMTP)", "Web Server", "Name Server",
            "Mailbox Access (IMAP)", "Redis Cache", "panel.example", "2026-11-21 12:00 CET",
            "0.412 s", "keldoctl 1.1.0"])
        self.assertEqual(self.run_script("document.title"), (
            "All 7 services that ought to run are up. – panel.example – Service report"))

    def test_the_headline_says_what_is_wrong(self):
        lost = ('<dependency id="action_log" state="failed"><reason code="no_action_log"'
                ' xml:lang="en-US">The log is lost.</reason><detail>denied</detail></dependency>')
        for document, headline in (
                ("mixed", "1 service is down. The state of 1 service is not known."),
                ("disk_full", "The state of 6 services is not known."),
                ("upgrade", "Upgrade is in progress. Please wait."),
                ("repaired", "All 7 services that ought to run are up."),
                ("repair_failed", "Failed: Restart the Web Server service. 1 service is down."),
                (changed("repair_failed", ("<status>ok", "<status>error")),
                 "Failed repairs: 2. 1 service is down."),
                # All services are up, but some may be missing from the list.
                (changed("all_well", ('<dependency id="action_log" state="ok"/>', lost),
                         ('code="all_up"', 'code="up"'), ('="well"', '="unknown"')),
                 "The log is lost.")):
            with self.subTest(headline):
                self.load(document)
                self.assertEqual(self.texts("h1"), [headline])
        self.assertEqual(self.texts(".note"), ["denied"])

    def test_a_verdict_that_is_not_known_does_not_look_well(self):
        self.load(changed("all_well", ('verdict="well"', 'verdict="new"')))
        self.assertEqual(self.each(".top", "each.className"), ["top unknown"])

    def test_a_page_with_a_failed_repair_does_not_look_well(self):
        self.load(changed("repaired", ("<status>ok", "<status>error")))
        self.assertEqual(self.each(".top", "each.className"), ["top down"])

    def test_an_unusable_dependency_is_shown_once(self):
        missing = ('<dependency id="configuration" state="missing"><reason code="x"'
                   ' xml:lang="en-US">The defaults apply.</reason></dependency>')
        self.load(changed("all_well",
                          ('<dependency id="configuration" state="ok" path="/etc/kvr/kvr.conf"/>',
                           missing)))
        self.assertEqual(self.texts(".note"), ["The defaults apply. "])
        self.load("disk_full")
        self.assertEqual(self.run_script("document.body.innerText.match(/no space/g).length"), 1)

    def test_services_with_the_same_unknown_reason_share_a_row(self):
        self.load("disk_full")
        self.assertEqual(self.texts(".row.unknown h3"),
                         ["There is no space left in /usr/local/kvr/tmp."])
        self.assertEqual(len(self.texts(".row.unknown .names li")), 6)

    def test_a_problem_tells_since_when(self):
        time = "2026-11-21 07:05 +00:00"
        for state, since in (
                (f"{time}  down web", [f"Since {time}"]),
                (f"{time}  <down web", [f"Since ≤ {time}"]),
                # It has changed since the last kept inspection.
                (f"{time}  unknown web", []), (f"{time}  down dns", []), ("", [])):
            with self.subTest(state):
                self.load(inspected("one_down") + f"<?state {state}?>".encode())
                self.assertEqual(self.texts(".row .since"), since)

    def test_a_wrong_definition_comes_with_the_command_that_explains_it(self):
        self.load("mixed")
        self.assertEqual(self.texts(".advice code"), ["keldo-service-lint /service/dns.xml"])
        self.load("forty_down")  # definitions that do not exist
        self.assertEqual(self.texts(".advice"), [])

    def test_the_parts_are_in_order(self):
        for name, parts in (("mixed", ["Down", "Not known", "Stopped by the administrator", "Up"]),
                            ("repair_failed", ["Repairs carried out", "Down", "Up"]),
                            ("upgrade", ["Not checked"])):
            with self.subTest(name):
                self.load(name)
                self.assertEqual(self.texts("h2"), parts)

    def test_a_row_opens_to_what_was_seen(self):
        self.load("mixed")
        self.run_script(OPEN_ALL)
        self.assertEqual(self.texts(".row.down .tests li"), [
            "Process /run/kvr/web.pid – failed", "Port 80 TCP http – not tested"])
        self.assertEqual(self.texts(".row.down pre"),
                         ["'web' process is not running\n'web' trying to restart"])

    def test_a_failed_repair_shows_the_end_of_its_output_and_folds_the_rest(self):
        lines = [f"line {number}" for number in range(1, 501)]
        for log, end, is_folded in (
                ("\n".join(lines) + "\n", "\n".join(lines[-5:]), True),
                ("\n".join(lines[:5]) + "\n", "\n".join(lines[:5]), False),
                ("x" * 2000, "x" * 800, True), ("one\n" + "x" * 900, "x" * 800, True)):
            with self.subTest(log[:10]):
                self.load(with_log(log))
                self.assertEqual(self.texts(".row.down pre[role]")[0], end)
                self.assertEqual(self.texts(".row.down .more summary"),
                                 ["Whole output"] * is_folded)
        self.load(with_log(""))
        self.assertEqual(self.texts(".row.down .quiet"), ["No output"])

    def test_a_repair_that_has_just_failed_is_proposed_with_a_warning(self):
        self.load("repair_failed")
        self.assertEqual(self.texts(".row .repair .label"), ["This repair has just failed"])

    def test_repair_all_leaves_out_what_has_just_failed(self):
        failed = ('<action id="restart-service:smtp">',
                  '<action id="restart-service:smtp"><status>error</status><log/>')
        other = "".join(f'<problem id="p{n}"><solutions><action id="a{n}" default="true"/>'
                        "</solutions></problem>" for n in (1, 2))
        for changes, commands in (
                ((), ["keldoctl-report --repair all"]), ((failed,), []),
                ((failed, ("<keldoctl>", "<keldoctl>" + other)),
                 ["keldoctl-report --repair a1 a2 restart-service:web"])):
            with self.subTest(commands):
                self.load(changed("two_down_in_german", *changes))
                self.assertEqual(self.texts(".bar code"), commands)

    def test_the_severity_is_shown_if_problems_differ_in_it(self):
        self.load("two_down_in_german", language="en-US")
        self.assertEqual(self.texts(".row .state"), [])
        document = inspected("two_down_in_german").replace(b"major", b"minor", 1)
        self.load(document, language="en-US")
        self.assertEqual(self.texts(".row .state"), ["Major", "Minor"])

    def test_commands_quote_ids_for_the_shell(self):
        self.load("odd_ids")
        commands = self.texts(".row code")
        for service in ("$(touch x)", "*", "`touch x`", "a b"):
            self.assertIn(f"keldoctl-report --repair 'restart-service:{service}'", commands)

    def test_a_command_breaks_between_words_only(self):
        for width in (320, PHONE, 480):
            self.browser.view(width=width)
            self.load("forty_down")
            self.run_script(OPEN_ALL)
            self.assertEqual(set(self.each(".command span", "each.getClientRects().length")), {1})
            self.assertEqual(set(self.each(".command span", "each.clientHeight < 30")), {True})

    def test_a_print_shows_the_details_of_problems_and_no_button(self):
        self.browser.view(scheme="dark")
        self.load("mixed")
        self.browser.call("Emulation.setEmulatedMedia", media="print")
        self.addCleanup(self.browser.call, "Emulation.setEmulatedMedia", media="")
        self.assertEqual(self.each("button", "getComputedStyle(each).display"), ["none"] * 2)
        self.assertEqual(self.each(".more", "each.checkVisibility()"), [True] * 2 + [False] * 4)
        self.assertEqual(self.run_script("getComputedStyle(document.documentElement).colorScheme"),
                         "light")

    def test_forty_problems_are_rows_of_one_line(self):
        self.load("forty_down")
        heights = self.each(".row.down", "each.getBoundingClientRect().height")
        self.assertEqual(len(heights), 40)
        self.assertLess(max(heights), 36)


class FragmentTest(InspectionPageTestCase):
    """The part for a panel's page."""

    FIELDS = "[...new FormData(each)].map(field => field.join('='))"
    FORMS = {"repair-url": "/repair?a&b", "token-name": "csrf"}

    def load_fragment(self, name, token=None, **parameters):
        document = inspected(name) + (f"<?token {token}?>".encode() if token else b"")
        self.load_html(panel_page(document, **parameters))

    def test_it_is_one_element_without_a_script(self):
        fragment = show("fragment", inspected("mixed"))
        self.assertTrue(fragment.startswith('<section class="keldoctl"'))
        self.assertTrue(fragment.endswith("</section>\n"))
        self.assertNotIn("<script", fragment)

    def test_it_leaves_the_panel_its_looks(self):
        styles = []
        for name in (None, "mixed"):
            fragment = show("fragment", inspected(name)) if name else ""
            self.load_html(f"""<!DOCTYPE html><main class="up row"><h1>A</h1>
                <h2 class="label">B</h2><p class="note">C</p><ul class="names"><li>D</ul>
                <pre>E</pre><form><button>F</button></form>
                <details class="top"><summary>G</summary></details></main>{fragment}""")
            styles.append(self.each("main, main *", """[...getComputedStyle(each)].filter(
                name => !/size|origin|width|height/.test(name)).map(
                name => name + getComputedStyle(each)[name]).join()"""))
        self.assertEqual(*styles)

    def test_each_repair_is_a_form(self):
        self.load_fragment("two_down_in_german", "a+b/c=", language="en", **self.FORMS)
        self.assertEqual(self.each("form", "[each.method, each.getAttribute('action')]"),
                         [["post", "/repair?a&b"]] * 3)
        smtp, web = "id=restart-service:smtp", "id=restart-service:web"
        self.assertEqual(self.each("form", self.FIELDS), [
            ["csrf=a+b/c=", smtp, web], ["csrf=a+b/c=", smtp], ["csrf=a+b/c=", web]])
        self.assertEqual(self.texts("button"), [
            "Repair all", "Repair – Mail Transfer (SMTP)", "Repair – Webserver"])
        self.assertEqual(self.texts(".command"), [])

    def test_a_form_without_a_token_has_only_the_id(self):
        self.load_fragment("one_down", **{"repair-url": "/repair"})
        self.assertEqual(self.each("form", self.FIELDS), [["id=restart-service:web"]])

    def test_a_repair_that_has_just_failed_has_its_warning_beside_the_button(self):
        self.load_fragment("repair_failed", **self.FORMS)
        self.assertEqual(self.texts(".repair .label"), ["This repair has just failed"])

    def test_without_an_address_a_repair_is_a_command(self):
        self.load_fragment("one_down", command="sudo keldoctl-report")
        self.assertEqual(self.texts("form"), [])
        self.assertEqual(self.texts(".command"),
                         ["sudo keldoctl-report --repair restart-service:web"])

    def test_its_headings_follow_those_of_the_panel(self):
        self.load_fragment("mixed", **{"heading-level": 3})
        self.assertEqual(sorted(set(self.each("section :is(h1, h2, h3, h4, h5, h6)",
                                              "each.tagName"))), ["H3", "H4", "H5"])

    def test_it_fits_a_narrow_column(self):
        self.browser.view(width=320)
        for parameters in (self.FORMS, {}):
            self.load_fragment("two_down_in_german", **parameters)
            self.run_script(OPEN_ALL)
            self.assertEqual(self.run_script(TOO_WIDE), [])


class LanguageTest(InspectionPageTestCase):
    def test_each_text_has_its_language_and_direction(self):
        for name, page, titles, directions in (
                ("two_down_in_german", ["de", "ltr"], ["en-US", "de-DE"], ["ltr"] * 2),
                ("repair_in_hebrew", ["en", "rtl"], ["he-IL", "en-US", ""], ["rtl", "ltr", "ltr"])):
            with self.subTest(name):
                self.load(name)
                self.assertEqual(self.run_script(
                    "(({lang, dir}) => [lang, dir])(document.documentElement)"), page)
                self.assertEqual(self.each(".row h3", "each.lang"), titles)
                self.assertEqual(self.each(".row h3", "getComputedStyle(each).direction"),
                                 directions)
                # Commands and ids never change their direction.
                self.assertEqual(set(self.each("code", "getComputedStyle(each).direction")),
                                 {"ltr"})

    def test_the_page_turns_for_a_language_from_right_to_left(self):
        self.browser.view(width=PHONE)
        self.load("repair_in_hebrew")
        self.assertEqual(self.each(".row", """(({borderLeftWidth, borderRightWidth}) =>
            [borderLeftWidth, borderRightWidth])(getComputedStyle(each))"""), [["0px", "4px"]] * 3)
        # The sign is on the right of its words.
        self.assertEqual(self.each(".head", """each.firstChild.getBoundingClientRect().left
            > each.getBoundingClientRect().left + 20"""), [True] * 3)


class UseTest(InspectionPageTestCase):
    """Reading and copying by keyboard, by touch and without a script."""

    # The focused element: its tag, and the beginning of a text that identifies it.
    FOCUSED = """(e => [e.tagName, (e.closest(".repair")?.querySelector("code")
        ?? e.querySelector("h3") ?? e).textContent.slice(0, 24)])(document.activeElement)"""

    def tab(self):
        self.browser.press("Tab", 9)
        return self.run_script(self.FOCUSED)

    def test_the_keyboard_follows_the_order_of_the_page_and_shows_the_focus(self):
        for scheme in ("light", "dark"):
            self.browser.view(scheme=scheme)
            self.load("repair_failed")
            for focused in (["PRE", "web: line 147 of the jou"], ["SUMMARY", "Whole output"],
                            ["SUMMARY", "Restart the Name Server "],
                            ["SUMMARY", "Web Server"], ["BUTTON", "keldoctl-report --repair"],
                            *(["SUMMARY", title] for title in (
                                "Database Server", "Control Panel", "Mail Transfer (SMTP)",
                                "Name Server", "Mailbox Access (IMAP)", "Redis Cache"))):
                self.assertEqual(self.tab(), focused)
                self.assertEqual(self.run_script(
                    "(s => [s.outlineStyle, s.outlineWidth])"
                    "(getComputedStyle(document.activeElement))"), ["solid", "3px"])
            self.tab()
            self.assertEqual(self.run_script("document.activeElement.tagName"), "BODY")

    def test_a_long_output_scrolls_by_the_keyboard(self):
        self.load(with_log("line\n" * 500))
        self.run_script(OPEN_ALL)
        self.run_script("window.scrolled = new Promise(done => document"
                        ".querySelector('details pre').addEventListener('scrollend', done)); 0")
        for _ in range(3):
            self.tab()
        self.browser.press("PageDown", 34)
        self.run_script("window.scrolled.then(() => 0)")
        self.assertGreater(self.run_script("document.activeElement.scrollTop"), 100)

    def test_a_button_copies_its_command(self):
        self.browser.call("Browser.grantPermissions",
                          permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        self.load(changed("one_down", ('"restart-service:web" default',
                                       '"a  b\'c&quot;&amp;&lt;" default')))
        self.run_script("document.querySelector('button').focus()")
        self.run_script("""window.said = new Promise(done => new MutationObserver(done)
            .observe(document.getElementById("status"), {childList: true})); 0""")
        self.browser.press("Enter", 13, "\r")
        self.run_script("window.said.then(() => 0)")
        self.assertEqual(self.run_script("navigator.clipboard.readText()"),
                         "keldoctl-report --repair 'a  b'\\''c\"&<'")
        self.assertEqual(self.texts("button, #status"), ["Copied", "Copied"])
        self.tab()
        self.assertEqual(self.texts("button, #status"), ["Copy", ""])

    def test_the_description_of_a_button_is_its_command(self):
        self.load("two_down_in_german")
        self.browser.call("Accessibility.enable")
        nodes = self.browser.call("Accessibility.getFullAXTree")["nodes"]
        buttons = [(node["name"]["value"], node["description"]["value"]) for node in nodes
                   if node["role"]["value"] == "button"]
        self.assertEqual(buttons, [
            ("Kopieren", "keldoctl-report --repair all"),
            ("Kopieren", "keldoctl-report --repair restart-service:smtp"),
            ("Kopieren", "keldoctl-report --repair restart-service:web")])

    def test_each_part_has_a_name_for_screen_readers(self):
        self.load("mixed")
        self.browser.call("Accessibility.enable")
        nodes = self.browser.call("Accessibility.getFullAXTree")["nodes"]
        self.assertEqual([node["name"]["value"] for node in nodes
                          if node["role"]["value"] == "region"],
                         ["Down", "Not known", "Stopped by the administrator", "Up"])

    def test_the_command_is_selected_if_copying_is_not_allowed(self):
        self.load("one_down")
        self.run_script("navigator.clipboard.writeText = () => Promise.reject(new Error()); 0")
        self.run_script("window.selected = new Promise(done =>"
                        " document.addEventListener('selectionchange', done)); 0")
        self.run_script("document.querySelector('button').focus()")
        self.browser.press("Enter", 13, "\r")
        self.run_script("window.selected.then(() => 0)")
        self.assertEqual(self.run_script("getSelection().toString()"),
                         "keldoctl-report --repair restart-service:web")

    def test_buttons_are_large_enough_for_a_finger(self):
        for width in (320, 360, 390, 412, 480, 600, 1024):
            with self.subTest(width):
                self.browser.view(width=width)
                self.load("two_down_in_german")
                # WCAG 2.2 asks for 24 pixels.
                heights = self.each("button", "each.getBoundingClientRect().height")
                self.assertGreaterEqual(min(heights), 32)
                # The label does not wrap.
                words = self.each("button", """(range => {
                    range.selectNodeContents(each);
                    return range.getClientRects().length;
                })(new Range())""")
                self.assertEqual(set(words), {1})

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
