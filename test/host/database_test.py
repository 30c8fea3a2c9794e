# SPDX-License-Identifier: MIT
"""keldoctl and a real database server: the statements of each connection, and their effect.

The server's general query log names the statements, but without their last byte. One test reads
that from keldoctl's system calls.
"""

import os
import pathlib
import re
import tempfile
import unittest

from counting import uncounted
from database import START, STOP, Database, DatabaseTestCase
from panel import PROJECT, Panel, down_report, report
from trace import own, traced

OTHER_CLIENT = os.environ.get("OTHER_CLIENT", PROJECT / "build/release/test/libother_client.so")
CONNECT = "admin@localhost on kvr using Socket"
KEYS_OFF = "set foreign_key_checks=0"
VERSION = "SHOW VARIABLES LIKE 'version'"
MISC = "SELECT val FROM misc WHERE param='mysql41_compatible'"
START_ACTION = "SELECT @start_action_id:=id FROM actions WHERE name='service_start' LIMIT 1;"
STOP_ACTION = "SELECT @stop_action_id:=id FROM actions WHERE name='service_stop' LIMIT 1;"
LAST_STARTED = (
    "SELECT c.old_value name FROM log_actions l left join log_components c on l.id=c.action_id "
    "WHERE l.action_id=@start_action_id or l.action_id=@stop_action_id GROUP BY c.old_value "
    "HAVING substring(max(concat(lpad(l.id, 8, '0'), '.', l.action_id)), 10)=@start_action_id;")
LAST_STOPPED = (
    "SELECT c.old_value name FROM log_actions l left join log_components c on l.id=c.action_id "
    "WHERE l.action_id=@start_action_id or l.action_id=@stop_action_id GROUP BY c.old_value "
    "HAVING substring(max(concat(lpad(l.id, 8, '0'), '.', l.action_id)), 10)=@stop_action_id;")
ACTION_LOG = [START_ACTION, STOP_ACTION, LAST_STARTED, LAST_STOPPED]
PREPARATION = [KEYS_OFF, VERSION, MISC, "SET NAMES utf8"]
ASKED_OF_MONITOR = ["keldo", "smtp", "web", "dns", "mail"]
WITHOUT_DNS = ["keldo", "smtp", "web", "mail"]


def session(*statements):
    """The log of a connection of the panel's that ran exactly these statements."""
    return (CONNECT, [("Query", text.removesuffix(";")) for text in statements] + [("Quit", "")])


def sql_text(password):
    return "'" + password.replace("\\", "\\\\").replace("'", "''") + "'"


class DatabaseTest(DatabaseTestCase):
    def status(self):
        """Runs keldoctl, which prints no error. Returns the report."""
        done = self.panel.run("--status")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def checked(self):
        """Runs keldoctl, which finds no problem. Returns the services that the monitor checked."""
        self.assertEqual(self.status(), report())
        services = self.panel.checked_services()
        self.assertEqual(len(self.panel.calls()), len(services))
        return services


@uncounted
class StatementsTest(DatabaseTest):
    def test_the_action_log_and_the_database_check_use_separate_connections(self):
        self.assertEqual(self.status(), report())
        self.assertEqual(self.database.sessions(),
                         [session(*PREPARATION, *ACTION_LOG), session(*PREPARATION)])

    def test_statements_are_sent_to_the_last_byte(self):
        _, calls = traced(self.panel, "sendto,sendmsg,write,writev", "--status")
        # A packet has three bytes of length, a number, and the byte 3 before a statement.
        sent = re.compile(r'"[^"]*\\0\\3([^"\\]*)", \d+')
        statements = [match[1] for call in own(calls) if (match := sent.search(call.arguments))]
        self.assertEqual(statements, PREPARATION + ACTION_LOG + PREPARATION)

    def test_a_repair_alone_does_not_use_the_database(self):
        self.panel.upgrade_tool(1)
        self.panel.run("--repair", "restart-service:mysql")
        self.assertEqual(self.database.sessions(), [])

    def test_only_the_action_log_is_read_without_a_definition_of_mysql(self):
        self.panel.write_definition("mysql", None)
        self.assertEqual(self.status(), report())
        self.assertEqual(self.database.sessions(), [session(*PREPARATION, *ACTION_LOG)])

    def test_mysql_is_checked_once_for_each_time_it_is_listed(self):
        self.database.log_action(START, "mysql")
        self.assertEqual(self.status(), report())
        self.assertEqual(self.database.sessions(),
                         [session(*PREPARATION, *ACTION_LOG), *[session(*PREPARATION)] * 2])


class ClientLibraryTest(DatabaseTest):
    """keldoctl loads the client library when it connects."""

    NAME = "libmariadb.so.3"

    def opened(self, *arguments):
        """Returns how often a run opens the library."""
        _, calls = traced(self.panel, "open,openat", *arguments)
        return len([call for call in own(calls)
                    if f"/{self.NAME}" in call.arguments and not call.result.startswith("-")])

    def test_the_library_is_loaded_once_and_not_for_help(self):
        self.assertEqual(self.opened("--help"), 0)
        self.assertEqual(self.opened("--status"), 1)

    def test_a_preloaded_library_answers_first(self):
        done = self.panel.run("--status", env={"LD_PRELOAD": OTHER_CLIENT})
        self.assertEqual(done.stdout, down_report("mysql"))

    def test_the_database_is_down_without_a_usable_library(self):
        self.database.log_action(STOP, "dns")
        self.panel.fake_monitor({"dns": 512})
        [other] = pathlib.Path("/usr/lib").glob("*/libz.so.1")
        for what, content in (("no library", b""), ("another library", other.read_bytes())):
            with self.subTest(what), tempfile.TemporaryDirectory() as directory:
                pathlib.Path(directory, self.NAME).write_bytes(content)
                done = self.panel.run("--status", env={"LD_LIBRARY_PATH": directory})
                self.assertEqual((done.returncode, done.stdout, done.stderr),
                                 (0, down_report("dns", "mysql"), b""))


class CharacterSetTest(DatabaseTest):
    def prepared(self):
        """Runs keldoctl, which finds the database up. Returns the statements of its check."""
        self.assertEqual(self.status(), report())
        first, second = self.database.sessions()
        statements = second.statements()
        self.assertEqual(first.statements()[:len(statements)], statements)
        return statements

    def test_utf8_is_chosen_unless_the_panel_says_false_or_nothing(self):
        for value in ("true", "1", "no", "FALSE", "False", " false", "falsehood"):
            with self.subTest(value):
                self.database.reset(misc=value)
                self.assertEqual(self.prepared(), [KEYS_OFF, VERSION, MISC, "SET NAMES utf8"])

    def test_binary_is_chosen_if_the_panel_says_false_or_nothing(self):
        for value in ("false", "", None):
            with self.subTest(value):
                self.database.reset(misc=value)
                self.assertEqual(self.prepared(), [KEYS_OFF, VERSION, MISC, "SET NAMES binary"])

    def test_binary_is_chosen_if_the_value_is_null(self):
        self.database.sql("UPDATE kvr.misc SET val = NULL;")
        self.assertEqual(self.prepared(), [KEYS_OFF, VERSION, MISC, "SET NAMES binary"])

    def test_without_a_misc_table_the_database_counts_as_down(self):
        self.database.sql("DROP TABLE kvr.misc;")
        self.database.log_action(STOP, "dns")
        self.database.log_action(START, "redis")
        self.panel.write_service("redis")
        self.panel.fake_monitor({"dns": 512, "redis": 512})
        self.assertEqual(self.status(), down_report("dns", "mysql"))
        self.assertEqual(self.database.sessions(), [session(KEYS_OFF, VERSION, MISC)] * 2)

    def test_service_names_keep_their_bytes_in_either_character_set(self):
        for value in ("true", "false"):
            with self.subTest(value):
                self.database.reset(misc=value)
                self.database.log_action(START, "größe")
                self.panel.write_service("größe")
                self.panel.forget_calls()
                self.assertEqual(self.checked(), [*ASKED_OF_MONITOR, "größe"])


class ServerVersionTest(unittest.TestCase):
    """The server reports the version that an option gives it."""

    def sessions(self, version):
        panel = Panel()
        with Database(f"--version={version}") as database:
            database.reset()
            self.assertEqual(panel.run("--status").stdout, report())
            return database.sessions()

    def test_on_a_server_before_4_1_no_character_set_is_chosen(self):
        for version in ("3.23.58", "4.0.27-standard"):
            with self.subTest(version):
                self.assertEqual(self.sessions(version), [
                    session(KEYS_OFF, VERSION, *ACTION_LOG), session(KEYS_OFF, VERSION)])

    def test_on_a_server_from_4_1_on_a_character_set_is_chosen(self):
        for version in ("4.1.22-standard", "5.0.45"):
            with self.subTest(version):
                self.assertEqual(self.sessions(version), [
                    session(*PREPARATION, *ACTION_LOG), session(*PREPARATION)])


class PasswordTest(DatabaseTest):
    def lets_in(self, content, password):
        """Returns whether a password file with that content opens an account with that password."""
        self.database.sql(f"ALTER USER admin@localhost IDENTIFIED BY {sql_text(password)};")
        self.panel.set_password(content)
        printed = self.status()
        self.assertIn(printed, (report(), down_report("mysql")))
        return printed == report()

    def test_the_password_is_the_first_line_without_its_newline(self):
        for content, password in (
                (b"first\nsecond\n", "first"), (b"\n", ""), (b"secret\r\n", "secret\r"),
                (b"p\xc3\xa4ss\n", "päss"), (b"it's \\\n", "it's \\")):
            with self.subTest(content):
                self.assertTrue(self.lets_in(content, password))

    def test_a_refused_password_means_that_the_database_is_down(self):
        self.assertFalse(self.lets_in(b"wrong\n", "secret"))
        denied = "Access denied for user 'admin'@'localhost' (using password: YES)"
        self.assertEqual(self.database.sessions(), [(CONNECT, [("Connect", denied)])] * 2)

    def test_no_connection_is_made_without_a_password(self):
        for content in (None, b""):
            with self.subTest(content):
                self.assertFalse(self.lets_in(content, ""))
                self.assertEqual(self.database.sessions(), [])


def entry(action, *services, log_id=None):
    """An entry of the action log: the arguments of Database.log_action()."""
    return (action, *services), {"log_id": log_id}


class ActionLogTest(DatabaseTest):
    """What the administrator did through the panel, and which services are checked then."""

    def setUp(self):
        super().setUp()
        self.panel.write_service("redis")
        self.panel.write_service("tomcat")

    def assert_checked(self, *cases, actions=("service_start", "service_stop")):
        """Each case is a name, the services that a run checks, and the entries of the log.
        `actions` are the kinds of actions, with ids from 1 on."""
        for name, services, *entries in cases:
            with self.subTest(name):
                self.database.reset(actions=actions)
                for components, options in entries:
                    self.database.log_action(*components, **options)
                self.panel.forget_calls()
                self.assertEqual(self.checked(), services)

    def test_the_latest_start_or_stop_of_each_service_decides(self):
        self.assert_checked(
            ("empty log", ASKED_OF_MONITOR),
            ("stopped", WITHOUT_DNS, entry(STOP, "dns")),
            ("stopped and started", [*ASKED_OF_MONITOR, "dns"],
             entry(STOP, "dns"), entry(START, "dns")),
            ("started beyond the core", [*ASKED_OF_MONITOR, "tomcat"], entry(START, "tomcat")),
            ("started beyond the core and stopped", ASKED_OF_MONITOR,
             entry(START, "tomcat"), entry(STOP, "tomcat")),
            ("several services", ["keldo", "smtp", "web", "tomcat", "web"],
             entry(STOP, "web"), entry(START, "redis"), entry(STOP, "dns"), entry(START, "web"),
             entry(START, "tomcat"), entry(STOP, "redis"), entry(STOP, "mail")),
            ("several services in an entry", ["keldo", "smtp", "dns", "mail", "dns", "redis"],
             entry(STOP, "web", "dns"), entry(START, "dns", "redis")),
            ("the highest id is the latest", [*ASKED_OF_MONITOR, "dns"],
             entry(START, "dns", log_id=20), entry(STOP, "dns", log_id=7)),
            ("only eight digits of an id count", [*ASKED_OF_MONITOR, "dns"],
             entry(START, "dns", log_id=99999999), entry(STOP, "dns", log_id=100000000)),
            ("the higher action id wins if eight digits are equal", WITHOUT_DNS,
             entry(STOP, "dns", log_id=123456780), entry(START, "dns", log_id=123456789)),
            ("without a definition", ASKED_OF_MONITOR, entry(START, "unknown")),
            ("case and blanks count", ASKED_OF_MONITOR, entry(STOP, "WEB"), entry(STOP, "dns ")),
            ("a stop without components", ASKED_OF_MONITOR, entry(STOP)),
            ("a start without components", ASKED_OF_MONITOR, entry(START)))

    def test_a_started_core_service_is_checked_twice_and_reported_once(self):
        self.database.log_action(START, "web")
        self.panel.fake_monitor(dict.fromkeys(ASKED_OF_MONITOR, 512))
        self.assertEqual(self.status(), down_report(*ASKED_OF_MONITOR))
        self.assertEqual(self.panel.checked_services(), [*ASKED_OF_MONITOR, "web"])

    def test_a_stopped_service_is_found_by_the_id_in_its_definition(self):
        self.panel.write_service("web", own_id="apache")
        self.assert_checked(("own id", ["keldo", "smtp", "dns", "mail"], entry(STOP, "apache")))
        self.panel.write_service("web", own_id="dns")
        self.assert_checked(("same id", ["keldo", "smtp", "mail"], entry(STOP, "dns")))

    def test_a_stopped_database_service_is_not_checked(self):
        self.database.log_action(STOP, "mysql")
        self.assertEqual(self.status(), report())
        self.assertEqual(self.database.sessions(), [session(*PREPARATION, *ACTION_LOG)])

    def test_an_entry_without_components_names_the_empty_id(self):
        self.panel.write_service("", own_id="none")
        self.assert_checked(
            ("started", [*ASKED_OF_MONITOR, "none"], entry(START)),
            ("started and a NULL stopped", ASKED_OF_MONITOR, entry(START), entry(STOP, None)))

    def test_other_actions_have_no_effect(self):
        self.assert_checked(("other", WITHOUT_DNS, entry(STOP, "dns"), entry(3, "dns", "redis")),
                            actions=("service_start", "service_stop", "login"))

    def test_the_database_gives_the_ids_of_the_actions(self):
        kinds = [f"other {number}" for number in range(12)]
        kinds[1], kinds[11] = "service_stop", "service_start"
        self.assert_checked(
            ("ids 2 and 12", ["keldo", "smtp", "web", "mail", "tomcat", "web"],
             entry(2, "dns", "web"), entry(12, "web", "tomcat")), actions=kinds)

    def test_without_a_kind_of_action_only_the_other_kind_counts(self):
        self.assert_checked(
            ("no stop action", [*ASKED_OF_MONITOR, "redis"],
             entry(START, "redis"), entry(STOP, "redis", "dns")),
            actions=("service_start", "other"))
        self.assert_checked(
            ("no start action", WITHOUT_DNS, entry(STOP, "dns"), entry(START, "dns", "redis")),
            actions=("other", "service_stop"))


class FailingActionLogTest(DatabaseTest):
    """The log names one started and one stopped service, and a statement on it fails."""

    def setUp(self):
        super().setUp()
        self.panel.write_service("redis")
        self.database.log_action(START, "redis")
        self.database.log_action(STOP, "dns")

    def allow_statements(self, count):
        """Limits the number of statements of the panel's account."""
        self.database.sql(f"ALTER USER admin@localhost WITH MAX_QUERIES_PER_HOUR {count};"
                          "FLUSH USER_RESOURCES;")
        self.addCleanup(self.database.sql,
                        "ALTER USER admin@localhost WITH MAX_QUERIES_PER_HOUR 0;")

    def test_the_core_services_are_checked_without_the_tables(self):
        for table in ("log_components", "log_actions", "actions"):
            with self.subTest(table):
                self.database.sql(f"DROP TABLE kvr.{table};")
                self.panel.forget_calls()
                self.assertEqual(self.checked(), ASKED_OF_MONITOR)

    def test_the_core_services_are_checked_if_the_started_ones_cannot_be_read(self):
        self.allow_statements(6)
        self.assertEqual(self.status(), down_report("mysql"))
        self.assertEqual(self.panel.checked_services(), ASKED_OF_MONITOR)

    def test_no_service_is_left_out_if_the_stopped_ones_cannot_be_read(self):
        self.allow_statements(7)
        self.assertEqual(self.status(), down_report("mysql"))
        self.assertEqual(self.panel.checked_services(), [*ASKED_OF_MONITOR, "redis"])

    def test_a_failed_statement_closes_the_connection(self):
        self.database.sql("DROP TABLE kvr.log_components;")
        self.status()
        self.assertEqual(self.database.sessions(), [
            session(*PREPARATION, START_ACTION, STOP_ACTION, LAST_STARTED),
            session(*PREPARATION)])


class CrashTest(DatabaseTest):
    def test_stopped_services_are_checked_after_a_crash_of_the_server(self):
        self.database.log_action(STOP, "dns")
        self.panel.fake_monitor({"dns": 512})
        self.assertEqual(self.status(), report())
        self.database.kill()
        self.assertEqual(self.status(), down_report("dns", "mysql"))


if __name__ == "__main__":
    unittest.main()
