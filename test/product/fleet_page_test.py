# SPDX-License-Identifier: MIT
"""The page of a fleet document (fleet-html.xsl) in a real browser."""

import unittest

import schemas
from made_fleets import fleet, host, outcome, service, silent
from pages import PHONE, PageTestCase, page_of
from recorded_fleets import thousand
from views import DIRECTIONS, FLEETS, show
from views import fleet as recorded

VIEW = "fleet-html"
RECORDED = {path.stem: path.read_bytes() for path in sorted(FLEETS.iterdir())}
SENTENCE = "The pid file /run/kvr/web.pid names no running process."


def web(words=SENTENCE, **details):
    return service("web", reason=words, title="Web Server", repair="restart-service:web", **details)


class FleetPageTestCase(PageTestCase):
    VIEW = VIEW

    def load(self, document, **parameters):
        """Shows the page of a fleet document, or of a recorded one, given by its name."""
        if isinstance(document, str):
            document = recorded(document)
        self.assertEqual(schemas.errors(document, schemas.FLEET), "")
        super().load(document, **parameters)

    def rows(self):
        """The names in the rows of the table that are shown."""
        return self.texts("tbody tr:not([hidden]) th")


class EveryPageTest(FleetPageTestCase):
    """Rules for the page of any fleet document."""

    DOCUMENTS = RECORDED

    def test_the_browser_logs_nothing_and_loads_nothing_else(self):
        self.check_each(lambda _: self.check_that_nothing_else_is_loaded())

    def test_a_phone_scrolls_downwards_only(self):
        self.check_phones()

    def test_each_host_is_either_in_the_table_or_among_the_well(self):
        def check(root):
            for selector, is_well in (("tbody th", False), ("section.up .names > *", True)):
                names = [each.get("name") for each in root.iter("host")
                         if (each.get("state") == "well") == is_well]
                self.assertCountEqual(self.texts(selector), names)

        self.check_each(check)

    def test_each_host_that_answered_opens_its_page(self):
        def check(root):
            self.assertEqual(
                {tuple(pair) for pair in self.each("a", "[each.textContent, each.href]")},
                {(each.get("name"), f"file://{self.directory}/hosts/{each.get('file')}.html")
                 for each in root.iter("host") if each.get("file")})

        self.check_each(check)

    def test_the_look_of_the_whole_follows_the_verdict(self):
        looks = {"well": "up", "problems": "down", "unknown": "unknown", "upgrade": "upgrade"}
        self.check_each(lambda root: self.assertEqual(
            self.each(".top", "each.className"), [f"top {looks[root.get('verdict')]}"]))

    def test_each_state_has_a_sign_and_a_colour_of_its_own(self):
        self.load("all_states")
        self.assertEqual(
            self.each(".counts li", """[each.className,
                each.querySelector('use').getAttribute('href').slice('#keldoctl-sign-'.length)]"""),
            [[look] * 2 for look in ("down", "unknown", "failed", "unreachable", "unchecked",
                                     "upgrade", "up")])
        self.assertEqual(len(set(self.each(".counts use", """document.querySelector(
            each.getAttribute('href')).innerHTML"""))), 7)
        self.assertEqual(len(set(self.each(".counts .sign", "getComputedStyle(each).color"))), 7)


class AccessibilityTest(FleetPageTestCase):
    def test_axe_core_finds_nothing(self):
        many = fleet(*(host(f"web{number}", "problems", web()) for number in range(30)))
        names = ("all_states", "all_well", "repaired", "empty")
        self.check_accessibility({name: page_of(VIEW, RECORDED[name]) for name in names}
                                 | {"many": page_of(VIEW, many)})


class ContentTest(FleetPageTestCase):
    """The content of a page."""

    def shown(self):
        """The lines that a reader sees, without opening anything."""
        return self.run_script("document.body.innerText.split(/[\\n\\t]+/).filter(line => line.trim())")

    def groups(self):
        """The title, the reason and the number or the name of hosts of each row of a group."""
        return self.each(".row", """['h3', '.reason', '.number'].map(
            part => each.querySelector(part).innerText)""")

    def test_a_fleet_that_is_well_shows_its_hosts(self):
        self.load("all_well", time="2026-11-22 05:48 CET")
        self.assertEqual(self.shown(), [
            "All hosts are well.", "Hosts: 3. Services: 21.", "Well", "Hosts: 3", "web1.example",
            "web2.example", "web3.example", "2026-11-22 05:48 CET", "12.345 s", "keldoctl 1.1.0",
            "Run: 00112233445566778899aabbccddeeff"])
        self.assertEqual(self.run_script("document.title"), "All hosts are well. – Fleet report")

    def test_the_headline_names_the_worst_states(self):
        for document, headline in (
                ("all_states", "Hosts with problems: 2. Hosts whose state is not known: 7."),
                ("not_known", "Hosts whose state is not known: 1."),
                ("all_but_upgrades_well", "Hosts being upgraded: 1."),
                ("repaired", "Failed repairs: 2. Hosts with problems: 1."
                             " Hosts whose state is not known: 1."),
                ("empty", "Nothing is known")):
            with self.subTest(document):
                self.load(document)
                self.assertEqual([text.strip() for text in self.texts("h1")], [headline])

    def test_a_document_that_contradicts_itself_does_not_look_well(self):
        new = fleet(host("a")).replace(b'verdict="problems"', b'verdict="new"')
        for document, look in (
                (fleet(host("a"), silent("b"), verdict="well"), "unknown"),
                (fleet(host("a"), host("b", "upgrade"), verdict="well"), "upgrade"),
                (fleet(host("a"), host("b", "problems"), verdict="well"), "down"),
                (fleet(host("a", "well", outcome("x", "failed")), verdict="well"), "down"),
                (fleet(host("a", "new"), verdict="well"), "unknown"),
                (fleet(verdict="well"), "unknown"), (fleet(host("a")), "down"), (new, "unknown")):
            with self.subTest(document):
                self.load_html(page_of(VIEW, document))
                self.assertEqual(self.each(".top", "each.className"), [f"top {look}"])

    def test_the_hosts_in_each_state_are_counted(self):
        self.load("all_states")
        self.assertEqual(self.each(".counts li", "each.innerText.replace(/\\s+/, ' ')"), [
            "2 Problems", "1 Not known", "4 No usable answer", "1 Unreachable", "1 Not asked",
            "1 Upgrade in progress", "2 Well"])

    def test_one_host_of_a_thousand_shows_in_the_bar(self):
        self.load(fleet(host("bad", "problems"), *(host(f"web{n}") for n in range(999))))
        self.assertEqual(self.each(".bar-chart rect", """[each.className.baseVal,
            each.getAttribute('x'), each.getAttribute('width'),
            getComputedStyle(each).strokeWidth, getComputedStyle(each).vectorEffect]"""),
                         [["up", "1", "999", "2px", "non-scaling-stroke"],
                          ["down", "0", "1", "2px", "non-scaling-stroke"]])

    def test_hosts_with_the_same_problem_share_a_row(self):
        self.load(fleet(
            host("a", "problems", web(), service("dns", reason="No answer.", title="Name Server")),
            host("b", "problems", web()), host("c", "problems", web(code="refused")),
            host("d", "problems", web("Another pid file."), service("smtp", title="")),
            host("e", "problems")))
        self.assertEqual(self.groups(), [
            ["Web Server", f"For example: {SENTENCE}", "Hosts: 3"],
            ["Name Server", "No answer.", "a"], ["Web Server", SENTENCE, "c"],
            ["smtp", "It fails.", "d"], ["Problems", "The host’s report says why.", "e"]])

    def test_hosts_that_are_not_known_for_the_same_reason_share_a_row(self):
        full = [service(name, "unknown", "no_space", "No space.") for name in ("web", "dns")]
        self.load(fleet(
            host("a", "unknown", *full), host("b", "unknown"), host("c", "problems", web(), full[0]),
            host("d", "unknown", service("dns", "unknown", "odd", title="Name Server")),
            silent("e"), silent("f", code="busy"), silent("g", code="busy"),
            silent("h", code="new", words="New."), silent("i", code="newer"),
            silent("j", "unreachable", "unreachable", "Refused."),
            silent("k", "unasked", "unasked"), silent("l", code="task_failed")))
        self.assertEqual(self.groups()[1:], [
            ["Not known", "No space.", "Hosts: 2"], ["Name Server", "It fails.", "d"],
            ["Not known", "The host’s report says why.", "b"],
            ["No usable answer", "The host is busy with another request.", "Hosts: 2"],
            ["No usable answer", "The answer did not come in time.", "e"],
            ["No usable answer", "New.", "h"], ["No usable answer", "newer", "i"],
            ["No usable answer", "A task failed before the host was asked.", "l"],
            ["Not asked", "The host was not asked.", "k"],
            ["Unreachable", "The host cannot be reached.", "j"]])

    def test_only_long_lists_of_hosts_are_folded(self):
        for number, is_open in ((2, True), (5, True), (6, False)):
            self.load(fleet(*(host(f"web{n}", "problems", web()) for n in range(number))))
            self.assertEqual(self.each(".row details", "each.open"), [is_open])
        for number, is_open in ((50, True), (51, False)):
            self.load(fleet(*(host(f"web{n}") for n in range(number)), verdict="well"))
            self.assertEqual(self.each("section.up details", "each.open"), [is_open])

    def test_the_outcomes_of_repairs_come_first(self):
        self.load("repaired")
        self.assertEqual(self.groups()[:3], [
            ["Failed", "restart-service:web", "Hosts: 2"],
            ["Not carried out", "restart-service:dns", "web2.example"],
            ["Succeeded", "restart-service:web", "web1.example"]])
        self.assertEqual(self.texts("tbody td code"),
                         ["restart-service:web", "restart-service:dns", "restart-service:web"])

    def test_the_command_repairs_the_hosts_with_a_repair_that_has_not_just_failed(self):
        failed, ok = (outcome("restart-service:web", state) for state in ("failed", "ok"))
        self.load(fleet(
            host("a", "problems", web()), host("b", "problems", web(), failed),
            host("c", "problems", service()), host("d-1.example", "problems", web(), ok),
            host("e", "problems", web(), service(repair="other"), failed)))
        self.assertEqual(self.texts(".command code"),
                         ["ansible-playbook keldo.keldoctl.repair --limit a,d-1.example,e"])
        self.load("repaired")
        self.assertEqual(self.texts(".command"), [])
        self.load("not_known", command="ansible-playbook -i hosts.ini keldo.keldoctl.repair")
        self.assertEqual(self.texts(".command"), [])

    def test_names_that_ansible_would_take_for_patterns_are_not_in_the_command(self):
        names = ["@file", "!a", "&a", "~a", "a*", "a[0]", "a:b", "a,b", "all", "ungrouped", "-a", "ä",
                 "a b", "$(touch x)", "'"]
        self.load(fleet(*(host(name, "problems", web()) for name in (*names, "all.example"))))
        self.assertEqual(self.texts(".command code"),
                         ["ansible-playbook keldo.keldoctl.repair --limit all.example"])
        self.assertEqual(self.texts("#keldoctl-repair ~ .names > *"), names)

    def test_a_row_of_the_table_says_why(self):
        self.load(fleet(
            host("a", "problems", web(), service("dns", "unknown", reason="B."),
                 service("smtp", "unknown", reason="B.", title="SMTP")),
            silent("b", words="No route."), silent("c"), silent("d", "unreachable", "unreachable",
                                                                "Refused."),
            host("e", "unknown")))
        self.assertEqual(self.each("tbody td:last-child", "each.innerText.trim()"), [
            f"Web Server {SENTENCE}\n\ndns, SMTP B.", "The host’s report says why.", "No route.",
            "The answer did not come in time.", "Refused."])
        self.load("all_but_upgrades_well")
        self.assertEqual(self.each("tbody td:last-child", "each.innerText"), ["Not checked: 7"])

    def test_texts_of_hosts_do_not_become_markup(self):
        markup = "<script>document.title = 'x'</script><img src=x onerror=alert(1)>&amp;\"'"
        self.load(fleet(
            host(markup, "problems", service(markup, title=markup, reason=markup, repair=markup),
                 outcome(markup, "failed")),
            host(DIRECTIONS, "unknown", service("web", "unknown", reason=markup)),
            silent("javascript:alert(1)", words=markup)))
        self.assertEqual(self.texts("img, main script"), [])
        self.assertIn("Hosts with problems: 1.", self.run_script("document.title"))
        self.assertEqual(self.texts("tbody th"), [markup, DIRECTIONS, "javascript:alert(1)"])
        self.check_that_nothing_else_is_loaded()

    def test_a_file_that_the_callback_cannot_have_written_gets_no_link(self):
        for file in ("../x", "/etc/x", ".x", "//x", "a b", "%2e", ""):
            with self.subTest(file):
                self.load_html(page_of(VIEW, fleet(host("a", file=file))))
                self.assertEqual(self.texts("a"), [])

    def test_a_print_shows_the_hosts_and_no_control(self):
        self.load(fleet(*(host(f"web{n}.fleet.example", "problems", web()) for n in range(50)),
                        host("well")))
        height = "each.scrollHeight - each.clientHeight"
        self.assertGreater(self.each(".command code", height)[0], 0)
        self.browser.call("Emulation.setEmulatedMedia", media="print")
        self.addCleanup(self.browser.call, "Emulation.setEmulatedMedia", media="")
        self.assertEqual(self.each("input, select, .command button", "each.checkVisibility()"),
                         [False] * 3)
        self.assertEqual(self.each(".rows .names a, thead button", "each.checkVisibility()"),
                         [True] * 53)
        self.assertEqual(self.each(".command code", height), [0])

    def test_a_thousand_hosts_make_a_small_page(self):
        self.assertLess(len(show(VIEW, thousand()).encode()), 150_000)


class LanguageTest(FleetPageTestCase):
    def test_the_words_are_in_the_language_of_the_document_or_of_the_parameter(self):
        for document, language, page, heading in (
                ("in_german", "", "de", "Probleme"), ("all_states", "", "en", "Problems"),
                ("all_states", "ja-JP", "ja", "問題あり")):
            self.load(document, language=language)
            self.assertEqual(self.run_script("document.documentElement.lang"), page)
            self.assertEqual(self.texts("#keldoctl-problems"), [heading])

    def test_texts_in_another_language_are_marked(self):
        self.load("in_german", language="en-US")
        self.assertEqual(self.each("tbody td:last-child", "each.lang"), ["de-DE"] * 2)
        self.assertEqual(self.each(".row .reason", "each.lang"), ["de-DE"] * 2)
        self.load("all_states", language="de-DE")
        # The reason is a word of ours, followed by the host's own text in the table.
        late = ["Die Antwort kam nicht rechtzeitig.", ""]
        self.assertIn(late, self.each(".row .reason", "[each.textContent, each.lang]"))
        self.assertIn(f"{late[0]} no complete answer within 120 s",
                      self.each("tbody td:last-child", "each.innerText"))

    def test_the_page_turns_for_a_language_from_right_to_left(self):
        self.load("all_states", language="he-IL")
        self.assertEqual(self.run_script("document.documentElement.dir"), "rtl")
        place = "each.getBoundingClientRect().left > innerWidth / 2"
        self.assertEqual(self.each(".bar-chart .down", place), [True])
        self.assertEqual(set(self.each("tbody th", place)), {True})
        self.assertEqual(self.each(".command code", "getComputedStyle(each).direction"), ["ltr"])


class UseTest(FleetPageTestCase):
    """Filtering and sorting, by keyboard and without a script."""

    HOSTS = fleet(
        host("web10", "problems", web()), host("web9", "problems", web(), service("dns")),
        host("mail1", "unknown", service("web", "unknown", reason="No space.", title="Web Server")),
        silent("db1"), silent("web1", "unreachable", "unreachable", "Refused."),
        host("web2", "upgrade"), host("web3"))

    def type(self, text):
        """Types into the focused field, in place of what it has."""
        self.run_script("document.activeElement.select()")
        for letter in text:
            self.browser.press(letter, ord(letter.upper()), letter)
        if not text:
            self.browser.press("Delete", 46)

    def test_the_filter_keeps_the_rows_with_all_words(self):
        self.load(self.HOSTS)
        self.assertEqual(self.texts(".controls p"), ["Hosts: 6"])
        self.run_script("document.querySelector('input').focus()")
        for text, names in (("web server", ["web10", "web9", "mail1"]),
                            ("SERVER space", ["mail1"]), ("nothing", []), ("db", ["db1"]),
                            ("", ["web10", "web9", "mail1", "db1", "web1", "web2"])):
            with self.subTest(text):
                self.type(text)
                self.assertEqual(self.rows(), names)
                self.assertEqual(self.texts("[role=status]")[0], f"Hosts: {len(names)}")

    def choose(self, state):
        self.run_script("document.querySelector('select').focus()")
        self.run_script(f"""(s => {{ s.value = {state!r};
            s.dispatchEvent(new Event('input', {{bubbles: true}})) }})(document.activeElement)""")

    def test_the_filter_keeps_the_rows_with_the_chosen_state(self):
        self.load(self.HOSTS)
        self.assertEqual(self.texts("option"), [
            "All", "Problems", "Not known", "No usable answer", "Unreachable", "Upgrade in progress"])
        for state, names in (("down", ["web10", "web9"]), ("upgrade", ["web2"]),
                             ("failed", ["db1"])):
            self.choose(state)
            self.assertEqual(self.rows(), names)
        self.choose("down")
        self.run_script("document.querySelector('input').focus()")
        self.type("dns")
        self.assertEqual(self.rows(), ["web9"])

    def test_a_button_sorts_the_rows_and_turns_their_order(self):
        self.load(self.HOSTS)
        by_name = ["db1", "mail1", "web1", "web2", "web9", "web10"]
        by_state = ["web9", "web10", "mail1", "db1", "web1", "web2"]
        for column, names, order in ((0, by_name, "ascending"), (0, by_name[::-1], "descending"),
                                     (0, by_name, "ascending"), (1, by_state, "ascending")):
            self.run_script(f"document.querySelectorAll('thead button')[{column}].click()")
            self.assertEqual(self.rows(), names)
            self.assertEqual(self.each("th[aria-sort]", "[each.innerText, each.ariaSort]"),
                             [[("Host", "State")[column], order]])

    def test_sorting_keeps_the_filter(self):
        self.load(self.HOSTS)
        self.choose("down")
        self.run_script("document.querySelector('thead button').click()")
        self.assertEqual(self.rows(), ["web9", "web10"])

    def test_the_keyboard_reaches_everything_in_the_order_of_the_page(self):
        self.load(fleet(*(host(f"web{n:02}", "problems", web()) for n in range(21)), host("well")))
        focused = []
        for _ in range(9):
            self.browser.press("Tab", 9)
            focused.append(self.run_script("""(e => [e.tagName, (
                e.ariaLabel ?? e.textContent).trim().slice(0, 7)])(document.activeElement)"""))
            self.assertEqual(self.run_script(
                "getComputedStyle(document.activeElement).outlineStyle"), "solid")
        self.assertEqual(focused, [
            ["SUMMARY", "Web Ser"], ["CODE", "ansible"], ["BUTTON", "Copy"], ["INPUT", ""],
            ["SELECT", "AllProb"], ["BUTTON", "Host"], ["BUTTON", "State"], ["BUTTON", "Reason"],
            ["A", "web00"]])
        self.run_script("document.querySelectorAll('thead button')[0].focus()")
        for name in ("web00", "web20"):
            self.browser.press("Enter", 13, "\r")
            self.assertEqual(self.rows()[0], name)

    def test_without_a_script_the_page_says_the_same(self):
        document = self.HOSTS
        self.load(document)
        with_script = self.texts("tbody tr")
        self.browser.call("Emulation.setScriptExecutionDisabled", value=True)
        self.addCleanup(self.browser.call, "Emulation.setScriptExecutionDisabled", value=False)
        self.load(document)
        self.assertEqual(self.texts("tbody tr"), with_script)
        self.assertEqual(self.each("input, select, button", "each.checkVisibility()"), [False] * 2)
        self.assertEqual(self.texts("thead th"), ["Host", "State", "Reason"])

    def test_a_table_keeps_its_roles_on_a_phone(self):
        self.browser.view(width=PHONE)
        self.load(self.HOSTS)
        roles = [node.get("role", {}).get("value") for node
                 in self.browser.call("Accessibility.getFullAXTree")["nodes"] if not node["ignored"]]
        self.assertEqual([roles.count(role) for role in ("table", "row", "rowheader", "columnheader",
                                                         "cell")], [1, 7, 6, 3, 12])

    def test_a_thousand_hosts_are_filtered_and_sorted(self):
        self.load(thousand())
        self.run_script("document.querySelector('input').focus()")
        self.type("web0003")
        self.assertEqual(self.rows(), ["web0003.fleet.example"])
        self.type("")
        self.run_script("document.querySelector('thead button').click()")
        self.assertEqual(self.rows()[:2], ["web0000.fleet.example", "web0001.fleet.example"])
        self.assertEqual(len(self.rows()), 129)


if __name__ == "__main__":
    unittest.main()
