# SPDX-License-Identifier: MIT
"""The gate on a host with its daemons, behind a real sshd and behind sudo."""

import os
import pathlib
import queue
import re
import shutil
import socket
import subprocess
import tempfile
import threading
import unittest

import fleet
import schemas
from kit import PREFIX, give_this_host_an_address
from manual import displays
from services import service_control

WELL, PROBLEMS = 0, 1
USAGE, NOT_PROPOSED, LIMIT = 64, 77, 124
ADDRESS, PORT = "127.0.2.1", 2222
GATE = PREFIX / "sbin/keldoctl-gate"
RULES = pathlib.Path("/etc/sudoers.d/keldoctl-gate")
CALLER = "redis"  # a user of this host, in the place of the user of the example
LOG = pathlib.Path("/dev/log")
WEB = "restart-service:web"
WEB_PID, MAIL_PID = (pathlib.Path("/run/kvr", name) for name in ("web.pid", "dovecot/master.pid"))
WEB_DEFINITION = pathlib.Path("/service/web.xml")


def is_running(pid_file):
    return pathlib.Path("/proc", pid_file.read_text(encoding="ascii").strip()).exists()


class GateTestCase(unittest.TestCase):
    """A panel on which all services run, with the gate and a reader of the system log."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        inspect = PREFIX / "sbin/keldoctl-inspect"
        for path in (GATE, inspect):
            path.unlink(missing_ok=True)
            cls.addClassCleanup(path.unlink, missing_ok=True)
        fleet.install_gate(PREFIX, pathlib.Path(shutil.which("keldoctl-inspect")))
        service_control("start-all")
        cls.directory = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.log = queue.Queue()
        cls.start_log()

    @classmethod
    def start_log(cls):
        """Makes the system log. A thread reads it all the time, since a full log stops its writers."""
        LOG.unlink(missing_ok=True)
        server = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        server.bind(str(LOG))
        LOG.chmod(0o666)
        cls.addClassCleanup(LOG.unlink)

        def read():
            with server:
                while line := server.recv(1 << 16):
                    cls.log.put(line.decode())

        thread = threading.Thread(target=read)
        thread.start()
        cls.addClassCleanup(thread.join)
        cls.addClassCleanup(cls.write_to_log, b"")

    @staticmethod
    def write_to_log(line):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as client:
            client.sendto(line, str(LOG))

    def setUp(self):
        self.write_to_log(b"the next test begins")
        while self.log.get() != "the next test begins":
            pass

    def next_line_of_gate(self):
        """Waits for a line of the gate in the system log."""
        while " keldoctl-gate[" not in (line := self.log.get()):
            pass
        return line.partition("]: ")[2]

    def check_document(self, document, verdict):
        schemas.require_inspection(document)
        self.assertIn(f' verdict="{verdict}">', document.decode())


class ForcedCommandTest(GateTestCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.key = fleet.make_key(cls.directory / "key")
        sshd = cls.directory / "sshd"
        sshd.mkdir()
        fleet.accept_key(sshd, cls.key, GATE)
        cls.sshd = fleet.start_sshd(sshd, [ADDRESS], PORT, within=[
            "/bin/sh", "-c", f'echo "ExposeAuthInfo yes" >>{sshd}/sshd_config; exec "$@"', "sh"])
        cls.addClassCleanup(cls.sshd.wait)
        cls.addClassCleanup(cls.sshd.terminate)

    def command(self, *words):
        return ["ssh", "-F", "none", "-i", self.directory / "key", "-p", str(PORT),
                "-o", "BatchMode=yes", "-o", "StrictHostKeyChecking=no",
                "-o", "UserKnownHostsFile=/dev/null", "-o", "LogLevel=ERROR", *words]

    def ssh(self, *words, options=()):
        """Runs ssh. Returns the exit status and both outputs."""
        done = subprocess.run(self.command(*options, f"root@{ADDRESS}", *words), check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE)
        return done.returncode, done.stdout, done.stderr.decode()

    def edit_gate(self, old, new):
        """Edits the installed gate for this test."""
        text = GATE.read_text(encoding="utf-8")
        self.assertEqual(text.count(old), 1)
        self.addCleanup(GATE.write_text, text, encoding="utf-8")
        GATE.write_text(text.replace(old, new), encoding="utf-8")

    def test_the_manual_shows_the_line_of_the_key(self):
        line = (self.directory / "sshd/authorized_keys").read_text(encoding="utf-8")
        [shown] = displays("keldoctl-gate.8", "EXAMPLES")[0].splitlines()
        self.assertEqual(shown.partition(" ssh-")[0], line.partition(" ssh-")[0])

    def test_a_daemon_that_was_killed_is_reported_and_repaired(self):
        status, document, errors = self.ssh("keldoctl-gate inspect")
        self.assertEqual((status, errors), (WELL, ""))
        self.check_document(document, "well")
        service_control("kill", "web")
        status, document, errors = self.ssh("keldoctl-gate inspect --language=de-DE")
        self.assertEqual((status, errors), (PROBLEMS, ""))
        self.check_document(document, "problems")
        self.assertIn(f'<action id="{WEB}" default="true"/>'.encode(), document)
        status, document, errors = self.ssh("keldoctl-gate", "repair", WEB)
        self.assertEqual((status, errors), (WELL, ""))
        self.check_document(document, "well")
        self.assertRegex(document.decode(), rf'(?s)<action id="{WEB}">.*?<status>ok</status>')
        self.assertTrue(is_running(WEB_PID))

    def test_an_id_that_is_not_proposed_leaves_all_as_it_is(self):
        for words in (WEB, f"{WEB} restart-service:mail", "restart-service:../../tmp/x"):
            with self.subTest(words):
                status, document, errors = self.ssh(f"keldoctl-gate repair {words}")
                self.assertEqual((status, document), (NOT_PROPOSED, b""))
                self.assertIn(" is not proposed: nothing is repaired\n", errors)
        service_control("kill", "web")
        self.addCleanup(service_control, "start", "web")
        mail = MAIL_PID.read_text(encoding="ascii")
        self.assertEqual(self.ssh(f"keldoctl-gate repair {WEB} restart-service:mail")[0], NOT_PROPOSED)
        self.assertEqual(self.ssh("keldoctl-gate inspect")[0], PROBLEMS)
        self.assertEqual(MAIL_PID.read_text(encoding="ascii"), mail)

    def test_nothing_else_can_be_done_with_the_key(self):
        proof = self.directory / "proof"
        for command in (f"touch {proof}", f"keldoctl-gate inspect; touch {proof}",
                        f"keldoctl-gate inspect\ntouch {proof}",
                        f"keldoctl-gate repair `touch {proof}`",
                        f"keldoctl-gate repair $(touch {proof})", f"sh -c 'touch {proof}'",
                        "keldoctl-gate --version", "keldoctl-inspect", "x" * 100000):
            with self.subTest(command[:60]):
                self.assertEqual(self.ssh(command)[:2], (USAGE, b""))
                self.assertFalse(proof.exists())
        for name, words, options in (
                ("shell", [], []), ("terminal", ["id"], ["-tt"]), ("subsystem", ["sftp"], ["-s"]),
                ("forwarding", ["id"], ["-o", "ExitOnForwardFailure=yes", "-R", "2223:127.0.0.1:80"])):
            with self.subTest(name):
                status, output, _ = self.ssh(*words, options=options)
                self.assertNotIn(status, (0, 1, 2, 4))
                self.assertNotIn(b"uid=", output)
        # sshd itself cannot run a command of this length.
        with self.assertRaises(OSError):
            self.ssh("x" * 1000000)
        self.assertEqual(self.ssh("keldoctl-gate inspect")[0], WELL)

    def test_the_log_names_the_caller_and_the_key(self):
        self.ssh("keldoctl-gate inspect")
        fingerprint = subprocess.run(["ssh-keygen", "-l", "-f", self.directory / "key"], check=True,
                                     stdout=subprocess.PIPE, text=True).stdout.split()[1]
        self.assertRegex(self.next_line_of_gate(),
                         r'\A"keldoctl-gate inspect" status 0; from 127\.0\.\d\.1 port \d+, key'
                         rf" 256 {re.escape(fingerprint)} .*\(ED25519\)\Z")

    def test_the_limit_holds_although_the_controller_has_gone_and_the_daemon_lives_on(self):
        event, life = self.directory / "event", self.directory / "life"
        for path in (event, life):
            os.mkfifo(path)
            self.addCleanup(path.unlink)
        definition = WEB_DEFINITION.read_text(encoding="utf-8")
        self.addCleanup(WEB_DEFINITION.write_text, definition, encoding="utf-8")
        WEB_DEFINITION.write_text(definition.replace(
            "service-control start web</action>",
            f"service-control start web; exec 9&gt;{life}; echo &gt;{event}; exec sleep infinity"
            "</action>"), encoding="utf-8")
        self.edit_gate('        ask "$repair_seconds"',
                       '        is_repair=yes\n        ask "$repair_seconds"')
        self.edit_gate("    waiter=$!\n", "    waiter=$!\n    if [[ ${is_repair-} ]]; then"
                       f" read -r _ <{event}; limit=0.001; fi\n")
        service_control("kill", "web")
        with subprocess.Popen(self.command(f"root@{ADDRESS}", f"keldoctl-gate repair {WEB}"),
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL) as ssh:
            self.assertIn('" begins; ', self.next_line_of_gate())
            ssh.kill()
        self.assertEqual(life.read_bytes(), b"")  # nobody holds it any more
        self.assertIn(f'" status {LIMIT} (', self.next_line_of_gate())
        self.assertTrue(is_running(WEB_PID))
        self.assertEqual(list(pathlib.Path("/usr/local/kvr/tmp").iterdir()), [])


class SudoTest(GateTestCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        give_this_host_an_address()
        cls.rules = (PREFIX / "share/keldoctl/fleet/sudoers.d/keldoctl-gate").read_text("utf-8")
        RULES.write_text(re.sub("(?m)^fleet ", f"{CALLER} ", cls.rules), encoding="utf-8")
        RULES.chmod(0o440)
        cls.addClassCleanup(RULES.unlink)

    @staticmethod
    def sudo(*words, **options):
        """The exit status and both outputs of sudo, run by the caller."""
        done = subprocess.run(["sudo", "-n", *words], check=False, user=CALLER, group=CALLER,
                              extra_groups=[], cwd="/", stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
        return done.returncode, done.stdout, done.stderr.decode()

    def test_visudo_accepts_the_rules_and_the_manual_shows_them(self):
        subprocess.run(["visudo", "--check", "--strict", "--file", RULES], check=True,
                       stdout=subprocess.DEVNULL)
        lines = [line for line in self.rules.splitlines() if not line.startswith("#")]
        self.assertEqual(displays("keldoctl-gate.8", "EXAMPLES")[2].splitlines(), lines)

    def test_the_user_may_inspect_and_repair(self):
        # These variables would change what the gate does or tells.
        environment = {"PATH": os.defpath, "SSH_ORIGINAL_COMMAND": "keldoctl-gate repair x",
                       "SSH_CONNECTION": "192.0.2.1 1 192.0.2.2 22", "BASH_ENV": "/x"}
        status, document, errors = self.sudo(GATE, "inspect", env=environment)
        self.assertEqual((status, errors), (WELL, ""))
        self.check_document(document, "well")
        self.assertEqual(self.next_line_of_gate(), f'"inspect" status 0; from "{CALLER}" by sudo')
        self.assertEqual(self.sudo(GATE, env=environment)[:2], (USAGE, b""))
        service_control("kill", "web")
        self.assertEqual(self.sudo(GATE, "repair", WEB)[0], WELL)
        self.assertEqual(self.sudo(GATE, "repair", "x;id")[:2], (USAGE, b""))

    def test_nothing_else_is_allowed(self):
        for words in (["/bin/sh"], ["-s"], ["-i"], [PREFIX / "sbin/keldoctl-inspect"],
                      ["-u", "nobody", GATE, "inspect"], ["-E", GATE, "inspect"],
                      ["LD_PRELOAD=/x", GATE, "inspect"], ["SSH_ORIGINAL_COMMAND=x", GATE]):
            with self.subTest(words):
                status, output, errors = self.sudo(*words)
                self.assertEqual((status, output), (1, b""))
                self.assertRegex(errors, r"\A(sudo: a password is required"
                                         r"|sudo: sorry, you are not allowed to .*)\n\Z")


if __name__ == "__main__":
    unittest.main()
