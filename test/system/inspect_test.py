# SPDX-License-Identifier: MIT
"""keldoctl-inspect with fakes of what it asks: its document, its exit status and what it leaves
behind. The database is always down. test/host/inspection_trials_test.py has the real programs."""

import contextlib
import json
import os
import pathlib
import pty
import re
import select
import signal
import socket
import subprocess
import unittest
import xml.etree.ElementTree as ElementTree

import inspection
import schemas
from inspection import INSPECT, LANG
from panel import CORE_SERVICES, Panel, report
from subreaper import become_subreaper
from terminal import PATIENCE

ASKED = CORE_SERVICES[1:]  # of the monitor
MYSQL = {"mysql": "down database_refused"}
WELL = {service: "up passed" for service in ASKED} | MYSQL
CONFIGURATION = "/etc/kvr/kvr.conf"
STARTED, GO = "/usr/local/kvr/started", "/usr/local/kvr/go"
# Tells that it has started, and waits for a line.
WAIT = f"echo x > {STARTED}\nread line < {GO}\n"


def monitor(before="", root='batch="1"', service="", **statuses):
    """A monitor that runs the shell commands `before`. It then gives each service its status in
    `statuses`, 0 by default, and the further elements `service`."""
    service = service.replace("&", "\\&")
    changes = "".join(f"s,<name>{name}</name><status>0,<name>{name}</name><status>{status},\n"
                      for name, status in statuses.items())
    return f"""#!/bin/sh
{before}
echo '<monit {root}>'
sed -n 's,^check [a-z]* \\(.*\\),<service><name>\\1</name><status>0</status><monitor>1</monitor>{service}</service>,
T
{changes}p' "$2"
echo '</monit>'
"""


def states(seen):
    return {service.id: f"{service.state} {service.code}" for service in seen.services}


def reap_all():
    """Reaps all orphans, which have become children of this process. Hangs if the program has not
    ended one of them."""
    with contextlib.suppress(ChildProcessError):
        while True:
            os.wait()


class InspectTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()
        self.panel.fake_monitor(script=monitor())

    def run_program(self, *arguments, **options):
        process = self.panel.start(*arguments, **({"program": (INSPECT,)} | options))
        output, errors = process.communicate()
        return subprocess.CompletedProcess(arguments, process.returncode, output, errors)

    def inspect(self, *arguments, **options):
        done = self.run_program(*arguments, **options)
        self.assertEqual(os.listdir(self.panel.root / "tmp"), [])
        return inspection.read(done.stdout, done.returncode)

    def service(self, name, *arguments):
        [found] = [each for each in self.inspect(*arguments).services if each.id == name]
        return found

    def make_fifos(self):
        """STARTED, open for reading, and GO, open for writing. No end of file is read."""
        for path in (STARTED, GO):
            os.mkfifo(path)
        descriptors = [os.open(path, os.O_RDWR) for path in (STARTED, GO)]
        for descriptor in descriptors:
            self.addCleanup(os.close, descriptor)
        return descriptors

    def wait_for(self, descriptor, count=1):
        """Reads that many lines."""
        text = b""
        while text.count(b"\n") < count:
            if not select.select([descriptor], [], [], PATIENCE)[0]:
                self.fail(f"only {text!r}")
            text += os.read(descriptor, count - text.count(b"\n") + 1)


def plain(element):
    """The data of an element of the XML document in the form of the JSON document."""
    data = {name.replace(LANG, "lang"): value for name, value in element.attrib.items()}
    if element.tag in ("title", "reason", "sentence", "message"):
        return data | {"text": element.text or ""}
    for child in element:
        if child.tag in ("services", "dependencies", "tests", "solutions"):
            data[child.tag] = [plain(each) for each in child]
        elif child.tag == "sentence":
            data.setdefault("sentences", []).append(plain(child))
        elif child.tag in ("severity", "status", "log", "detail"):
            data[child.tag] = child.text or ""
        else:
            data[child.tag] = plain(child)
    if element.tag in ("pid_file", "unix_socket", "port", "connection"):
        data["kind"] = element.tag
    return data


def without_types(data):
    """The same with numbers and truth values as text, and without times."""
    if isinstance(data, dict):
        return {name: without_types(value) for name, value in data.items()
                if name not in ("seconds", "started") and "checked in" not in str(value)[:80]}
    if isinstance(data, list):
        return [without_types(each) for each in data]
    return str(data).lower() if isinstance(data, bool) else str(data)


class DocumentTest(InspectTest):
    def test_the_document_has_the_services_the_verdict_and_the_dependencies(self):
        seen = self.inspect()
        self.assertEqual((states(seen), seen.verdict, seen.status), (WELL, "problems", 1))
        self.assertEqual({name: each.state for name, each in seen.dependencies.items()}, {
            "configuration": "ok", "definitions": "ok", "upgrade_tool": "ok",
            "database": "failed", "action_log": "failed", "control_files": "ok", "monitor": "ok"})

    def test_json_and_xml_hold_the_same(self):
        self.panel.fake_monitor(script=monitor(web=32, mail=512, service="<words>a &lt; b</words>"))
        self.panel.write_service("web", 'Web & "Server" <ä>', ports=[
            (80, {"protocol": "http"}), (53, {"type": "UDP"})], pid_file="/run/w.pid",
            sockets=["/run/w"])
        self.panel.write_service("dns", "", start="printf 'a\\001<b>'", own_id="d&n<s")
        for arguments in ((), ("--repair", "restart-service:d&n<s")):
            with self.subTest(arguments):
                root = ElementTree.fromstring(self.inspect(*arguments).document)
                as_xml = plain(root)
                listed = as_xml.pop("keldoctl") and root.find("keldoctl")
                as_xml |= {"problems": [plain(each) for each in listed.iter("problem")],
                           "actions": [plain(each) for each in listed.findall("action")]}
                output = self.run_program("--json", *arguments).stdout
                as_json = json.loads(output)
                self.assertEqual(without_types(as_json), without_types(as_xml))
                self.assertEqual(list(as_json), [
                    "version", "program", "host", "started", "seconds", "lang", "verdict",
                    "summary", "dependencies", "services", "problems", "actions"])
                schemas.require_json_inspection(output)

    def test_the_embedded_report_is_that_of_keldoctl(self):
        self.panel.fake_monitor(script=monitor(web=32, mail=512))
        self.assertEqual(self.inspect().report, self.panel.run("--status").stdout)

    def test_during_an_upgrade_no_service_is_checked(self):
        self.panel.upgrade_tool(1)
        seen = self.inspect()
        self.assertEqual((set(states(seen).values()), seen.verdict, seen.status),
                         ({"unchecked upgrade"}, "upgrade", 4))
        self.assertEqual(seen.report, self.panel.run("--status").stdout)
        self.assertEqual(self.panel.calls(), [])

    def test_an_upgrade_tool_without_an_answer_counts_as_missing_or_failed(self):
        for change, state in ((lambda: self.panel.upgrade_tool(None), "missing"),
                              (lambda: self.panel.upgrade_tool(7, "printf 'no\\377' >&2"), "failed")):
            change()
            tool = self.inspect().dependencies["upgrade_tool"]
            self.assertEqual((tool.state, tool.code), (state, "upgrade_unknown"))
        self.assertEqual(tool.detail, "no\N{REPLACEMENT CHARACTER}")

    def test_a_service_that_has_two_definitions_is_checked_and_shown_once(self):
        self.panel.write_service("dns", own_id="web")
        seen = self.inspect("--jobs=1")
        self.assertEqual([service.id for service in seen.services],
                         ["mysql", "keldo", "smtp", "web", "mail"])
        self.assertEqual(self.panel.checked_services(), ["keldo", "smtp", "web", "mail"])

    def test_texts_are_translated_or_marked_as_english(self):
        self.panel.catalogue(
            'msgid ""\nmsgstr "Content-Type: text/plain; charset=UTF-8\\n"\n'
            '"Plural-Forms: nplurals=2; plural=(n != 1);\\n"\n'
            'msgid "The database server refuses the connection."\nmsgstr "Abgelehnt."\n'
            'msgid "<count> service is up."\nmsgid_plural "<count> services are up."\n'
            'msgstr[0] "<count> läuft."\nmsgstr[1] "<count> laufen."\n')
        self.panel.write_service("mysql", titles={"de-DE": "Datenbank"})
        root = ElementTree.fromstring(self.inspect(
            "--language=de-DE", env={"LOCPATH": os.environ["LOCPATH_UTF8"]}).document)
        texts = [root.find(f".//service[@id='mysql']/{name}") for name in ("title", "reason")]
        texts += [root.find(".//sentence[@code='up']"), root.find(".//service[@id='web']/reason")]
        self.assertEqual([(text.text, text.get(LANG)) for text in texts], [
            ("Datenbank", "de-DE"), ("Abgelehnt.", "de-DE"), ("5 laufen.", "de-DE"),
            ("All tests passed.", "en-US")])
        self.assertEqual(root.get(LANG), "de-DE")


class DefinitionTest(InspectTest):
    def test_a_definition_that_cannot_be_used_leaves_its_service_unknown(self):
        path = pathlib.Path("/service/web.xml")
        xml = '<service xmlns="http://keldo.example/schemas/keldo/service/1" id="web"><checks>'
        for code, make in (
                ("missing", lambda: None),
                ("no_file", lambda: os.mkfifo(path)),
                ("no_file", path.mkdir),
                ("unreadable", lambda: path.symlink_to(path)),
                ("ill_formed", lambda: path.write_text("<service>\n<a", encoding="utf-8")),
                ("ill_formed", lambda: path.write_text("<service/>", encoding="utf-8")),
                ("ill_formed", lambda: path.write_text(
                    xml.replace('id="web"', "") + "</checks></service>", encoding="utf-8")),
                ("without_tests", lambda: path.write_text(xml + "</checks></service>",
                                                          encoding="utf-8"))):
            with self.subTest(code):
                path.unlink()
                make()
                seen = self.inspect()
                self.assertEqual(states(seen), WELL | {"web": f"unknown definition_{code}"})
                if path.is_dir():
                    path.rmdir()
                if not os.path.lexists(path):
                    path.touch()

    def test_a_refused_definition_is_refused_even_if_a_fifo_replaces_it(self):
        self.panel.fake_monitor(script="#!/bin/sh\nrm /service/*\nmkfifo /service/web.xml\n"
                                "echo \"<monit batch='1' refused='1'><words>$2:1: no</words></monit>\"\n")
        self.panel.remove_definitions()
        self.panel.write_service("web")
        self.assertEqual(self.service("web").code, "definition_refused")

    def test_the_words_of_the_xml_parser_are_the_detail(self):
        self.panel.write_definition("web", "<service>\n</web>\n")
        self.assertEqual(self.service("web").detail,
                         "line 2: Opening and ending tag mismatch: service line 1 and web")

    def test_a_definition_that_may_not_be_read_leaves_its_service_unknown(self):
        pathlib.Path("/service/web.xml").chmod(0)
        seen = self.inspect(program=("setpriv", "--bounding-set=-dac_override,-dac_read_search",
                                     INSPECT))
        self.assertEqual(states(seen), WELL | {"web": "unknown definition_unreadable"})

    def test_without_definitions_all_services_are_unknown(self):
        for path, state in (("/service", "failed"), ("/gone", "missing")):
            with self.subTest(state):
                self.panel.remove_definitions()
                if state == "missing":
                    os.rename("/service", path)
                    self.addCleanup(os.mkdir, "/service")
                    self.addCleanup(os.rmdir, path)
                seen = self.inspect()
                self.assertEqual(set(states(seen).values()), {"unknown definition_missing"})
                self.assertEqual(seen.dependencies["definitions"].state, state)
                self.assertEqual((seen.verdict, seen.status), ("unknown", 2))
                self.assertEqual(seen.dependencies["monitor"].state, "unasked")

    def test_a_configuration_file_that_cannot_be_read_is_reported(self):
        os.unlink(CONFIGURATION)
        for make, expected in ((lambda: None, ("missing", "default_configuration")),
                               (lambda: os.mkdir(CONFIGURATION),
                                ("failed", "unreadable_configuration"))):
            with self.subTest(expected):
                make()
                configuration = self.inspect().dependencies["configuration"]
                self.assertEqual((configuration.state, configuration.code), expected)
        os.rmdir(CONFIGURATION)

    def test_a_signal_ends_it_while_it_waits_for_the_configuration_file(self):
        os.unlink(CONFIGURATION)
        os.mkfifo(CONFIGURATION)
        self.addCleanup(os.unlink, CONFIGURATION)
        process = self.panel.start(program=(INSPECT,))
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        with open(CONFIGURATION, "wb"):  # waits until the program opens it
            process.terminate()
            self.assertEqual(process.wait(PATIENCE), -signal.SIGTERM)


class MonitorTest(InspectTest):
    def all_asked(self, state, *arguments):
        seen = self.inspect(*arguments)
        self.assertEqual(states(seen), dict.fromkeys(ASKED, state) | MYSQL)
        return seen

    def test_a_monitor_that_knows_no_batches_is_asked_for_each_service(self):
        self.panel.fake_monitor(script=monitor(root=""))
        self.all_asked("up passed", "--jobs=1")
        self.assertEqual([len(call.arguments) for call in self.panel.calls()], [6] + [4] * 5)

    def test_services_are_unknown_if_the_monitor_does_not_tell_whether_it_tests(self):
        self.panel.fake_monitor()
        self.all_asked("unknown not_told")

    def test_an_answer_that_cannot_be_read_leaves_services_unknown(self):
        for script, code, detail in (
                ("printf 'a\\377\\001' >&2", "failed", "a" + "\N{REPLACEMENT CHARACTER}" * 2),
                ("printf '<monit><\\377'", "rubbish", ""),
                ("echo '<monit batch=\"1\">'; head -c 1048576 /dev/zero | tr '\\0' ' '; echo '</monit>'",
                 "rubbish", "")):
            with self.subTest(script):
                self.panel.fake_monitor(script="#!/bin/sh\n" + script + "\n")
                seen = self.all_asked(f"unknown monitor_{code}", "--jobs=1")
                found = seen.dependencies["monitor"]
                self.assertEqual((found.state, found.code, found.detail),
                                 ("failed", f"monitor_{code}", detail))

    def test_a_monitor_whose_interpreter_is_missing_leaves_services_unknown(self):
        path = self.panel.write_program("monit", "#!/none\n")
        found = self.all_asked("unknown monitor_failed").dependencies["monitor"]
        self.assertEqual((found.state, found.detail),
                         ("failed", f"{path}: No such file or directory\n"))

    def test_an_answer_of_almost_1_mib_is_read(self):
        self.panel.fake_monitor(script=monitor("", service="<x/>").replace(
            "echo '</monit>'", "yes '<x/>' | head -c 1040000; echo '</monit>'"))
        self.all_asked("up passed", "--jobs=1")

    def test_words_with_markup_and_controls_are_kept(self):
        self.panel.fake_monitor(script=monitor(
            web=512, service="<words>&lt;ä&amp;\x7F]]&gt;</words>"))
        self.assertEqual(self.service("web").detail, "<ä&\x7F]]>")

    def test_a_monitor_that_hangs_is_ended_at_the_limit(self):
        become_subreaper()
        self.addCleanup(become_subreaper, False)
        self.panel.fake_monitor(script="#!/bin/sh\nsleep infinity\n")
        seen = self.all_asked("unknown limit", "--timeout=1")
        self.assertEqual((seen.verdict, seen.status), ("problems", 1))
        found = seen.dependencies["monitor"]
        self.assertEqual((found.state, found.code), ("failed", "monitor_silent"))
        reap_all()

    def test_each_job_has_a_batch_unless_there_are_fewer_services(self):
        for arguments, count in ((("--jobs=1",), 1), (("--jobs=2",), 2), (("--jobs=9",), 5), ((), 1)):
            with self.subTest(arguments):
                self.panel.forget_calls()
                self.inspect(*arguments, preexec_fn=lambda: os.sched_setaffinity(
                    0, {min(os.sched_getaffinity(0))}))
                self.assertEqual(len(self.panel.calls()), count)

    def test_as_many_monitors_run_at_once_as_jobs(self):
        for service in ASKED:
            self.panel.write_service(service, own_id=service + "+")  # so each is asked alone
        started, go = self.make_fifos()
        self.panel.write_program("monit", monitor(WAIT))
        process = self.panel.start("--jobs=2", program=(INSPECT,))
        children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children")
        self.wait_for(started)
        for _ in range(4):
            self.wait_for(started)
            self.assertEqual(len(children.read_text(encoding="ascii").split()), 2)
            os.write(go, b"go\n")
        os.write(go, b"go\n")
        process.communicate()

    def test_few_descriptors_are_enough(self):
        for service in ASKED:
            self.panel.write_service(service, own_id=service + "+")  # so each is asked alone
        seen = self.inspect("--jobs=9", program=("prlimit", "--nofile=16", INSPECT))
        self.assertEqual({service.code for service in seen.services[1:]}, {"passed"})
        self.assertEqual(seen.dependencies["control_files"].state, "ok")

    def test_a_missing_or_unusable_monitor_leaves_services_unknown(self):
        path = self.panel.root / "admin/sbin/monit"
        for make, code, state in (
                (lambda: None, "missing", "missing"),
                (path.mkdir, "not_executable", "failed"),
                (lambda: path.symlink_to(path), "not_executable", "failed")):
            with self.subTest(code):
                with contextlib.suppress(FileNotFoundError):
                    path.rmdir() if path.is_dir() else path.unlink()
                make()
                seen = self.all_asked(f"unknown monitor_{code}")
                self.assertEqual(seen.dependencies["monitor"].state, state)

    def test_without_a_directory_for_control_files_services_are_unknown(self):
        os.rmdir(self.panel.root / "tmp")
        done = self.run_program()
        seen = inspection.read(done.stdout, done.returncode)
        self.assertEqual(states(seen), dict.fromkeys(ASKED, "unknown no_directory") | MYSQL)
        self.assertEqual((seen.dependencies["control_files"].state,
                          seen.dependencies["monitor"].state), ("missing", "unasked"))


class FailingCallTest(InspectTest):
    """System calls of keldoctl-inspect itself, but not of its children, that fail."""

    def run_failing(self, call):
        return self.run_program(program=("strace", "-qq", "-o", "/dev/null", "-e",
                                         f"inject={call}", INSPECT))

    def test_nothing_is_known_if_no_process_can_be_made(self):
        done = self.run_failing("clone:error=EAGAIN")
        seen = inspection.read(done.stdout, done.returncode)
        self.assertEqual(states(seen),
                         dict.fromkeys(CORE_SERVICES, "unknown no_process_to_be_had"))
        self.assertEqual({name: each.state for name, each in seen.dependencies.items()
                          if each.state != "ok"}, {
            "upgrade_tool": "failed", "database": "failed", "action_log": "failed",
            "monitor": "unasked"})
        self.assertEqual((seen.verdict, seen.status), ("unknown", 2))

    def test_there_is_no_document_if_no_signal_can_be_watched(self):
        done = self.run_failing("signalfd4:error=EMFILE")
        self.assertEqual((done.returncode, done.stdout), (3, b""))


class EndTest(InspectTest):
    """Signals that end the program while a monitor is at work."""

    def setUp(self):
        super().setUp()
        become_subreaper()
        self.addCleanup(become_subreaper, False)
        started, _ = self.make_fifos()
        self.panel.write_program("monit", monitor(WAIT))
        self.process = self.panel.start("--jobs=1", program=(INSPECT,))
        self.wait_for(started)
        self.directory = self.panel.root / "tmp"
        self.assertEqual(len(os.listdir(self.directory)), 1)

    def end_by(self, number):
        self.process.send_signal(number)
        output, errors = self.process.communicate()
        self.assertEqual((self.process.returncode, output, errors), (-number, b"", b""))

    def test_sigterm_leaves_nothing(self):
        self.end_by(signal.SIGTERM)
        self.assertEqual(os.listdir(self.directory), [])
        reap_all()

    def test_the_next_inspection_removes_what_a_killed_one_left(self):
        self.end_by(signal.SIGKILL)
        reap_all()  # the monitor gets SIGTERM
        self.assertEqual(len(os.listdir(self.directory)), 1)
        self.panel.fake_monitor(script=monitor())
        self.assertEqual(states(self.inspect()), WELL)


class CommandLineTest(InspectTest):
    def test_version_and_help_are_printed(self):
        version = self.run_program("--version")
        self.assertRegex(version.stdout, rb"\Akeldoctl-inspect \d+\.\d+\.\d+\n\Z")
        usage = self.run_program("--help")
        self.assertTrue(usage.stdout.startswith(b"Usage: keldoctl-inspect [--language=LANG_CODE]"))
        self.assertEqual([version.returncode, usage.returncode], [0, 0])
        self.assertEqual(self.panel.calls(), [])

    def test_a_wrong_command_line_is_refused(self):
        for arguments in (("--status",), ("--timeout=0",), ("--jobs=x",), ("--language=x",),
                          ("--repair",)):
            with self.subTest(arguments):
                done = self.run_program(*arguments)
                self.assertEqual((done.returncode, done.stdout), (64, b""))
                self.assertTrue(done.stderr.startswith(b"keldoctl-inspect: "))

    def test_a_document_that_cannot_be_written_gives_status_3(self):
        for arguments in ((), ("--json",), ("--version",), ("--help",)):
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                done = self.run_program(*arguments, stdout=full)
                self.assertEqual((done.returncode, done.stderr), (
                    3, b"keldoctl-inspect: cannot write: No space left on device\n"))

    def test_a_failure_to_make_a_document_is_printed_with_its_reason(self):
        done = self.run_program(program=(
            "strace", "-o/dev/null", "-einject=signalfd4:error=EMFILE", INSPECT))
        self.assertEqual((done.returncode, done.stdout, done.stderr), (
            3, b"", b"keldoctl-inspect: cannot watch for signals: Too many open files\n"))

    def test_a_closed_standard_output_is_the_null_device(self):
        done = self.run_program(program=("sh", "-c", 'exec "$0" >&-', INSPECT))
        self.assertEqual((done.returncode, done.stderr), (1, b""))


class RepairTest(InspectTest):
    def test_the_embedded_report_is_that_of_keldoctl(self):
        self.panel.fake_monitor(script=monitor(dns=1))
        for start, status in (("echo 'a<b>'; echo started >&2", 1), ("exit 3", 1)):
            with self.subTest(start):
                self.panel.write_service("web", start=start)
                ids = ("--repair", "restart-service:web", "restart-service:dns")
                seen = self.inspect(*ids)
                self.assertEqual((seen.report, seen.status), (self.panel.run(*ids).stdout, status))

    def test_the_exit_status_tells_of_a_failed_repair(self):
        self.panel.upgrade_tool(1)  # has a status of its own
        for start, status in (("true", 4), ("exit 3", 1)):
            self.panel.write_service("web", start=start)
            self.assertEqual(self.inspect("--repair", "restart-service:web").status, status)

    def test_an_unknown_id_is_no_success_and_not_in_the_report(self):
        self.panel.remove_definitions()
        seen = self.inspect("--repair", "restart-service:none\x01")
        self.assertEqual((seen.report, seen.status), (report(), 1))

    def test_the_inspection_begins_after_the_repairs(self):
        self.panel.write_service("web", start="""
            second=$(date +%s)
            while [ "$(date +%s)" = "$second" ]; do :; done
            date -u +%Y-%m-%dT%H:%M:%SZ""")
        document = self.inspect("--repair", "restart-service:web").document.decode()
        self.assertLessEqual(re.search("<log>(.*)\n", document)[1],
                             re.search(' started="(.*?)"', document)[1])

    def test_repairs_are_written_to_the_system_log(self):
        with contextlib.suppress(FileNotFoundError):
            os.unlink("/dev/log")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as log:
            log.bind("/dev/log")
            self.addCleanup(os.unlink, "/dev/log")
            self.panel.write_service("web", start="exit 3")
            self.inspect("--repair", "restart-service:web", 'a\n"; b' + 9999 * "c",
                         env={"SUDO_USER": 'al\nice", uid 7' + 99999 * " "})
            lines = [log.recv(1 << 17).decode().partition(": repair ")[2] for _ in range(4)]
        asker = r'uid 0, login uid (\d{1,9}|unset|unknown), SUDO_USER "al\?ice\?, uid 7 +"\Z'
        for line, expected in zip(lines, (
                r'"restart-service:web" begins; ',
                r'"restart-service:web": failed, status \d+; \d+\.\d{3} s; ',
                r'"a\?\?; bc+" begins; ',
                r'"a\?\?; bc+": not carried out, since there is no such repair; \d+\.\d{3} s; ')):
            self.assertRegex(line, expected + asker)
            self.assertLess(len(line), 8500)


class TerminalTest(InspectTest):
    def test_a_terminal_shows_the_progress_of_the_inspection(self):
        started, go = self.make_fifos()
        self.panel.write_program("monit", monitor(WAIT))
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        process = self.panel.start("--jobs=1", "--repair", "restart-service:web",
                                   program=(INSPECT,), stderr=theirs)
        os.close(theirs)
        self.wait_for(started)
        shown = b""
        while b"Services checked: 0 of 5" not in shown:
            self.assertTrue(select.select([ours], [], [], PATIENCE)[0], shown)
            shown += os.read(ours, 4096)
        os.write(go, b"go\n")
        process.communicate()
        with contextlib.suppress(OSError):  # the end, if nobody has the other side open
            while more := os.read(ours, 4096):
                shown += more
        self.assertRegex(shown, rb"\ARestart the web title service\.\r\n"
                         rb"Restart the web title service\. Done in \d\.\d{3} s\.\r\n"
                         rb"(\r\x1b\[KServices checked: 0 of 5)+\r\x1b\[K\Z")


del InspectTest

if __name__ == "__main__":
    unittest.main()
