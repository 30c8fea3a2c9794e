# SPDX-License-Identifier: MIT
"""Ansible asks and repairs hosts by a fake ssh, which chooses its answer by the host's name. The
callback writes every host of the inventory once, however the run ends."""

import pathlib
import re
import subprocess
import tempfile
import textwrap
import unittest
import xml.etree.ElementTree as ET

import playbooks
import schemas
from views import INSPECTIONS

WEB = "restart-service:web"

# The fake ssh. Its arguments end with the host's address and the command. The first word of the address
# chooses the answer.
SSH = """#!/bin/bash
host=${*: -2:1} command=${*: -1}
echo "$host: $command" >>"$CALLS"
case $host,$command in
    repairable*,*" repair "*) cat "$INSPECTIONS/web_repaired.xml" ;;
    stubborn*,*" repair "*) cat "$INSPECTIONS/web_not_repaired.xml"; exit 1 ;;
    busy*,*" repair "*) exit 75 ;;
    lost*,*" repair "*) echo lost >&2; exit 255 ;;
    repairable*|stubborn*|busy*|lost*) cat "$INSPECTIONS/one_down.xml"; exit 1 ;;
    well*) cat "$INSPECTIONS/all_well.xml" ;;
    unknown*) cat "$INSPECTIONS/disk_full.xml"; exit 2 ;;
    template*) cat "$INSPECTIONS/template.xml"; exit 1 ;;
    failing*) exit 3 ;;
    absent*) exit 255 ;;
    arguments*) cat "$INSPECTIONS/all_well.xml"; printf '%s\\n' "$@" >"$CALLS.arguments" ;;
esac
"""

INVENTORY = """
[web]
well-1
repairable
stubborn
busy
lost
[all_hosts]
unknown
well-1
failing
absent
template
not-asked
[cases]
fails-before
fails-before-ignored
fails-before-rescued
fails-after
fails-and-is-not-asked
wrong-item-last
wrong-item-first
wrong-timeout
wrong-gate
wrong-name
[cases:vars]
ansible_host=well
[all:vars]
ansible_ssh_executable={ssh}
ansible_python_interpreter=/nonexistent
"""

ASK = "keldo.keldoctl.keldoctl_info:"
REPAIR = "keldo.keldoctl.keldoctl_repair:"


def play(hosts, *tasks, keywords=""):
    """A play of a playbook. A task is its YAML without the first dash."""
    listed = "".join(textwrap.indent(f"- {textwrap.indent(task, '  ').lstrip()}\n", " " * 4)
                     for task in tasks)
    return f"- hosts: {hosts}\n  gather_facts: false\n{textwrap.indent(keywords, '  ')}\n  tasks:\n{listed}"


class Result:
    def __init__(self, done, directory, calls):
        self.status = done.returncode
        self.output = done.stdout
        self.calls = calls.read_text(encoding="utf-8").splitlines() if calls.exists() else []
        self.hosts = []
        if (directory / "fleet.xml").exists():
            document = (directory / "fleet.xml").read_bytes()
            schemas.require_fleet(document)
            self.hosts = ET.fromstring(document).findall("host")

    def states(self):
        """The states of the hosts that were asked, by name. Fails if a host is listed twice."""
        names = [host.get("name") for host in self.hosts]
        assert len(set(names)) == len(names), names
        return {host.get("name"): host.get("state") for host in self.hosts
                if host.get("state") != "unasked"}

    def host(self, name):
        [found] = [host for host in self.hosts if host.get("name") == name]
        return found

    def outcomes(self):
        return {host.get("name"): [outcome.get("state") for outcome in host.iter("outcome")]
                for host in self.hosts if host.find("outcome") is not None}


# The state of each host of ask_by_case().
STATE_BY_CASE = {
    "fails-before": "failed", "fails-before-ignored": "well", "fails-before-rescued": "well",
    "fails-after": "well", "wrong-item-last": "failed", "wrong-item-first": "well",
    "wrong-timeout": "failed", "wrong-gate": "failed", "wrong-name": "failed"}
FAIL = "ansible.builtin.fail: {msg: no luck}"


def ask_by_case():
    """Tasks that ask a host. The host's name describes what else they do."""
    def only(*names):
        return f"when: inventory_hostname in {list(names)}"

    items = f"{ASK} {{language: '{{{{ item }}}}'}}\nloop: "
    return (
        f"{FAIL}\n{only('fails-before')}",
        f"{FAIL}\nignore_errors: true\n{only('fails-before-ignored', 'fails-and-is-not-asked')}",
        f"block:\n  - {FAIL}\nrescue:\n  - {ASK}\n{only('fails-before-rescued')}",
        f"{items}[en-US, wrong]\n{only('wrong-item-last')}",
        f"{items}[wrong, en-US]\n{only('wrong-item-first')}",
        f"{ASK} {{timeout: 0}}\n{only('wrong-timeout')}",
        f"{ASK} {{gate: []}}\n{only('wrong-gate')}",
        f"{ASK} {{other: 1}}\n{only('wrong-name')}",
        f"{ASK}\nwhen: inventory_hostname not in ['fails-and-is-not-asked', 'fails-before-rescued']",
        f"{FAIL}\n{only('fails-after')}")


class PluginsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.directory = pathlib.Path(folder.name)
        self.executed = self.directory / "executed"
        self.ssh = self.directory / "ssh"
        self.ssh.write_text(SSH, encoding="utf-8")
        self.ssh.chmod(0o755)
        answers = self.directory / "answers"
        answers.mkdir()
        for file in INSPECTIONS.iterdir():
            (answers / file.name).write_bytes(file.read_bytes())
        for name, source in (("web_repaired", "repaired"), ("web_not_repaired", "repair_failed")):
            text = (INSPECTIONS / f"{source}.xml").read_text(encoding="utf-8")
            text = re.sub(r'<action id="restart-service:dns">.*?</action>', "", text, flags=re.S)
            (answers / f"{name}.xml").write_text(text, encoding="utf-8")
        (answers / "template.xml").write_text(
            (INSPECTIONS / "one_down.xml").read_text(encoding="utf-8").replace(
                "Web Server", "{{ lookup('pipe', 'touch " + str(self.executed) + "') }}"),
            encoding="utf-8")

    def run_playbook(self, *plays, options=()):
        """Runs the plays. The callback writes to `directory`/fleet."""
        (self.directory / "inventory").write_text(INVENTORY.format(ssh=self.ssh), encoding="utf-8")
        (self.directory / "site.yml").write_text("".join(plays), encoding="utf-8")
        calls = self.directory / "calls"
        calls.unlink(missing_ok=True)
        environment = {**playbooks.environment(self.directory), "CALLS": str(calls),
                       "INSPECTIONS": str(self.directory / "answers"),
                       "KELDOCTL_FLEET_DIRECTORY": str(self.directory / "fleet")}
        done = subprocess.run(["ansible-playbook", "--inventory=inventory", "site.yml", *options],
                              check=False, cwd=self.directory, env=environment, encoding="utf-8",
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        return Result(done, self.directory / "fleet", calls)

    def test_every_host_of_the_inventory_is_in_the_document_once(self):
        result = self.run_playbook(play("all:!not-asked", *ask_by_case()))
        self.assertEqual(len(result.hosts), 20)
        self.assertEqual(result.states(), {
            "well-1": "well", "repairable": "problems", "stubborn": "problems", "busy": "problems",
            "lost": "problems", "unknown": "unknown", "failing": "failed", "absent": "unreachable",
            "template": "problems", **STATE_BY_CASE}, result.output)
        self.assertEqual(result.host("fails-before").find("reason").get("code"), "task_failed")
        self.assertEqual([call for call in result.calls if "wrong" in call], [])

    def test_a_limit_leaves_hosts_unasked_and_check_mode_repairs_nothing(self):
        """Hosts beyond the limit are unasked. An included task asks. Repairs are shown only."""
        (self.directory / "included.yml").write_text(f"- {ASK}\n", encoding="utf-8")
        result = self.run_playbook(play("well-1", "ansible.builtin.include_tasks: included.yml"),
                                   play("repairable", REPAIR),
                                   options=["--limit=well-1,repairable", "--check", "--diff"])
        self.assertEqual(result.states(), {"well-1": "well", "repairable": "problems"}, result.output)
        self.assertEqual(len(result.hosts), 20)
        self.assertEqual(result.outcomes(), {"repairable": ["not_carried_out"]})
        self.assertIn(f"\nkeldoctl-gate repair {WEB}\n", result.output)
        self.assertEqual(result.calls, ["well-1: keldoctl-gate inspect",
                                        "repairable: keldoctl-gate inspect"])

    def test_a_play_that_is_aborted_leaves_the_others_unasked(self):
        result = self.run_playbook(play("failing,well-1", ASK, keywords="serial: 1\n"
                                        "max_fail_percentage: 0"))
        self.assertEqual(result.states(), {"failing": "failed"})

    def test_a_run_without_a_question_writes_nothing(self):
        result = self.run_playbook(play("well-1", "ansible.builtin.fail:"))
        self.assertFalse((self.directory / "fleet").exists(), result.output)

    def test_the_last_play_reads_what_the_others_found(self):
        """Ignored failures count. A connection without ssh is asked by its own means."""
        directory = self.directory / "fleet"
        (directory / "hosts").mkdir(parents=True)
        (directory / "fleet.xml").write_text("<fleet/>", encoding="utf-8")
        gate = self.directory / "gate"
        gate.write_text('#!/bin/sh\nexec cat "$INSPECTIONS/all_well.xml"\n', encoding="utf-8")
        gate.chmod(0o755)
        result = self.run_playbook(
            play("failing,absent", f"{ASK}\nignore_errors: true\nignore_unreachable: true"),
            play("well-1", f"{ASK} {{gate: ['{gate}']}}", keywords="connection: local"),
            play("localhost", "ansible.builtin.assert:\n"
                 f"  that: \"' run=' ~ '\\\"' ~ lookup('env', 'KELDOCTL_FLEET_RUN') in text and"
                 " 'well=\\\"1\\\"' in text\"\n"
                 "vars:\n  text: \"{{ lookup('file', lookup('env', 'KELDOCTL_FLEET_DIRECTORY') ~"
                 " '/fleet.xml') }}\""))
        self.assertEqual(result.status, 0, result.output)
        self.assertEqual(result.states(),
                         {"failing": "failed", "absent": "unreachable", "well-1": "well"})

    def test_repairs_are_carried_out_and_their_outcomes_stay(self):
        hosts = "well-1,repairable,stubborn,busy,lost"
        result = self.run_playbook(
            play(hosts, f"{REPAIR}\nignore_errors: true\nignore_unreachable: true\nregister: done",
                 "ansible.builtin.debug: {msg: 'changed {{ done.changed }}'}"),
            play("stubborn", ASK))
        self.assertEqual(result.states(), {"well-1": "well", "repairable": "well", "busy": "failed",
                                           "stubborn": "problems", "lost": "unreachable"}, result.output)
        self.assertEqual(result.outcomes(), {"repairable": ["ok"], "stubborn": ["failed"],
                                             "busy": ["not_carried_out"], "lost": ["failed"]})
        changed = dict(re.findall(r'ok: \[([^]]+)\] => \{\s*"msg": "changed (\w+)"', result.output))
        self.assertEqual(changed, {"well-1": "False", "repairable": "True", "stubborn": "True",
                                   "busy": "False", "lost": "False"}, result.output)
        self.assertNotIn("<inspection", result.output)
        self.assertEqual(sorted(result.calls), sorted(
            [f"{host}: keldoctl-gate inspect" for host in (*hosts.split(","), "stubborn")]
            + [f"{host}: keldoctl-gate repair {WEB}" for host in hosts.split(",")[1:]]))

    def test_only_proposed_ids_are_asked_for_and_no_text_of_a_host_is_evaluated(self):
        result = self.run_playbook(
            play("repairable", f"{REPAIR}\n  ids: [restart-service:dns]",
                 f"{REPAIR}\n  ids: [restart-service:dns, '{WEB}', '{WEB}']\n  language: de-DE\n"
                 "  gate: [sudo, -n, keldoctl-gate]"),
            play("template", f"{ASK}\nregister: found",
                 "ansible.builtin.set_fact: {title: '{{ found.problems[0].title }}'}",
                 "ansible.builtin.debug: {msg: 'x {{ title }} {{ found.document | length }}'}"))
        self.assertEqual(result.calls, [
            "repairable: keldoctl-gate inspect",
            "repairable: sudo -n keldoctl-gate inspect --language=de-DE",
            f"repairable: sudo -n keldoctl-gate repair --language=de-DE {WEB}",
            "template: keldoctl-gate inspect"], result.output)
        self.assertIn("lookup('pipe', 'touch", result.output)
        self.assertFalse(self.executed.exists())

    def test_variables_set_what_the_task_does_not_but_limit_no_repair(self):
        result = self.run_playbook(
            play("well-1,repairable", ASK, f"{ASK} {{gate: [own], language: en-US, timeout: 9}}",
                 keywords="vars:\n  words: [sudo, keldoctl-gate]\n  keldoctl_gate: '{{ words }}'\n"
                 "  keldoctl_language: de-DE\n  keldoctl_timeout: '{{ 5 + 5 }}'"),
            play("repairable", REPAIR,
                 keywords="vars:\n  keldoctl_timeout: none\n  keldoctl_gate: [other]"),
            play("repairable", ASK, keywords="vars:\n  keldoctl_timeout: none"))
        self.assertEqual([call for call in result.calls if call.startswith("repairable")], [
            "repairable: sudo keldoctl-gate inspect --language=de-DE",
            "repairable: own inspect --language=en-US",
            "repairable: other inspect", f"repairable: other repair {WEB}"], result.output)
        self.assertEqual(result.states(), {"well-1": "well", "repairable": "failed"})

    def test_ssh_gets_the_arguments_of_the_inventory_and_leaves_no_master(self):
        self.run_playbook(play("well-1", ASK, keywords="vars:\n  ansible_host: arguments\n"
                               "  ansible_port: 2222\n  ansible_user: someone\n"
                               "  ansible_ssh_common_args: -J bastion"))
        arguments = (self.directory / "calls.arguments").read_text(encoding="utf-8").splitlines()
        for expected in ("Port=2222", 'User="someone"', "bastion", "BatchMode=yes"):
            self.assertIn(expected, arguments)
        masters = [each for each in arguments if each.startswith("ControlMaster=")]
        self.assertEqual(masters[0], "ControlMaster=no")
        self.assertEqual(arguments[-2:], ["arguments", "keldoctl-gate inspect"])


if __name__ == "__main__":
    unittest.main()
