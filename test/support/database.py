# SPDX-License-Identifier: MIT
"""The panel's database server on a private host, and its query log."""

import fcntl
import os
import pathlib
import re
import select
import shutil
import signal
import socket
import subprocess
import unittest
from typing import NamedTuple

from panel import PASSWORD, PATH, PROJECT, Panel, require_private_host


PATIENCE = 60  # seconds until a missing event fails the test; no result depends on it
START, STOP = 1, 2  # the ids of the kinds of actions that Database.reset() makes
LOG_ENTRY = re.compile(r"[0-9: ]*\t\t? *(\d+) (\w[\w ]*)\t(.*)", re.DOTALL)


class Session(NamedTuple):
    """One client connection to the database server, as the server logged it."""

    connect: str  # user, database and transport: "admin@localhost on kvr using Socket"
    commands: list  # later entries, as pairs of a command and its text: ("Query", "SELECT 1")

    def has_ended(self):
        return bool(self.commands) and (
            self.commands[-1][0] == "Quit" or self.commands[-1][1].startswith("Access denied"))

    def statements(self):
        """The statements of the session."""
        return [text for command, text in self.commands if command == "Query"]


class Database:
    """A running database server of the panel, with its general query log.

    Use it as a context manager, or call stop(). Tests change the data of the host; reset() restores
    empty tables and the password PASSWORD.
    """

    CONFIGURATION = PROJECT / "host/root/usr/local/kvr/etc/mysql.cnf"
    SCHEMA = PROJECT / "host/panel/schema.sql"
    SOCKET = pathlib.Path("/run/mysqld/mysqld.sock")
    ERRORS = pathlib.Path("/run/mysqld/errors.log")
    LOG_SIZE = 1 << 20  # bytes that the log holds until it is read

    def __init__(self, *options):
        """Starts the server with these command-line options. Returns when it accepts clients."""
        require_private_host()
        self.SOCKET.parent.mkdir(parents=True, exist_ok=True)
        shutil.chown(self.SOCKET.parent, "mysql", "mysql")
        self._open_log()
        self._start(options)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        """Ends the server and waits for its end. Does nothing the second time."""
        if self._server.returncode is None:
            self._server.terminate()
            self._server.wait()
            os.close(self._log)

    def kill(self):
        """Kills the server and waits for its end."""
        self._server.send_signal(signal.SIGKILL)
        self.stop()

    def sql(self, statements):
        """Runs statements as the server's root. Returns the client's output: a line for each row,
        tabs between columns."""
        client = ["mariadb", "--no-defaults", "--user=root", f"--socket={self.SOCKET}",
                  "--batch", "--skip-column-names", "--default-character-set=utf8mb4"]
        done = subprocess.run(client, input=f"SET sql_log_off=1;\n{statements}".encode(),
                              stdout=subprocess.PIPE, check=True)
        return done.stdout.decode()

    def reset(self, misc="true", actions=("service_start", "service_stop")):
        """Makes the panel's database anew: the schema, the misc row mysql41_compatible with the
        value `misc` (None: no row), and these kinds of actions, with ids from 1 on."""
        statements = [f"DROP DATABASE IF EXISTS kvr;\n{self.SCHEMA.read_text(encoding='utf-8')}",
                      f"ALTER USER admin@localhost IDENTIFIED BY '{PASSWORD.decode()}';"]
        if misc is not None:
            statements.append(f"INSERT INTO misc (param, val) VALUES "
                              f"('mysql41_compatible', '{misc}');")
        for number, name in enumerate(actions, 1):
            statements.append(f"INSERT INTO actions (id, name) VALUES ({number}, '{name}');")
        self.sql("\n".join(statements))

    def log_action(self, action, *services, log_id=None):
        """Adds an entry to the action log: an action by its id, with a component for each service.
        None as a service stands for NULL. `log_id` is the entry's id, by default the next."""
        statements = [f"USE kvr; INSERT INTO log_actions (id, action_id) "
                      f"VALUES ({log_id or 'NULL'}, {action}); SET @entry = LAST_INSERT_ID();"]
        for service in services:
            value = "NULL" if service is None else "'" + service.replace("'", "''") + "'"
            statements.append("INSERT INTO log_components (action_id, component, old_value) "
                              f"VALUES ({log_id or '@entry'}, 'service', {value});")
        self.sql("\n".join(statements))

    def sessions(self):
        """The sessions since the last call, in the order of their connects, without those of sql().
        Waits until each session has ended."""
        sessions = {}
        while self._log_has_more() or any(not each.has_ended() for each in sessions.values()):
            for entry in self._read_log():
                self._add_entry(entry, sessions)
        return list(sessions.values())

    @staticmethod
    def _add_entry(entry, sessions):
        match = LOG_ENTRY.fullmatch(entry)
        if not match:
            return  # the heading of the log
        number, command, text = match.groups()
        if number in sessions:
            sessions[number].commands.append((command, text))
        elif command == "Connect" and not text.startswith("root@"):
            sessions[number] = Session(text, [])

    def _log_has_more(self):
        return bool(select.select([self._log], [], [], 0)[0])

    def _read_log(self):
        """Waits until the log has more text and returns its new complete lines."""
        if not select.select([self._log], [], [], PATIENCE)[0]:
            raise RuntimeError("the database server's log does not go on")
        *lines, self._rest = (self._rest + os.read(self._log, 65536)).split(b"\n")
        return [line.decode() for line in lines]

    def _start(self, options):
        address = f"\0keldo-test-database-{os.getpid()}"
        with (socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notifications,
              open(self.ERRORS, "wb") as errors):
            notifications.bind(address)
            self._server = subprocess.Popen(
                ["mariadbd", f"--defaults-file={self.CONFIGURATION}", "--general-log=1",
                 "--log-output=FILE", f"--general-log-file={self._log_path()}", *options],
                stdin=subprocess.DEVNULL, stdout=errors, stderr=errors,
                env={"PATH": PATH, "NOTIFY_SOCKET": "@" + address[1:]})
            self._wait_until_ready(notifications)

    def _wait_until_ready(self, notifications):
        ended = os.pidfd_open(self._server.pid)
        try:
            while ended not in (events := select.select([notifications, ended], [], [],
                                                        PATIENCE)[0]):
                if not events:
                    self._server.kill()
                elif b"READY=1" in notifications.recv(4096).split(b"\n"):
                    return
        finally:
            os.close(ended)
        os.close(self._log)
        raise RuntimeError(f"the database server ended with status {self._server.wait()}:\n"
                           + self.ERRORS.read_text(encoding="utf-8"))

    @staticmethod
    def _log_path():
        return pathlib.Path("/run/mysqld/general.log")

    def _open_log(self):
        """The log is a pipe, so that a test can wait for its next line."""
        self._log_path().unlink(missing_ok=True)
        os.mkfifo(self._log_path())
        shutil.chown(self._log_path(), "mysql", "mysql")
        self._rest = b""  # the incomplete last line
        self._log = os.open(self._log_path(), os.O_RDWR)
        fcntl.fcntl(self._log, fcntl.F_SETPIPE_SZ, self.LOG_SIZE)


class DatabaseTestCase(unittest.TestCase):
    """One server for the class; a new panel and an empty database for each test."""

    @classmethod
    def setUpClass(cls):
        cls.database = Database()
        cls.addClassCleanup(cls.database.stop)

    def setUp(self):
        self.panel = Panel()
        self.database.reset()
        self.database.sessions()
