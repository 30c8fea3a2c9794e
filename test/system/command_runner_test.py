# SPDX-License-Identifier: MIT
"""Commands as children of a run: their output, their end, their signals."""

import unittest

from counting import uncounted
from panel import Panel, report, restart, service_down
from trace import own, traced


class CommandTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def check(self, commands, status, log):
        self.panel.write_service("web", start=commands)
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual(done.stdout, report(
            [service_down("mysql")], [restart("mysql"), restart("web", status=status, log=log)]))

    def test_both_streams_are_captured_in_the_order_of_writing(self):
        self.check("echo a; echo b >&2; echo c", "ok", "a\nb\nc\n")

    def test_output_larger_than_a_pipe(self):
        self.check("head -c 1000000 /dev/zero | tr '\\0' x", "ok", "x" * 1000000)

    def test_a_nul_byte_cuts_off_the_rest_of_its_chunk(self):
        self.check("printf 'seen\\0hidden'", "ok", "seen")
        # The first chunk has 1023 of the 1024 bytes.
        text = "head -c 1000 /dev/zero | tr '\\0' x"
        self.check(f"({text}; printf '\\0'; head -c 22 /dev/zero | tr '\\0' y; printf z) "
                   "> /usr/local/kvr/out; cat /usr/local/kvr/out", "ok", "x" * 1000 + "z")

    def test_no_output_is_an_empty_log(self):
        self.check("exit 3", "error", "")

    def test_a_shell_that_dies_by_a_signal_counts_as_a_success(self):
        self.check("echo dying; kill -9 $$", "ok", "dying\n")

    def test_a_child_that_dies_by_a_signal_is_an_error(self):
        # The shell's parent is the child that keldoctl waits for.
        self.check("echo dying; kill -9 $PPID", "error", "dying\n")

    def test_a_command_killed_inside_the_shell_has_the_shells_status(self):
        self.check("sh -c 'kill -9 $$'; true", "ok", "Killed\n")
        self.check("sh -c 'kill -9 $$'; exit $?", "error", "Killed\n")

    def test_an_unknown_command_is_an_error(self):
        self.check("no-such-program 2>/dev/null", "error", "")

    @uncounted
    def test_each_command_has_one_child_that_writes_nothing(self):
        self.panel.write_service("web", start="true")
        _, calls = traced(self.panel, "fork,clone,write", "--repair", "restart-service:web")
        children = {int(call.result) for call in own(calls) if call.name in ("fork", "clone")}
        self.assertEqual(len(children), 1 + 1 + 5)  # the repair, the upgrade tool, five services
        self.assertEqual([call for call in calls
                          if call.process in children and call.name == "write"], [])


if __name__ == "__main__":
    unittest.main()
