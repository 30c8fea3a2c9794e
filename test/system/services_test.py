# SPDX-License-Identifier: MIT
"""Which services are checked, according to their definitions. The database is always down."""

import hashlib
import pathlib
import socket
import struct
import tempfile
import threading
import unittest

from panel import KELDOCTL, PASSWORD, Panel, Problem, down_report, report, restart, service_down


class CoreServicesTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def test_only_the_database_is_down(self):
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))

    def test_the_core_services_are_checked_in_their_order_without_a_database(self):
        self.panel.run("--status")
        self.assertEqual(self.panel.checked_services(), ["keldo", "smtp", "web", "dns", "mail"])

    def test_problems_are_sorted_by_id(self):
        self.panel.fake_monitor({"web": 1, "keldo": 32, "dns": -1, "smtp": 512, "mail": 2})
        self.assertEqual(self.panel.run("--status").stdout,
                         down_report("mysql", "keldo", "smtp", "web", "dns", "mail"))

    def test_services_without_a_definition_are_not_checked(self):
        for service in ("mysql", "keldo", "smtp", "dns"):
            self.panel.write_definition(service, None)
        self.panel.write_definition("mail", "<mail")
        self.panel.fake_monitor({"web": 1, "": 1})
        self.assertEqual(self.panel.run("--status").stdout, down_report("web"))
        self.assertEqual(self.panel.checked_services(), ["web"])

    def test_the_report_is_empty_if_there_is_nothing_to_check(self):
        for service in ("mysql", "keldo", "smtp", "web", "dns", "mail"):
            self.panel.write_definition(service, None)
        self.assertEqual(self.panel.run("--status").stdout, report())

    def test_a_definition_in_another_namespace_is_unknown(self):
        self.panel.write_definition("web", '<service id="web" xmlns="urn:other"/>')
        self.panel.write_definition("dns", '<service id="dns"/>')
        self.panel.fake_monitor({"web": 1, "dns": 1})
        self.assertEqual(self.panel.run("--status").stdout, down_report("mysql"))


class FakeServer:
    """A server at the panel database's socket. A thread serves one client after another by
    `serve(self)`. Use it as a context manager."""

    SOCKET = pathlib.Path("/run/mysqld/mysqld.sock")
    LOCAL_FILES = 0x80
    # A protocol of version 4.1, logging in to a database, authentication plugins and local files.
    CAPABILITIES = 0x1 | 0x8 | LOCAL_FILES | 0x200 | 0x2000 | 0x8000 | 0x80000

    def __init__(self, serve):
        self.SOCKET.parent.mkdir(exist_ok=True)
        self.received = []  # what the clients sent, packet by packet
        self._serve = serve
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(str(self.SOCKET))
        self._listener.listen()
        self._thread = threading.Thread(target=self._serve_all)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._thread.join()
        self._listener.close()
        self.SOCKET.unlink()

    def _serve_all(self):
        while True:
            try:
                self._connection, _ = self._listener.accept()
            except OSError:  # shut down
                return
            with self._connection:
                try:
                    self._serve(self)
                except OSError:  # the client has left
                    pass

    def send(self, number, payload):
        """Sends a packet with that sequence number."""
        self._connection.sendall(struct.pack("<I", len(payload))[:3] + bytes([number]) + payload)

    def receive(self):
        """Waits for the client and returns what it sends; nothing if it closes the connection."""
        self.received.append(self._connection.recv(4096))
        return self.received[-1]

    def greet(self, plugin=b"mysql_native_password"):
        """Sends the server's greeting, which names a plugin for authentication, and returns the
        client's reply."""
        self.send(0, b"\x0a10.11.6-MariaDB\0" + struct.pack("<I", 1) + b"12345678\0"
                  + struct.pack("<HBHH", self.CAPABILITIES & 0xffff, 45, 2,
                                self.CAPABILITIES >> 16)
                  + b"\x15" + bytes(10) + b"123456789012\0" + plugin + b"\0")
        return self.receive()

    def accept(self, number=2):
        """Lets the client in, by a packet with that sequence number."""
        self.send(number, b"\0\0\0\2\0\0\0")


class FakeServerTest(unittest.TestCase):
    """A server at the panel database's socket that hangs or is hostile."""

    def received(self, serve, program=(KELDOCTL,)):
        """Runs keldoctl, which finds the database down. Returns what the server received."""
        with FakeServer(serve) as server:
            done = Panel().run("--status", program=program)
        self.assertEqual((done.returncode, done.stdout), (0, down_report("mysql")))
        return server.received

    def test_a_silent_server_is_given_up_after_10_seconds_on_both_connections(self):
        # strace ends each wait for the greeting at once, as if its time were over.
        with tempfile.NamedTemporaryFile() as trace:
            self.received(FakeServer.receive, program=(
                "strace", "-qq", "-o", trace.name, "-e", "signal=none", "-e", "trace=?poll,ppoll",
                "-e", "inject=?poll,ppoll:retval=0", KELDOCTL))
            waits = trace.read().decode().splitlines()
        self.assertEqual(len(waits), 2, waits)
        for wait in waits:
            # Some processors have ppoll only, which does not take milliseconds.
            self.assertRegex(wait, r"events=POLLIN\}\], 1, (10000|\{tv_sec=10, tv_nsec=0\}.*)\) = 0 "
                             r".*\(INJECTED\)")

    def test_the_password_is_not_sent_in_clear(self):
        for plugin in (b"mysql_clear_password\0", b"dialog\0\4password"):
            def serve(server, plugin=plugin):
                server.greet()
                server.send(2, b"\xfe" + plugin)
                server.receive()

            with self.subTest(plugin):
                self.assertEqual(self.received(serve)[1::2], [b"", b""])

    def test_authentication_as_mysql_8_asks_for_it_sends_a_digest(self):
        def serve(server):
            server.greet(b"caching_sha2_password")
            server.send(2, b"\1\3")  # the server remembers the password's digest
            server.accept(3)
            server.receive()

        def sha256(text):
            return hashlib.sha256(text).digest()

        mask = sha256(sha256(sha256(PASSWORD)) + b"12345678123456789012")
        digest = bytes(one ^ other for one, other in zip(sha256(PASSWORD), mask))
        login, statement, *_ = self.received(serve)
        self.assertIn(b"admin\0\x20" + digest + b"kvr\0caching_sha2_password\0", login)
        self.assertIn(b"set foreign_key_checks=0", statement)

    def test_no_local_file_is_sent(self):
        def serve(server):
            server.greet()
            server.accept()
            server.receive()
            server.send(1, b"\xfb/etc/kvr/.kvr.shadow")
            server.receive()

        received = self.received(serve)
        self.assertEqual(len(received), 6)
        self.assertNotIn(PASSWORD, b"".join(received[2::3]))
        for reply in received[::3]:
            self.assertFalse(reply[4] & FakeServer.LOCAL_FILES)


class OwnIdTest(unittest.TestCase):
    """A definition file with an id that differs from the name of the file."""

    def setUp(self):
        self.panel = Panel()
        for service in ("mysql", "keldo", "smtp", "dns", "mail"):
            self.panel.write_definition(service, None)
        self.panel.write_service("web", own_id="apache", start="echo web started")

    def test_the_check_and_the_problem_use_the_id_in_the_file(self):
        self.panel.write_service("apache", start="echo apache started")
        self.panel.fake_monitor({"apache": 32})
        self.assertEqual(self.panel.run("--status").stdout, report(
            [service_down("apache")],
            [restart("apache")]).replace(b"The apache", b"The web"))
        self.assertEqual(self.panel.checked_services(), ["apache"])

    def test_the_problem_has_no_solution_if_that_id_has_no_file(self):
        self.panel.fake_monitor({"apache": 32})
        problem = Problem("service-down:apache", "The web title service is switched off.")
        with_solutions = report([problem]).replace(
            b"</severity>\n", b"</severity>\n    <solutions/>\n")
        self.assertEqual(self.panel.run("--status").stdout, with_solutions)

    def test_a_file_with_the_id_mysql_is_checked_as_the_database(self):
        self.panel.write_service("web", own_id="mysql")
        self.panel.write_service("mysql")
        done = self.panel.run("--status")
        # Both have the same id. The report has the text of the later problem and the solution of
        # the first.
        self.assertEqual(done.stdout,
                         report([service_down("mysql", title="web title")], [restart("mysql")]))
        self.assertEqual(self.panel.calls(), [])


if __name__ == "__main__":
    unittest.main()
