# SPDX-License-Identifier: MIT
"""The changes of state over several inspections and reports of version 1.0.0."""

import datetime
import subprocess
import unittest
import xml.etree.ElementTree

from made_inspections import inspection, service
from panel import Problem, down_report, report
from views import DIRECTIONS, DIRECTIONS_REPLACED, VIEWS, inspected, show



def at(time):
    """A time such as "1 00:15", day 1 of the month, in the form of an inspection."""
    day, clock = time.split(" ")
    return f"2026-11-{int(day):02}T{clock}:00Z"


def lines_of(time, document, language=""):
    """The lines of an inspection, or of a report that was made at this time."""
    if isinstance(document, dict):
        document = inspection([service(name, *([state] if isinstance(state, str) else state),
                                       code="passed" if state == "up" else "code")
                               for name, state in document.items()], started=at(time))
    return show("changes", document, time=at(time), language=language)


def fields(lines, most_changes=6):
    done = subprocess.run(
        ["awk", "-v", f"most_changes={most_changes}", "-f", VIEWS / "changes.awk"],
        input=lines.encode(), check=True, stdout=subprocess.PIPE)
    return [line.split("\t") for line in done.stdout.decode().splitlines()]


def shown(seconds):
    time = datetime.datetime.fromtimestamp(int(seconds), datetime.timezone.utc)
    return f"{time.day} {time:%H:%M}"


class ChangesTest(unittest.TestCase):
    maxDiff = None

    def changes(self, *runs, most_changes=6, language=""):
        """The lines after the head, each with its time. `runs` are pairs of a time and a document,
        or the states by service."""
        head, empty, *rest = fields(
            "".join(lines_of(time, document, language) for time, document in runs), most_changes)
        self.assertEqual([shown(head[0]), shown(head[1])], [runs[0][0], runs[-1][0]])
        self.assertTrue(head[2].endswith(f": {len(runs)}"), head)
        self.assertEqual(empty, ["-", "-", ""])
        return [text if first == "-" else f"{shown(first)}  {text}" for first, _, text in rest]

    def test_each_state_is_shown_with_its_duration(self):
        self.assertEqual(self.changes(
            ("1 00:00", {"web": "up", "dns": "up"}),
            ("1 00:15", {"web": ("down", "Refused."), "dns": "up"}),
            ("1 02:25", {"web": ("unknown", "No space."), "dns": "up"}),
            ("2 02:25", {"web": ("stopped", "By the administrator."), "dns": "up"}),
            ("4 05:30", {"web": "up", "dns": "up"})), [
                "1 00:15  web: Up (> 15 min) -> Down", "    Refused.",
                "1 02:25  web: Down (2 h 10 min) -> Not known", "    No space.",
                "2 02:25  web: Not known (1 d) -> Stopped", "    By the administrator.",
                "4 05:30  web: Stopped (2 d 3 h) -> Up"])

    def test_short_durations_and_those_of_whole_hours_have_one_unit(self):
        lines = [inspection([service("web", state)], started=f"2026-11-01T{time}Z")
                 for time, state in (("00:00:00", "up"), ("00:00:01", "down"), ("00:01:00", "up"),
                                     ("00:02:00", "down"), ("03:02:00", "up"))]
        found = [text for _, _, text in fields("".join(show("changes", line) for line in lines))]
        self.assertEqual([text for text in found if "->" in text], [
            "web: Up (> 1 s) -> Down", "web: Down (59 s) -> Up", "web: Up (1 min) -> Down",
            "web: Down (3 h) -> Up"])

    def test_files_in_the_wrong_order_have_no_durations(self):
        self.assertEqual(self.changes(("1 00:15", {"web": "down"}), ("1 00:00", {"web": "up"})),
                         ["1 00:00  web: Down -> Up"])

    def test_another_reason_is_no_change(self):
        self.assertEqual(self.changes(
            ("1 00:00", {"web": ("down", "Refused.")}), ("1 00:15", {"web": ("down", "Silent.")})),
            ["No change of state"])

    def test_a_service_that_is_not_listed_keeps_its_last_state(self):
        self.assertEqual(self.changes(
            ("1 00:00", {"web": "up"}), ("1 00:15", {"web": "up", "redis": "up"}),
            ("1 00:30", {}), ("1 00:45", {"web": "up", "redis": "down"})),
            ["1 00:15  redis: Not listed -> Up", "1 00:45  redis: Up (30 min) -> Down",
             "    All tests passed."])

    def test_an_upgrade_is_shown_and_keeps_the_states_before_it(self):
        self.assertEqual(self.changes(
            ("22 00:05", {"web": "up", "dns": "up"}), ("22 00:20", inspected("upgrade")),
            ("22 00:35", inspection([service("dns", "unchecked"), service("web", "stopped", "S.")],
                                    "upgrade", started=at("22 00:35"))),
            ("22 00:51", {"web": "stopped", "dns": "down"})), [
                "22 00:20  Upgrade in progress: No (> 15 min) -> Yes",
                "22 00:35  web: Up (> 30 min) -> Stopped", "    S.",
                "22 00:51  Upgrade in progress: Yes (30 min) -> No",
                "22 00:51  dns: Up (> 46 min) -> Down", "    All tests passed."])

    def test_an_upgrade_before_all_other_inspections_leaves_earlier_states_open(self):
        self.assertEqual(self.changes(
            ("22 00:20", inspected("upgrade")), ("23 00:21", {"web": "up", "dns": "down"}),
            ("23 00:36", {"web": "down", "redis": "up", "dns": "down"})), [
                "23 00:21  Upgrade in progress: Yes (> 1 d) -> No",
                "23 00:21  dns: Not reported as down (> 1 d) -> Down", "    All tests passed.",
                "23 00:36  web: Up (> 15 min) -> Down", "    All tests passed.",
                "23 00:36  redis: Not listed -> Up"])

    def test_reports_of_version_1_0_0_show_the_services_that_are_down(self):
        web_down = "    The web title service is switched off."
        self.assertEqual(self.changes(
            ("1 00:00", report()), ("1 00:15", down_report("web")),
            ("1 00:30", report([Problem("upgrade", "Upgrade.", "minor")])),
            ("1 00:45", report()), ("1 01:00", down_report("web"))), [
                "1 00:15  web: Not reported as down (> 15 min) -> Down", web_down,
                "1 00:30  Upgrade in progress: No (> 30 min) -> Yes",
                "1 00:45  Upgrade in progress: Yes (15 min) -> No",
                "1 00:45  web: Down (30 min) -> Not reported as down",
                "1 01:00  web: Not reported as down (15 min) -> Down", web_down])

    def test_an_inspection_after_a_report_shows_only_what_is_certain(self):
        self.assertEqual(self.changes(
            ("1 00:00", down_report("mail", "smtp", "web")), ("1 00:15", down_report("web")),
            ("1 00:30", {"mail": "down", "smtp": "up", "web": "up", "dns": "unknown", "a": "down"}),
            ("1 00:45", {"mail": "down", "smtp": "down", "web": "up", "dns": "up", "a": "down"})), [
                "1 00:15  mail: Down (> 15 min) -> Not reported as down",
                "1 00:15  smtp: Down (> 15 min) -> Not reported as down",
                "1 00:30  mail: Not reported as down (15 min) -> Down", "    All tests passed.",
                "1 00:30  web: Down (> 30 min) -> Up",
                "1 00:30  a: Not reported as down (> 30 min) -> Down", "    All tests passed.",
                "1 00:45  smtp: Up (> 15 min) -> Down", "    All tests passed.",
                "1 00:45  dns: Not known (> 15 min) -> Up"])

    def test_too_many_changes_in_24_hours_are_flapping(self):
        def runs(*times):
            return [(time, {"web": ("up", "down")[number % 2], "dns": "up"})
                    for number, time in enumerate(times)]

        for most_changes, times, flapping in (
                (2, ("1 00:00", "1 00:15", "1 00:30"), None),
                (2, ("1 00:00", "1 00:15", "1 00:30", "1 00:45"), 3),
                # The limit is for 24 hours, which may include midnight.
                (2, ("1 00:00", "1 23:00", "1 23:30", "2 22:59"), 3),
                (2, ("1 00:00", "1 23:00", "1 23:30", "2 23:00"), None),
                (2, ("1 00:00", "1 01:00", "3 01:00", "3 02:00", "3 03:00", "3 04:00"), 4),
                (6, ["1 00:00", *(f"1 {hour:02}:00" for hour in range(1, 8))], 7),
                (6, ["1 00:00", *(f"1 {hour:02}:00" for hour in range(1, 7))], None)):
            with self.subTest(times, most_changes=most_changes):
                found = self.changes(*runs(*times), most_changes=most_changes)
                expected = ["", f"Flapping (> {most_changes} / 24 h): web ({flapping})"]
                self.assertEqual([line for line in found if "  " not in line],
                                 expected if flapping else [])

    def test_all_flapping_services_are_named(self):
        states = [{"web": state, "dns": state} for state in ("up", "down", "up")]
        self.assertEqual(self.changes(
            *zip(("1 00:00", "1 00:15", "1 00:30"), states), most_changes=1)[-1],
            "Flapping (> 1 / 24 h): web (2), dns (2)")

    def test_the_latest_title_names_the_service(self):
        self.assertIn("22 00:20  Web Server: Up (> 15 min) -> Down", self.changes(
            ("22 00:05", {"web": "up"}), ("22 00:20", inspected("one_down")),
            ("22 00:35", down_report("web"))))

    def test_odd_texts_stay_on_their_line(self):
        odd = f"a\tb\nc  d{DIRECTIONS}"
        plain = f"a b c d{DIRECTIONS_REPLACED}"
        self.assertEqual(self.changes(
            ("1 00:00", {odd: "up"}), ("1 00:15", {odd: ("down", odd)})),
            [f"1 00:15  {plain}: Up (> 15 min) -> Down", f"    {plain}"])
        name = "-v x=`id`; $(id) \\ \\t &"
        self.assertEqual(self.changes(("1 00:00", {name: "up"}), ("1 00:15", {name: "down"}))[0],
                         f"1 00:15  {name}: Up (> 15 min) -> Down")

    def test_a_state_of_a_later_version_is_shown_as_it_is(self):
        self.assertEqual(self.changes(("1 00:00", {"web": "up"}), ("1 00:15", {"web": "slow"}))[0],
                         "1 00:15  web: Up (> 15 min) -> slow")

    def test_the_states_have_the_words_of_each_language(self):
        states = ("up", "down", "unknown", "stopped", "slow")
        runs = [(f"1 {hour:02}:00", {"web": state}) for hour, state in enumerate(states)]
        for table in xml.etree.ElementTree.parse(VIEWS / "parts/words.xml").getroot():
            language = table.get("{http://www.w3.org/XML/1998/namespace}lang")
            word = {each.get("id").removeprefix("change-"): each.text for each in table
                    if each.get("id").startswith("change-")}
            with self.subTest(language):
                self.assertEqual(
                    [line for line in self.changes(*runs, language=language) if "->" in line],
                    [f"1 01:00  web: {word['up']} (> 1 {word['hours']}) -> {word['down']}",
                     *(f"1 0{hour}:00  web: {word[states[hour - 1]]} (1 {word['hours']})"
                       f" -> {word.get(states[hour], 'slow')}" for hour in (2, 3, 4))])

    def test_the_language_is_that_of_the_last_file(self):
        self.assertEqual(self.changes(
            ("22 00:20", inspected("one_down")), ("22 00:20", inspected("two_down_in_german"))), [
                "22 00:20  Mail Transfer (SMTP): In Betrieb (> 0 s) -> Ausgefallen",
                "    Zur PID-Datei /var/lib/kvr/smtp/queue/pid/master.pid läuft kein Prozess."])


if __name__ == "__main__":
    unittest.main()
