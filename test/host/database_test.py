# SPDX-License-Identifier: MIT
"""keldoctl and a real database server: what is sent, over which connection, and what comes of it.

The statements are those that the server's general query log names. It leaves out what ends a
statement, so their last byte is looked for in what keldoctl's system calls send.
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


def session(*statements):
    """A connection of the panel's on which just these statements were run, as it is logged."""
    return (CONNECT, [("Query", text.removesuffix(";")) for text in statements] + [("Quit", "")])


def sql_text(password):
    return "'" + password.replace("\\", "\\\\").replace("'", "''") + "'"


class DatabaseTest(DatabaseTestCase):
    def status(self):
        """The report of a run, which has nothing else to say."""
        done = self.panel.run("--status")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def checked(self):
        """The services that a run asks the monitor about, with the database up."""
        self.assertEqual(self.status(), report())
        services = self.panel.checked_services()
        self.assertEqual(len(self.panel.calls()), len(services))
        return services


@uncounted
class StatementsTest(DatabaseTest):
    def test_action_log_on_one_connection_and_database_check_on_another(self):
        self.assertEqual(self.status(), report())
        self.assertEqual(self.database.sessions(),
                         [session(*PREPARATION, *ACTION_LOG), session(*PREPARATION)])

    def test_statements_are_sent_to_the_last_byte(self):
        _, calls = traced(self.panel, "sendto,sendmsg,write,writev", "--status")
        # A packet: three bytes of length, a number, and the byte 3 before a statement.
        sent = re.compile(r'"[^"]*\\0\\3([^"\\]*)", \d+')
        statements = [match[1] for call in own(calls) if (match := sent.search(call.arguments))]
        self.assertEqual(statements, PREPARATION + ACTION_LOG + PREPARATION)

    def test_a_repair_alone_does_not_use_the_database(self):
        self.panel.upgrade_tool(1)
        self.panel.run("--repair", "restart-service:mysql")
        self.assertEqual(self.database.sessions(), [])

    def test_without_a_definition_of_mysql_only_the_action_log_is_read(self):
        self.panel.write_definition("mysql", None)
        self.assertEqual(self.status(), report())
        self.assertEqual(self.database.sessions(), [session(*PREPARATION, *ACTION_LOG)])

    def test_each_mention_of_mysql_is_checked_on_a_connection_of_its_own(self):
        self.database.log_action(START, "mysql")
        self.assertEqual(self.status(), report())
        self.assertEqual(self.database.sessions(),
                         [session(*PREPARATION, *ACTION_LOG), *[session(*PREPARATION)] * 2])


class ClientLibraryTest(DatabaseTest):
    """The library by which keldoctl is a client of the database."""

    NAME = "libmariadb.so.3"

    def opened(self, *arguments):
        """How often a run looks for the library and finds it."""
        _, calls = traced(self.panel, "open,openat", *arguments)
        return len([call for call in own(calls)
                    if f"/{self.NAME}" in call.arguments and not call.result.startswith("-")])

    def test_it_is_loaded_once_and_not_for_the_usage(self):
        self.assertEqual(self.opened("--help"), 0)
        self.assertEqual(self.opened("--status"), 1)

    def test_it_is_loaded_while_the_upgrade_tool_runs(self):
        _, calls = traced(self.panel, "clone,clone3,openat,wait4", "--status")
        order = [call.name for call in own(calls)
                 if call.name != "openat" or f"/{self.NAME}" in call.arguments]
        self.assertEqual([name.removesuffix("3") for name in order[:3]],
                         ["clone", "openat", "wait4"])

    def test_functions_of_a_library_that_was_loaded_before_come_first(self):
        done = self.panel.run("--status", env={"LD_PRELOAD": OTHER_CLIENT})
        self.assertEqual(done.stdout, down_report("mysql"))

    def test_without_it_the_database_is_down(self):
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
        """The preparation of both connections of a run that found the database up."""
        self.assertEqual(self.status(), report())
        first, second = self.database.sessions()
        statements = second.statements()
        self.assertEqual(first.statements()[:len(statements)], statements)
        return statements

    def test_utf8_unless_the_panel_says_false_or_nothing(self):
        for value in ("true", "1", "no", "FALSE", "False", " false", "falsehood"):
            with self.subTest(value):
                self.database.reset(misc=value)
                self.assertEqual(self.prepared(), [KEYS_OFF, VERSION, MISC, "SET NAMES utf8"])

    def test_binary_where_the_panel_says_false_or_nothing(self):
        for value in ("false", "", None):
            with self.subTest(value):
                self.database.reset(misc=value)
                self.assertEqual(self.prepared(), [KEYS_OFF, VERSION, MISC, "SET NAMES binary"])

    def test_binary_where_the_value_is_null(self):
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
    """The version is what the server says: it can be told what to say."""

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
        """Whether a password file with that content opens an account with that password."""
        self.database.sql(f"ALTER USER admin@localhost IDENTIFIED BY {sql_text(password)};")
        self.panel.set_password(content)
        printed = self.status()
        self.assertIn(printed, (report(), down_report("mysql")))
        return printed == report()

    def test_first_line_less_its_newline_is_the_password(self):
        for content, password in (
                (b"secret\n", "secret"), (b"secret", "secret"), (b"secret ", "secret "),
                (b"secret\r\n", "secret\r"), (b" secret \t\n", " secret \t"),
                (b"first\nsecond\n", "first"), (b"\n", ""), (b"sec\0ret\n", "sec"),
                (b"p\xc3\xa4ss\n", "päss"), (b"it's \\\n", "it's \\"),
                (b"x" * 99 + b"\n", "x" * 99), (b"x" * 98 + b"\n", "x" * 98)):
            with self.subTest(content):
                self.assertTrue(self.lets_in(content, password))

    def test_nothing_is_trimmed_but_the_newline(self):
        for content in (b"secret\r\n", b"secret \n", b" secret\n", b"\nsecret\n"):
            with self.subTest(content):
                self.assertFalse(self.lets_in(content, "secret"))

    def test_what_follows_the_ninety_ninth_character_is_ignored(self):
        self.assertTrue(self.lets_in(b"x" * 99 + b"yz\n", "x" * 99))
        self.assertFalse(self.lets_in(b"x" * 100 + b"\n", "x" * 100))

    def test_a_refused_password_is_a_database_that_is_down(self):
        self.assertFalse(self.lets_in(b"wrong\n", "secret"))
        denied = "Access denied for user 'admin'@'localhost' (using password: YES)"
        self.assertEqual(self.database.sessions(), [(CONNECT, [("Connect", denied)])] * 2)

    def test_without_a_password_nothing_connects(self):
        for content in (None, b""):
            with self.subTest(content):
                self.assertFalse(self.lets_in(content, ""))
                self.assertEqual(self.database.sessions(), [])


class ActionLogTest(DatabaseTest):
    """What the administrator did through the panel, and what is checked then. In most of these
    tests each service but the database is down, so that the report lists just those checked."""

    def setUp(self):
        super().setUp()
        self.panel.write_service("redis")
        self.panel.write_service("tomcat")

    def reported(self):
        """The services that are down in a report with only such problems, after a run in which
        every service that the monitor is asked about is down."""
        self.panel.fake_monitor(dict.fromkeys([*ASKED_OF_MONITOR, "redis", "tomcat", "none"], 512))
        printed = self.status()
        services = re.findall(r'<problem id="service-down:(\w*)">', printed.decode())
        self.assertEqual(printed, down_report(*services))
        return services

    def test_an_empty_log_leaves_the_core_services_in_their_order(self):
        self.assertEqual(self.checked(), ASKED_OF_MONITOR)
        self.assertEqual(self.reported(), ["dns", "keldo", "mail", "smtp", "web"])

    def test_a_core_service_that_was_stopped_is_not_checked(self):
        self.database.log_action(STOP, "dns")
        self.assertEqual(self.reported(), ["keldo", "mail", "smtp", "web"])
        self.assertEqual(self.panel.checked_services(), ["keldo", "smtp", "web", "mail"])

    def test_a_core_service_that_was_started_again_is_back(self):
        self.database.log_action(STOP, "dns")
        self.database.log_action(START, "dns")
        self.assertEqual(self.reported(), ["dns", "keldo", "mail", "smtp", "web"])

    def test_a_service_started_beyond_the_core_ones_is_checked_after_them(self):
        self.database.log_action(START, "tomcat")
        self.assertEqual(self.checked(), [*ASKED_OF_MONITOR, "tomcat"])
        self.assertEqual(self.reported(), ["dns", "keldo", "mail", "smtp", "tomcat", "web"])

    def test_a_service_started_beyond_the_core_ones_and_stopped_is_not_checked(self):
        self.database.log_action(START, "tomcat")
        self.database.log_action(STOP, "tomcat")
        self.assertEqual(self.checked(), ASKED_OF_MONITOR)

    def test_a_core_service_last_started_is_checked_twice_and_reported_once(self):
        self.database.log_action(START, "web")
        self.assertEqual(self.reported(), ["dns", "keldo", "mail", "smtp", "web"])
        self.assertEqual(self.panel.checked_services(), [*ASKED_OF_MONITOR, "web"])

    def test_the_latest_entry_of_each_service_decides(self):
        for action, service in ((STOP, "web"), (START, "redis"), (STOP, "dns"), (START, "web"),
                                (START, "tomcat"), (STOP, "redis"), (STOP, "mail")):
            self.database.log_action(action, service)
        self.assertEqual(self.checked(), ["keldo", "smtp", "web", *sorted(["tomcat", "web"])])

    def test_the_highest_id_is_the_latest_whenever_it_was_written(self):
        self.database.log_action(START, "dns", log_id=20)
        self.database.log_action(STOP, "dns", log_id=7)
        self.assertEqual(self.checked(), [*ASKED_OF_MONITOR, "dns"])

    def test_one_entry_may_name_several_services(self):
        self.database.log_action(STOP, "web", "dns")
        self.database.log_action(START, "dns", "redis")
        self.assertEqual(self.checked(), ["keldo", "smtp", "dns", "mail", "dns", "redis"])

    def test_a_service_without_a_definition_is_left_out(self):
        self.database.log_action(START, "unknown")
        self.assertEqual(self.checked(), ASKED_OF_MONITOR)

    def test_names_are_compared_with_their_case(self):
        self.database.log_action(STOP, "WEB")
        self.database.log_action(STOP, "dns ")
        self.assertEqual(self.checked(), ASKED_OF_MONITOR)

    def test_what_is_stopped_goes_by_the_id_in_the_definition(self):
        self.panel.write_service("web", own_id="apache")
        self.database.log_action(STOP, "apache")
        self.assertEqual(self.checked(), ["keldo", "smtp", "dns", "mail"])

    def test_whatever_has_the_id_of_a_stopped_service_is_left_out(self):
        self.panel.write_service("web", own_id="dns")
        self.database.log_action(STOP, "dns")
        self.assertEqual(self.checked(), ["keldo", "smtp", "mail"])

    def test_a_stopped_database_service_is_not_checked(self):
        self.database.log_action(STOP, "mysql")
        self.assertEqual(self.status(), report())
        self.assertEqual(self.database.sessions(), [session(*PREPARATION, *ACTION_LOG)])

    def test_an_entry_without_components_names_the_service_with_the_empty_name(self):
        self.database.log_action(START)
        self.assertEqual(self.checked(), ASKED_OF_MONITOR)
        self.panel.write_service("", own_id="none")
        self.panel.forget_calls()
        self.assertEqual(self.checked(), [*ASKED_OF_MONITOR, "none"])

    def test_entries_with_and_without_a_null_component_are_of_one_service(self):
        self.panel.write_service("", own_id="none")
        self.database.log_action(START)
        self.database.log_action(STOP, None)
        self.assertEqual(self.checked(), ASKED_OF_MONITOR)

    def test_a_stop_without_components_stops_nothing(self):
        self.database.log_action(STOP)
        self.assertEqual(self.checked(), ASKED_OF_MONITOR)

    def test_other_actions_do_not_count(self):
        self.database.reset(actions=("service_start", "service_stop", "login"))
        self.database.log_action(STOP, "dns")
        self.database.log_action(3, "dns", "redis")
        self.assertEqual(self.checked(), ["keldo", "smtp", "web", "mail"])

    def test_the_ids_of_the_actions_are_those_that_the_database_gives(self):
        kinds = ["other"] * 12
        kinds[1] = "service_stop"
        kinds[11] = "service_start"
        self.database.reset(actions=[kind if kind != "other" else f"other {number}"
                                     for number, kind in enumerate(kinds)])
        self.database.log_action(2, "dns", "web")
        self.database.log_action(12, "web", "tomcat")
        self.assertEqual(self.checked(), ["keldo", "smtp", "web", "mail", "tomcat", "web"])

    def test_without_a_stop_action_whatever_has_a_start_is_checked(self):
        self.database.reset(actions=("service_start", "other"))
        self.database.log_action(START, "redis")
        self.database.log_action(STOP, "redis", "dns")
        self.assertEqual(self.checked(), [*ASKED_OF_MONITOR, "redis"])

    def test_without_a_start_action_whatever_has_a_stop_is_left_out(self):
        self.database.reset(actions=("other", "service_stop"))
        self.database.log_action(STOP, "dns")
        self.database.log_action(START, "dns", "redis")
        self.assertEqual(self.checked(), ["keldo", "smtp", "web", "mail"])

    def test_of_log_ids_above_eight_digits_the_first_eight_decide(self):
        self.database.log_action(START, "dns", log_id=99999999)
        self.database.log_action(STOP, "dns", log_id=100000000)
        self.assertEqual(self.checked(), [*ASKED_OF_MONITOR, "dns"])

    def test_of_log_ids_with_the_same_first_eight_digits_the_higher_action_wins(self):
        self.database.log_action(STOP, "dns", log_id=123456780)
        self.database.log_action(START, "dns", log_id=123456789)
        self.assertEqual(self.checked(), ["keldo", "smtp", "web", "mail"])


class FailingActionLogTest(DatabaseTest):
    """The log names a service more and one less; a statement on it fails."""

    def setUp(self):
        super().setUp()
        self.panel.write_service("redis")
        self.database.log_action(START, "redis")
        self.database.log_action(STOP, "dns")

    def allow_statements(self, count):
        """Lets the panel's account run so many statements, 0 for any number."""
        self.database.sql(f"ALTER USER admin@localhost WITH MAX_QUERIES_PER_HOUR {count};"
                          "FLUSH USER_RESOURCES;")
        self.addCleanup(self.database.sql,
                        "ALTER USER admin@localhost WITH MAX_QUERIES_PER_HOUR 0;")

    def test_without_its_tables_the_core_services_are_checked(self):
        for table in ("log_components", "log_actions", "actions"):
            with self.subTest(table):
                self.database.sql(f"DROP TABLE kvr.{table};")
                self.panel.forget_calls()
                self.assertEqual(self.checked(), ASKED_OF_MONITOR)

    def test_where_the_started_services_cannot_be_read_the_core_services_are_checked(self):
        self.allow_statements(6)
        self.assertEqual(self.status(), down_report("mysql"))
        self.assertEqual(self.panel.checked_services(), ASKED_OF_MONITOR)

    def test_where_the_stopped_services_cannot_be_read_none_is_left_out(self):
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
    def test_a_server_that_crashed_takes_the_action_log_with_it(self):
        self.database.log_action(STOP, "dns")
        self.panel.fake_monitor({"dns": 512})
        self.assertEqual(self.status(), report())
        self.database.kill()
        self.assertEqual(self.status(), down_report("dns", "mysql"))


if __name__ == "__main__":
    unittest.main()
