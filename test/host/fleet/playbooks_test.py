# SPDX-License-Identifier: MIT
"""The playbooks on a controller with a fake ssh, which prints prepared answers."""

import pathlib
import stat
import subprocess
import tempfile
import unittest

import playbooks
from views import INSPECTIONS

# The fake ssh writes down each request, and gives the next answer of the host. The last one stays.
SSH = """#!/bin/bash
host=${{@: -2:1}} request=${{@: -1}}
cd {directory}
echo "$host $request" >>requests
echo x >>"$host.requests"
number=$(wc -l <"$host.requests")
[[ -e $host.$number ]] || number=last
cat "$host.$number"
exit "$(<"$host.$number.status")"
"""
INVENTORY = """\
{names}

[all:vars]
ansible_ssh_executable={directory}/ssh
"""
WEB = "restart-service:web"
OUTCOME = f'<action id="{WEB}"><message xml:lang="en-US">x</message><status>{{}}</status><log/></action>'


def recorded(name):
    return (INSPECTIONS / f"{name}.xml").read_text(encoding="utf-8")


# Answers: the exit status and the document.
ABSENT = (255, "")
SILENT = (0, "")
WELL = (0, recorded("all_well"))
DOWN = (1, recorded("one_down"))
# One service is down and another is not known.
WORSE = (1, recorded("mixed"))
REPAIRED = (0, WELL[1].replace("<keldoctl/>", f"<keldoctl>{OUTCOME.format('ok')}</keldoctl>"))
NOT_REPAIRED = (1, DOWN[1].replace("</message>\n    </action>",
                                   "</message><status>error</status><log/></action>"))
# The playbook sends four requests: inspect, inspect before the repair, repair, inspect again.
REPAIRABLE = (DOWN, DOWN, REPAIRED, WELL)


class PlaybookTestCase(unittest.TestCase):
    def setUp(self):
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        ssh = self.directory / "ssh"
        ssh.write_text(SSH.format(directory=self.directory), encoding="utf-8")
        ssh.chmod(0o755)

    def play(self, name, hosts, *options):
        """Runs a playbook. `hosts` has the answers of each host by its name."""
        for old in self.directory.glob("*.*"):
            old.unlink()
        for host, answers in hosts.items():
            for number, (status, document) in [*enumerate(answers, 1), ("last", answers[-1])]:
                (self.directory / f"{host}.{number}").write_text(document, encoding="utf-8")
                (self.directory / f"{host}.{number}.status").write_text(str(status), encoding="utf-8")
        (self.directory / "inventory").write_text(
            INVENTORY.format(names="\n".join(hosts), directory=self.directory), encoding="utf-8")
        (self.directory / "requests").write_text("", encoding="utf-8")
        return playbooks.play(name, self.directory / "inventory", self.directory / "out", *options)

    def requests(self):
        """Pairs of a host and a request, in the order in which they came."""
        lines = (self.directory / "requests").read_text(encoding="utf-8").splitlines()
        return [tuple(line.split(" ", 1)) for line in lines]

    def repaired(self):
        """The hosts that were asked to repair, in order."""
        return [host for host, request in self.requests() if " repair " in request]


class AskTest(PlaybookTestCase):
    def test_it_succeeds_if_all_hosts_are_well(self):
        run = self.play("ask", {"a": [WELL], "b": [WELL]})
        self.assertEqual((run.status, run.document.get("verdict")), (0, "well"), run.output)

    def test_the_report_is_made_even_if_no_host_answers(self):
        run = self.play("ask", {"a": [ABSENT], "b": [SILENT]})
        self.assertEqual(run.states(), {"a": "unreachable", "b": "failed"})
        self.assertIn("Not all hosts are well", run.output)
        self.assertTrue((run.directory / "fleet.html").exists())

    def test_with_a_limit_the_other_hosts_are_not_asked_and_not_well(self):
        run = self.play("ask", {"a": [WELL], "b": [WELL]}, "--limit=b")
        self.assertEqual(run.states(), {"a": "unasked", "b": "well"})
        self.assertIn("Not all hosts are well", run.output)
        self.assertNotEqual(run.status, 0)

    def test_an_empty_inventory_is_not_well(self):
        run = self.play("ask", {})
        self.assertIn("Not all hosts are well", run.output)
        self.assertNotEqual(run.status, 0)


class OneQuestionTest(PlaybookTestCase):
    """One run of `ask`. The first host claims to be the second."""

    def setUp(self):
        super().setUp()
        claimed = WELL[1].replace('host="panel.example"', 'host="b"')
        self.run_of_ask = self.play(
            "ask", {"a": [(0, claimed)], "b": [DOWN]}, "--extra-vars",
            '{"keldoctl_gate": ["sudo", "-n", "keldoctl-gate"], "keldoctl_language": "de-DE"}')

    def test_each_host_is_asked_once_the_text_comes_last_and_pages_have_the_inventorys_names(self):
        request = "sudo -n keldoctl-gate inspect --language=de-DE"
        self.assertEqual(sorted(self.requests()), [("a", request), ("b", request)])
        text = (self.run_of_ask.directory / "fleet.txt").read_text(encoding="utf-8")
        self.assertEqual(self.run_of_ask.output[-len(text):], text)
        page = (self.run_of_ask.directory / "hosts/a.html").read_text(encoding="utf-8")
        self.assertRegex(page, "<title>[^<]* – a – ")


class RepairTest(PlaybookTestCase):
    def test_the_batches_grow_from_one_host_to_a_twentieth_and_to_a_fifth(self):
        hosts = {f"h{number:02}": REPAIRABLE for number in range(1, 41)}
        hosts["h05"] = (DOWN, DOWN, NOT_REPAIRED, WORSE)
        run = self.play("repair", {"well": [WELL]} | hosts)
        repaired = self.repaired()
        self.assertEqual((repaired[:1], sorted(repaired[1:3]), len(repaired)),
                         (["h01"], ["h02", "h03"], 1 + 2 + 8), run.output)
        self.assertEqual(list(run.states()), ["well", *hosts])
        # The hosts of further batches keep the state that they had when they were asked.
        self.assertEqual([run.states()[name] for name in ("well", "h01", "h05", "h11", "h12", "h40")],
                         ["well", "well", "problems", "well", "problems", "problems"])
        self.assertNotEqual(run.status, 0)

    def test_a_batch_that_became_worse_is_the_last(self):
        for title, answers in {
                "more services are down or not known": (DOWN, DOWN, NOT_REPAIRED, WORSE),
                "the host is no longer reachable": (DOWN, DOWN, REPAIRED, ABSENT),
                "the host was unreachable for a while": (DOWN, ABSENT, WELL),
                "the host no longer answers": (DOWN, DOWN, REPAIRED, SILENT)}.items():
            with self.subTest(title):
                run = self.play("repair", {"a": answers, "b": REPAIRABLE})
                self.assertNotIn("b", self.repaired())
                self.assertIn("or did not answer: a\"", run.output)
                self.assertEqual(run.states()["b"], "problems")
                self.assertNotEqual(run.status, 0)

    def test_a_repair_that_changes_nothing_does_not_stop_the_run(self):
        run = self.play("repair", {"a": (DOWN, DOWN, NOT_REPAIRED, DOWN),
                                   "again": (DOWN, DOWN, REPAIRED, DOWN), "b": REPAIRABLE,
                                   "absent": [ABSENT], "silent": [SILENT]})
        self.assertEqual(self.repaired(), ["a", "again", "b"])
        # The service of `again` stopped soon after its repair.
        self.assertEqual(run.states(), {"a": "problems", "again": "problems", "b": "well",
                                        "absent": "unreachable", "silent": "failed"})
        self.assertEqual(run.outcomes(), {("a", WEB): "failed", ("again", WEB): "ok",
                                          ("b", WEB): "ok"})

    def test_it_succeeds_if_all_hosts_are_well_afterwards(self):
        run = self.play("repair", {"a": REPAIRABLE, "b": [WELL]})
        self.assertEqual((run.status, self.repaired()), (0, ["a"]), run.output)

    def test_only_the_given_ids_are_carried_out(self):
        run = self.play("repair", {"a": [DOWN]}, "--extra-vars", '{"keldoctl_ids": ["other"]}')
        self.assertEqual(self.repaired(), [])
        self.assertEqual(run.outcomes(), {("a", "other"): "not_carried_out"})


class ReportTest(unittest.TestCase):
    """The last play alone. The inventory has a server that is called localhost."""

    def report(self, document=None, run="1" * 32):
        """Runs the play with a document in the directory, as the run `run`. Returns its exit status and
        output."""
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        directory.chmod(0o755)
        if document is not None:
            (directory / "fleet.xml").write_text(document, encoding="utf-8")
        (directory / "inventory").write_text(
            "localhost ansible_connection=ssh ansible_port=1 ansible_become=true\n", encoding="utf-8")
        environment = playbooks.environment(directory) | {"KELDOCTL_FLEET_RUN": run}
        del environment["ANSIBLE_CALLBACKS_ENABLED"]
        done = subprocess.run(playbooks.command("report", directory / "inventory"), env=environment,
                              check=False, cwd=directory, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.modes = {path.name: stat.S_IMODE(path.stat().st_mode)
                      for path in directory.glob("fleet.*") if path.suffix != ".xml"}
        return done.returncode, done.stdout

    @staticmethod
    def document(run="1" * 32):
        return (f'<fleet version="1" program="1.1.0" run="{run}" play="ask"'
                ' started="2026-11-22T04:48:37Z" seconds="1.000" xml:lang="en-US" verdict="well">'
                '<summary hosts="1" well="1" problems="0" unknown="0" upgrade="0" failed="0"'
                ' unreachable="0" unasked="0"/><host name="a" state="well"/></fleet>')

    def test_it_succeeds_for_the_well_document_of_this_run(self):
        status, output = self.report(self.document())
        self.assertEqual(status, 0, output)
        self.assertEqual(self.modes, dict.fromkeys(("fleet.html", "fleet.json", "fleet.txt"), 0o600))

    def test_it_fails_if_the_document_is_not_of_this_run(self):
        for title, document, message in (
                ("earlier run", self.document(run="2" * 32), "is not the document of this run"),
                ("ill-formed", self.document()[:-1], "fleet.xml"),
                ("missing", None, "fleet.xml")):
            with self.subTest(title):
                status, output = self.report(document)
                self.assertNotEqual(status, 0)
                self.assertIn(message, output)

    def test_it_fails_if_the_callback_is_not_enabled(self):
        status, output = self.report(self.document(), run="")
        self.assertNotEqual(status, 0)
        self.assertIn("callbacks_enabled = keldo.keldoctl.fleet", output)


if __name__ == "__main__":
    unittest.main()
