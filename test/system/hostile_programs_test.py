# SPDX-License-Identifier: MIT
"""Monitors, repair commands and upgrade tools that misbehave or print invalid text."""

import os
import pty
import re
import signal
import unittest

from panel import KELDOCTL, SERVICES, WEB_DOWN, Panel, Problem, down_report, report, restart

UPGRADING = report([Problem("upgrade", "Upgrade is in progress. Please wait.", "minor")])
GATE = "/usr/local/kvr/gate"  # a fifo that a program waits at

# The signals that end a process by default.
ENDING = sorted(set(range(1, 32)) - {signal.SIGCHLD, signal.SIGCONT, signal.SIGURG, signal.SIGWINCH,
                                     signal.SIGSTOP, signal.SIGTSTP, signal.SIGTTIN,
                                     signal.SIGTTOU})


class ProgramTest(unittest.TestCase):
    """One service, web, whose monitor is a plain shell script."""

    def setUp(self):
        self.panel = Panel()
        self.panel.remove_definitions()
        self.panel.write_service("web")
        self.monitor("")

    def monitor(self, commands):
        """Installs shell commands as the monitor."""
        self.panel.write_program("monit", "#!/bin/sh\n" + commands)

    def repair_with(self, commands):
        """Returns the report on a repair of web with these commands."""
        self.panel.write_service("web", start=commands)
        return self.run_whole("--repair", "restart-service:web")

    def run_whole(self, *arguments):
        done = self.panel.run(*arguments)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(os.listdir(self.panel.root / "tmp"), [])
        return done.stdout

    def check_log(self, commands, log, status="ok"):
        expected = report(actions=[restart("web", status=status, log=log)])
        self.assertTrue(self.repair_with(commands) == expected)  # too long for a message


class OutputTest(ProgramTest):
    LINES = "yes \"<x>$(printf '%01016d' 0)</x>\" | head -n 102400"  # of 1024 bytes each

    def test_a_hundred_megabytes_of_xml_of_a_monitor_are_read(self):
        self.monitor(f"echo '<monit>'; {self.LINES}\n"
                     f"echo '{WEB_DOWN.removeprefix('<monit>')}'")
        self.assertEqual(self.run_whole("--status"), down_report("web"))

    def test_with_a_hundred_megabytes_without_xml_no_service_is_down(self):
        self.monitor("head -c 100000000 /dev/zero | tr '\\0' x")
        self.assertEqual(self.run_whole("--status"), report())

    def test_a_hundred_megabytes_of_an_upgrade_tool_do_not_hide_the_upgrade(self):
        self.panel.upgrade_tool(1, commands="head -c 100000000 /dev/zero | tr '\\0' x")
        self.assertEqual(self.run_whole("--status"), UPGRADING)

    def test_a_hundred_megabytes_of_a_repair_are_in_the_log(self):
        self.check_log("head -c 100000000 /dev/zero | tr '\\0' x", "x" * 100000000)

    def test_output_that_comes_byte_by_byte_is_read_whole(self):
        self.panel.write_program("monit", f"""#!/usr/bin/python3 -IS
import os
for byte in {WEB_DOWN.encode()!r}:
    os.write(1, bytes([byte]))
""")
        self.assertEqual(self.run_whole("--status"), down_report("web"))

    def test_a_nul_byte_hides_the_rest_of_a_monitors_chunk(self):
        self.monitor(f"printf '{WEB_DOWN}\\0no XML'")
        self.assertEqual(self.run_whole("--status"), down_report("web"))

    def test_noise_on_other_descriptors_does_not_reach_the_report(self):
        noise = "\n".join(f"echo noise >&{number}" for number in (0, *range(2, 10)))
        self.monitor(f"({noise}) 2>/dev/null; echo '{WEB_DOWN}'")
        self.panel.upgrade_tool(0, commands=f"({noise}) 2>/dev/null; echo noise")
        self.assertEqual(self.run_whole("--status"), down_report("web"))

    def test_a_monitor_may_move_and_close_its_descriptors(self):
        self.monitor(f"exec 7>&1 1>&2 2>&- 0>&-; echo noise; echo '{WEB_DOWN}' >&7")
        self.assertEqual(self.run_whole("--status"), down_report("web"))


class EndTest(ProgramTest):
    """When a program counts as ended, and when it counts as successful."""

    def setUp(self):
        super().setUp()
        os.mkfifo(GATE)

    def finished(self, run):
        """Opens the gate that a program waits at, and returns the run's report."""
        with open(GATE, "w", encoding="utf-8"):
            pass
        stdout, stderr = run.communicate()
        self.assertEqual((run.returncode, stderr), (0, b""))
        return stdout

    def test_output_ends_with_the_last_process_that_holds_it(self):
        # The background process prints the rest after the monitor has ended.
        self.monitor(f"printf '{WEB_DOWN[:40]}'\n"
                     f"{{ read line < {GATE}; echo '{WEB_DOWN[40:]}'; }} &")
        self.assertEqual(self.finished(self.panel.start("--status")), down_report("web"))

    def test_a_repairs_output_ends_with_the_last_process_that_holds_it(self):
        self.panel.write_service("web", start=f"echo now; {{ read line < {GATE}; echo late; }} &")
        self.assertEqual(self.finished(self.panel.start("--repair", "restart-service:web")),
                         report(actions=[restart("web", status="ok", log="now\nlate\n")]))

    def test_an_upgrade_tool_that_closes_its_output_still_runs(self):
        self.panel.upgrade_tool(1, commands=f"exec >&- 2>&-; read line < {GATE}")
        self.assertEqual(self.finished(self.panel.start("--status")), UPGRADING)

    def test_a_repair_that_closes_its_output_still_runs(self):
        self.panel.write_service("web", start=f"exec >&- 2>&-; read line < {GATE}; exit 3")
        self.assertEqual(self.finished(self.panel.start("--repair", "restart-service:web")),
                         report(actions=[restart("web", status="error")]))

    def test_a_killed_programs_output_counts_and_its_death_is_no_failure(self):
        # The output of a killed monitor counts, a killed upgrade tool reports no upgrade, and a
        # killed repair is a success.
        for number in ENDING:
            with self.subTest(signal.Signals(number).name):
                die = f"ulimit -c 0; kill -{number} $$"
                self.monitor(f"echo '{WEB_DOWN}'; {die}")
                self.panel.upgrade_tool(1, commands=die)
                self.assertEqual(self.run_whole("--status"), down_report("web"))
                self.monitor("")
                self.check_log(f"echo dying; {die}", "dying\n")

    def test_a_stopped_program_has_not_ended(self):
        for stopped in ("$$", "$PPID"):
            with self.subTest(stopped):
                self.monitor(f"sh -c 'kill -STOP $0; kill -CONT $0' {stopped}; echo '{WEB_DOWN}'")
                self.assertEqual(self.run_whole("--status"), down_report("web"))

    def test_programs_that_ignore_every_signal_are_read_as_usual(self):
        self.monitor(f"trap '' $(seq 1 31); echo '{WEB_DOWN}'")
        self.panel.upgrade_tool(0, commands="trap '' $(seq 1 31)")
        self.assertEqual(self.run_whole("--status"), down_report("web"))

    def test_only_exit_status_0_is_a_repairs_success(self):
        names = [f"s{status:03}" for status in range(256)]
        for status, name in enumerate(names):
            self.panel.write_service(name, start=f"exit {status}")
        stdout = self.run_whole("--repair", *[f"restart-service:{name}" for name in names])
        self.assertEqual(stdout, report(actions=[
            restart(name, status="ok" if name == "s000" else "error") for name in names]))


class KilledParentTest(ProgramTest):
    """Programs that kill keldoctl's child, which waits for them."""

    def test_a_repair_that_kills_its_parent_is_an_error(self):
        # The parent ignores SIGINT and SIGQUIT while it waits for the shell.
        for number in sorted(set(ENDING) - {signal.SIGINT, signal.SIGQUIT}):
            with self.subTest(signal.Signals(number).name):
                self.check_log(f"ulimit -c 0; echo dying; kill -{number} $PPID", "dying\n",
                               status="error")

    def test_the_output_of_a_monitor_that_kills_its_parent_counts(self):
        self.monitor(f"echo '{WEB_DOWN}'; kill -9 $PPID")
        self.assertEqual(self.run_whole("--status"), down_report("web"))


class StartTest(ProgramTest):
    def check_as_missing(self, install):
        """Calls `install` with the path of the monitor and of the upgrade tool. Checks that a run
        then finds no service down."""
        for name in ("monit", "noupgradecheck"):
            path = self.panel.root / "admin/sbin" / name
            path.unlink()
            install(path)
        self.assertEqual(self.run_whole("--status"), report())

    def test_a_directory_in_place_of_a_program_counts_as_missing(self):
        self.check_as_missing(os.mkdir)

    def test_a_program_without_its_interpreter_counts_as_missing(self):
        def install(path):
            path.write_text("#!/no/such/interpreter\n", encoding="utf-8")
            path.chmod(0o755)
        self.check_as_missing(install)

    def test_a_file_that_cannot_be_executed_counts_as_missing(self):
        def install(path):
            path.write_bytes(b"\x7fELF" + bytes(range(256)))
            path.chmod(0o755)
        self.check_as_missing(install)

    def test_a_link_that_leads_to_itself_counts_as_missing(self):
        self.check_as_missing(lambda path: path.symlink_to(path.name))


class TerminalTest(ProgramTest):
    def test_a_program_that_changes_the_terminal_does_not_change_the_report(self):
        # The run has a terminal of its own, which the monitor may spoil. The report goes to a pipe.
        self.monitor(f"exec 3<>/dev/tty; stty raw -echo <&3; echo noise >&3; echo '{WEB_DOWN}'")
        master, slave = pty.openpty()
        os.set_blocking(master, False)
        done = self.panel.run("--status", program=["setsid", "--ctty", "--wait", KELDOCTL],
                              stdin=slave, stderr=slave)
        self.assertEqual((done.returncode, done.stdout), (0, down_report("web")))
        self.assertEqual(os.read(master, 100), b"noise\n")  # nothing else, and no \r: it is raw
        os.close(slave)
        os.close(master)


def valid_text(data):
    """The text that a report has for the bytes of a log."""
    return re.sub("[^\t\n\r\x20-\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]", "\ufffd",
                  data.decode("utf-8", "replace"))


class InvalidTextTest(ProgramTest):
    """Bytes that are not UTF-8, and characters that XML does not allow, in logs and ids. Each kind
    of invalid text has a unit test; these tests compare whole runs with Python's decoder."""

    def check(self, data):
        output = self.panel.root / "output"
        output.write_bytes(data)
        self.check_log(f"cat {output}", valid_text(data))

    def test_control_characters_outside_xml_are_replaced(self):
        self.check_log(r"printf '\033[31mred\033[0m \001 \177 \r\n\t'",
                       "\ufffd[31mred\ufffd[0m \ufffd \x7f \r\n\t")

    def test_every_pair_of_bytes_becomes_valid_text(self):
        rest = range(1, 256)  # a NUL would hide the rest of its chunk
        self.check(b"".join(bytes((first, second)) + b"\n" for first in rest for second in rest))

    def test_every_kind_of_long_sequence_becomes_valid_text(self):
        edges = b"\x20\x7f\x80\x8f\x90\x9f\xa0\xbf\xc0\xc2\xe0\xf0\xff"
        self.check(b"".join(bytes((first, second, third)) + b"\n" for first in range(0xE0, 0xF0)
                            for second in edges for third in edges))
        self.check(b"".join(bytes((first, second, third, fourth)) + b"\n"
                            for first in range(0xEF, 0xF8) for second in edges for third in edges
                            for fourth in b"\x20\x80\xbf\xff"))

    def test_every_character_of_the_first_plane_becomes_valid_text(self):
        text = "".join(chr(c) for c in range(1, 0x10000) if not 0xD800 <= c < 0xE000)
        self.check(text.encode())

    def test_an_id_that_is_not_utf8_is_carried_out_and_shown_as_valid_text(self):
        content = (SERVICES / "web.xml").read_bytes()
        for name, shown in ((b"caf\xe9", "caf\ufffd"), (b"a\x1b\xff", "a\ufffd\ufffd")):
            with self.subTest(name):
                with open(b"/service/" + name + b".xml", "wb") as file:
                    file.write(content)
                self.assertEqual(
                    self.run_whole("--repair", b"restart-service:" + name),
                    report(actions=[restart(shown, "web title", status="ok")]))


if __name__ == "__main__":
    unittest.main()
