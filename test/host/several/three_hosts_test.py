# SPDX-License-Identifier: MIT
"""A fleet of three hosts: the web server of the first has crashed, the second is well, and the third
is absent. One run of a playbook after the other."""

import pathlib
import tempfile
import unittest

import fleet
import playbooks
import schemas

FIRST, SECOND, THIRD = NAMES = ("host1.example", "host2.example", "host3.example")
WEB = "restart-service:web"


class ThreeHostsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        hosts = fleet.hosts()
        cls.directory = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        hosts[FIRST].run("service-control", "kill", "web")
        hosts[THIRD].take_away()
        cls.asked = cls.play("ask", "asked")
        cls.tried = cls.play("repair", "tried", "--check", "--diff")
        cls.repaired = cls.play("repair", "repaired")
        cls.asked_again = cls.play("ask", "asked_again")

    @classmethod
    def play(cls, name, directory, *options):
        return playbooks.play(name, fleet.DIRECTORY / "inventory", cls.directory / directory, *options)

    def test_ask_finds_out_the_state_of_each_host(self):
        self.assertEqual(self.asked.states(),
                         dict(zip(NAMES, ("problems", "well", "unreachable"))), self.asked.output)
        self.assertEqual(self.asked.document.get("verdict"), "problems")
        self.assertEqual(self.asked.reason(THIRD), "unreachable")

    def test_ask_tells_the_service_that_is_down_and_its_repair(self):
        services = [(service.get("id"), service.get("state"), service.find("reason").get("code"),
                     service.findtext("repair")) for service in self.asked.hosts[FIRST].iter("service")]
        self.assertEqual(services, [("web", "down", "no_process", WEB)])

    def test_check_mode_shows_what_a_repair_would_run_and_runs_nothing(self):
        self.assertIn(f"\nkeldoctl-gate repair {WEB}\n", self.tried.output)
        self.assertEqual(self.tried.states(), self.asked.states())
        self.assertEqual(self.tried.outcomes(), {(FIRST, WEB): "not_carried_out"})

    def test_repair_repairs_the_host_with_the_problem_only(self):
        self.assertEqual(self.repaired.outcomes(), {(FIRST, WEB): "ok"}, self.repaired.output)
        self.assertEqual(self.repaired.states()[FIRST], "well")

    def test_after_the_repair_only_the_absent_host_is_not_well(self):
        self.assertEqual(self.asked_again.states(),
                         dict(zip(NAMES, ("well", "well", "unreachable"))), self.asked_again.output)
        self.assertEqual(self.asked_again.document.get("verdict"), "unknown")

    def test_each_run_fails_because_the_third_host_is_absent(self):
        for run in (self.asked, self.tried, self.repaired, self.asked_again):
            with self.subTest(run.directory.name):
                self.assertNotEqual(run.status, 0)
                self.assertIn("Not all hosts are well", run.output)

    def test_each_host_that_answered_has_its_inspection_and_its_page(self):
        files = {path.name for path in (self.asked.directory / "hosts").iterdir()}
        self.assertEqual(files, {f"{name}.{ending}" for name in (FIRST, SECOND)
                                 for ending in ("xml", "html")})
        for name in (FIRST, SECOND):
            schemas.require_inspection((self.asked.directory / f"hosts/{name}.xml").read_bytes())

    def test_the_page_and_the_text_name_each_host(self):
        for file in ("fleet.html", "fleet.txt"):
            text = (self.asked.directory / file).read_text(encoding="utf-8")
            for name in NAMES:
                with self.subTest(file, name=name):
                    self.assertIn(name, text)


if __name__ == "__main__":
    unittest.main()
