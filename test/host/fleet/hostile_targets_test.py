# SPDX-License-Identifier: MIT
"""A controller asks hostile targets behind real sshds, beside targets that are well."""

import pathlib
import tempfile
import unittest

import playbooks
from browser import Browser
from processes import running
from sshds import Targets
from views import INSPECTIONS

WELL = (INSPECTIONS / "all_well.xml").read_text(encoding="utf-8")
DOWN = (INSPECTIONS / "one_down.xml").read_text(encoding="utf-8")
DECLARATION, ROOT = WELL.split("\n", 1)
ENTITIES = "".join(f'<!ENTITY e{n + 1} "&e{n};&e{n};&e{n};&e{n};&e{n};&e{n};&e{n};&e{n};">'
                   for n in range(12))
# The target would run for ever; the controller waits this long.
WAIT = "keldoctl_timeout=3"

# The output of each target (a text, or a shell command that begins with "$ "), its exit status, and the
# code of the reason why it failed.
REFUSED = {
    "zeros of 100 MiB": ("$ head -c 104857600 /dev/zero", 0, "too_large"),
    "comment of 100 MiB": (f"$ printf %s '{DECLARATION}<!--'; head -c 104857600 /dev/zero |"
                           " tr '\\0' x", 0, "too_large"),
    "lines without end": ("$ exec yes '<service/>'", 0, "too_large"),
    "messages of 1 MB": ("$ head -c 1000000 /dev/zero | tr '\\0' x >&2; cat well.xml", 0, "too_large"),
    "elements nested 100,000 deep": ("$ printf '<a>%.0s' $(seq 100000)", 0, "too_large"),
    "100,000 elements": ("$ echo '<inspection>'; printf '<a/>%.0s' $(seq 100000)", 0, "too_large"),
    "rubbish": ("$ head -c 65536 /dev/urandom", 0, "not_an_inspection"),
    "page of a web server": ("<html><body>It works!</body></html>", 0, "not_an_inspection"),
    "two documents": (WELL + WELL, 0, "not_an_inspection"),
    "half a document": (WELL[:len(WELL) // 2], 0, "not_an_inspection"),
    "words of a login script": ("Welcome!\n" + WELL, 0, "not_an_inspection"),
    "later format": (WELL.replace('version="1"', 'version="2"', 1), 0, "not_an_inspection"),
    "invalid UTF-8": ("$ sed 's/Web Server/\\xff/' well.xml", 0, "not_an_inspection"),
    "other encoding": (WELL.replace("UTF-8", "UTF-7"), 0, "not_an_inspection"),
    "other XML": (WELL.replace('"1.0"', '"2.0"', 1), 0, "not_an_inspection"),
    "long name of an element": (WELL.replace("<summary ", f"<{'a' * 60000}/><summary "), 0, "too_large"),
    "long name of an attribute": (WELL.replace("<summary ", f"<summary {'a' * 60000}='' "), 0,
                                  "too_large"),
    "long name of a namespace": (WELL.replace("<summary ", f"<summary xmlns:{'a' * 60000}='u' "), 0,
                                 "too_large"),
    "service twice": (WELL.replace('id="dns"', 'id="web"'), 0, "not_an_inspection"),
    "document type": (f"{DECLARATION}<!DOCTYPE inspection>{ROOT}", 0, "doctype"),
    "entities that grow": (f'{DECLARATION}<!DOCTYPE inspection [<!ENTITY e0 "x">{ENTITIES}]>'
                           + ROOT.replace("Web Server", "&e12;"), 0, "doctype"),
    "file of the controller": (f'{DECLARATION}<!DOCTYPE inspection [<!ENTITY f SYSTEM "/etc/passwd">]>'
                               + ROOT.replace("Web Server", "&f;"), 0, "doctype"),
    "well although a service is down": (DOWN.replace('"problems"', '"well"'), 0, "contradiction"),
    "wrong count": (WELL.replace('up="7"', 'up="6"'), 0, "contradiction"),
    "problems with status 0": (DOWN, 0, "contradiction"),
    "well with status 1": (WELL, 1, "contradiction"),
    "well with the status busy": (WELL, 75, "busy"),
    "well with an unknown status": (WELL, 42, "exit_status"),
    "no gate": (WELL, 127, "no_gate"),
    "nothing": ("", 0, "no_answer"),
}
WAITED_FOR = {
    "silence": "$ exec sleep infinity",
    "half a document and silence": "$ head -c 1000 well.xml; exec sleep infinity",
    "document without an end of the command": "$ cat well.xml; exec sleep infinity",
    "a byte now and then": "$ while :; do printf ' '; sleep 0.1; done",
}
# sshd ends the connection with ssh's own status.
LOST = {
    "status of a lost connection": (WELL, 255),
    "killed command": ("$ cat well.xml; kill -KILL $$", 0),
}


class HostileTargetsTest(unittest.TestCase):
    """One run asks all of them."""

    @classmethod
    def setUpClass(cls):
        cls.directory = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (cls.directory / "well.xml").write_text(WELL, encoding="utf-8")
        cls.executed = cls.directory / "executed"
        targets = cls.enterClassContext(Targets(cls.directory / "targets"))
        cls.names = {}
        for title, (answer, status, _) in REFUSED.items():
            cls.add(targets, title, answer, status)
        for title, answer in WAITED_FOR.items():
            cls.add(targets, title, answer, 0, WAIT)
        for title, (answer, status) in LOST.items():
            cls.add(targets, title, answer, status)
        cls.add(targets, "hostile texts", hostile(cls.executed), 1)
        cls.add(targets, "thousands of services", many_down(3300), 1)
        cls.add(targets, "well", WELL, 0)
        cls.add(targets, "also well", WELL, 0)
        inventory = targets.inventory()
        before = running()
        cls.asked = playbooks.play("ask", inventory, cls.directory / "asked")
        cls.repaired = playbooks.play("repair", inventory, cls.directory / "repaired",
                                      f"--limit={cls.names['hostile texts']}")
        # The commands of some targets never end.
        cls.left = {name for _, _, name in running() - before}

    @classmethod
    def add(cls, targets, title, answer, status, variables=""):
        name = title.replace(" ", "-").replace(",", "").lower()
        cls.names[title] = name
        script = cls.directory / f"{name}.sh"
        if not answer.startswith("$ "):
            (cls.directory / f"{name}.xml").write_text(answer, encoding="utf-8")
            answer = f"$ cat {name}.xml"
        script.write_text(f"cd {cls.directory}\n{answer[2:]}\nexit {status}\n", encoding="utf-8")
        targets.add([name], f"sh {script}", variables)

    def state(self, title):
        return self.asked.states()[self.names[title]]

    def assert_failed(self, title, code):
        with self.subTest(title):
            self.assertEqual((self.state(title), self.asked.reason(self.names[title])),
                             ("failed", code), self.asked.hosts[self.names[title]].findtext("reason"))

    def test_answers_that_are_no_inspections_fail_with_their_reason(self):
        for title, (_, _, code) in REFUSED.items():
            self.assert_failed(title, code)

    def test_answers_that_do_not_end_fail_when_their_time_is_over(self):
        for title in WAITED_FOR:
            self.assert_failed(title, "timed_out")

    def test_an_answer_with_the_status_of_a_lost_connection_counts_as_unreachable(self):
        for title in LOST:
            with self.subTest(title):
                self.assertEqual(self.state(title), "unreachable")

    def test_the_other_targets_are_untouched(self):
        for title in ("well", "also well"):
            self.assertEqual(self.state(title), "well")
        self.assertEqual(list(self.asked.states().values()).count("well"), 2)

    def test_the_page_of_thousands_of_services_is_made(self):
        # It took minutes if each row compared all severities with each other.
        name = self.names["thousands of services"]
        self.assertEqual(self.state("thousands of services"), "problems")
        self.assertTrue((self.asked.directory / f"hosts/{name}.html").exists())

    def test_nothing_in_a_text_is_executed(self):
        self.assertEqual(self.state("hostile texts"), "problems")
        self.assertFalse(self.executed.exists())

    def test_an_id_that_is_no_plain_word_is_not_asked_for(self):
        outcomes = self.repaired.outcomes()
        self.assertEqual({(name, state) for (name, _), state in outcomes.items()},
                         {(self.names["hostile texts"], "not_carried_out")}, self.repaired.output)
        self.assertFalse(self.executed.exists())

    def test_no_process_is_left_on_the_controller(self):
        self.assertEqual({"ssh", "ansible-playboo"} & self.left, set())

    def test_the_pages_show_hostile_texts_as_text(self):
        name = self.names["hostile texts"]
        with Browser() as browser:
            for page in ("fleet.html", f"hosts/{name}.html"):
                with self.subTest(page):
                    browser.load(self.asked.directory / page)
                    self.assertIsNone(browser.run("window.executed ?? null"))
                    self.assertIn(SCRIPT, browser.run("document.body.textContent"))
                    self.assertEqual(browser.run("document.querySelectorAll('img, iframe').length"), 0)


SCRIPT = "<script>window.executed = 1</script><img src=x onerror=window.executed=1>"


def many_down(count):
    """An inspection with this number of services, all of them down."""
    start = DOWN[:DOWN.index("<services>")].replace(
        'services="7" up="6" down="1"', f'services="{count}" up="0" down="{count}"')
    services = "".join(f'<service id="{number}" origin="core" state="down" seconds="0">'
                       '<title xml:lang="en-US"/><reason code="r" xml:lang="en-US"/><tests/></service>'
                       for number in range(count))
    problems = "".join(f'<problem id="service-down:{number}"><severity>major</severity></problem>'
                       for number in range(count))
    return f"{start}<services>{services}</services><keldoctl>{problems}</keldoctl></inspection>"


def hostile(executed):
    """An inspection whose ids and texts would be executed by a careless reader."""
    command = f"touch {executed}"
    title = (SCRIPT.replace("<", "&lt;") + f" {{{{ lookup('pipe', '{command}') }}}} $({command})"
             f" `{command}` ]]&gt; \u202e &#x9b;31m")
    return (DOWN.replace(">Web Server<", f">{title}<")
            .replace("service:web", f"service:$({command})").replace('"web"', f'"$({command})"')
            .replace("down:web", f"down:$({command})")
            .replace("The pid file /run", "{% set x = lookup('pipe', '" + command + "') %} /run"))


if __name__ == "__main__":
    unittest.main()
