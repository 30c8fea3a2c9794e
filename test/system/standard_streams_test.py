# SPDX-License-Identifier: MIT
"""Output on standard output and standard error, and the descriptors of children."""

import json
import os
import resource
import unittest

from counting import uncounted
from panel import Panel, down_report, report, restart, service_down
from trace import own, traced


def as_dup2(call):
    """Names dup3 without flags dup2: some processors have dup3 only."""
    if call.name != "dup3":
        return call
    return call._replace(name="dup2", arguments=call.arguments.removesuffix(", 0"))


class SilenceTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def test_nothing_that_children_print_reaches_the_streams(self):
        self.panel.upgrade_tool(0, commands="echo tool; echo tool >&2")
        self.panel.fake_monitor(script="#!/bin/sh\necho noise >&2\necho no XML\n")
        done = self.panel.run("--status")
        self.assertEqual((done.stdout, done.stderr), (down_report("mysql"), b""))

    @uncounted
    def test_the_streams_are_silenced_and_restored_in_order(self):
        _, calls = traced(self.panel, "dup,?dup2,dup3,openat,close,write", "--status")
        calls = [as_dup2(call) for call in own(calls)]
        first = next(i for i, call in enumerate(calls) if call.name == "dup")
        begin = [f"{call.name}({call.arguments}) = {call.result}" for call in calls[first:first + 8]]
        null = 'openat(AT_FDCWD, "/dev/null", O_WRONLY) = '
        self.assertEqual(begin, [
            "dup(1) = 3", null + "4", "dup2(4, 1) = 1", "close(4) = 0",
            "dup(2) = 4", null + "5", "dup2(5, 2) = 2", "close(5) = 0"])
        last = [f"{call.name}({call.arguments})" for call in calls
                if call.name != "openat"][-5:]
        self.assertEqual(last[:4], ["dup2(4, 2)", "close(4)", "dup2(3, 1)", "close(3)"])
        self.assertTrue(last[4].startswith("write(1, "))

    @uncounted
    def test_the_report_is_written_once_and_whole(self):
        done, calls = traced(self.panel, "write", "--status")
        writes = [call for call in own(calls) if call.arguments.startswith("1, \"<?xml")]
        self.assertEqual([call.result for call in writes], [str(len(done.stdout))])

    @uncounted
    def test_the_message_about_the_service_directory_goes_to_both_silenced_streams(self):
        message = "1, \"variable 'PRODUCT_ETC_D' isn't found neither in /etc/kvr/kvr.conf"
        done, calls = traced(self.panel, "write", "--status")
        for stream in ("1", "2"):
            told = [call for call in own(calls)
                    if call.arguments.startswith(stream + message[1:])]
            self.assertEqual(len(told), 6, stream)  # once per definition
        self.assertEqual((done.stdout, done.stderr), (down_report("mysql"), b""))

    @uncounted
    def test_each_command_has_one_child_that_writes_nothing(self):
        self.panel.write_service("web", start="true")
        _, calls = traced(self.panel, "?fork,clone,write", "--repair", "restart-service:web")
        children = {int(call.result) for call in own(calls) if call.name in ("fork", "clone")}
        self.assertEqual(len(children), 1 + 1 + 5)  # the repair, the upgrade tool, five services
        self.assertEqual([call for call in calls
                          if call.process in children and call.name == "write"], [])

    def test_libxml2_complaints_are_silenced(self):
        self.panel.write_definition("web", "<service")
        self.panel.write_definition("dns", None)
        done = self.panel.run("--status")
        self.assertEqual((done.stdout, done.stderr), (down_report("mysql"), b""))


# A program that records its open descriptors and their targets.
LIST = """#!/usr/bin/python3 -IS
import json, os
found = {}
for number in range(64):
    try:
        found[number] = os.readlink(f"/proc/self/fd/{number}").partition(":")[0]
    except OSError:
        pass
with open("/usr/local/kvr/descriptors", "w") as file:
    json.dump(found, file)
"""


def install_list():
    with open("/usr/local/kvr/list", "w", encoding="utf-8") as file:
        file.write(LIST)
    os.chmod("/usr/local/kvr/list", 0o755)


def listed():
    """The descriptors that the program has recorded."""
    with open("/usr/local/kvr/descriptors", encoding="utf-8") as file:
        return json.load(file)


class InheritanceTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()
        install_list()

    def check(self, expected):
        self.assertEqual(listed(), expected)

    def test_the_monitor_inherits_only_the_null_device_and_its_pipe(self):
        self.panel.fake_monitor(script=LIST)
        self.panel.run("--status")
        self.check({"0": "/dev/null", "1": "pipe", "2": "/dev/null"})

    def test_the_upgrade_tool_has_both_streams_on_the_pipe(self):
        self.panel.upgrade_tool(0, commands="exec /usr/local/kvr/list")
        self.panel.run("--status")
        self.check({"0": "/dev/null", "1": "pipe", "2": "pipe"})

    def test_a_repair_has_both_streams_on_the_pipe(self):
        self.panel.write_service("web", stop="/usr/local/kvr/list")
        self.panel.run("--repair", "restart-service:web")
        self.check({"0": "/dev/null", "1": "pipe", "2": "pipe"})

    def test_standard_input_is_inherited(self):
        self.panel.upgrade_tool(0, commands="cat > /usr/local/kvr/from-stdin")
        self.panel.run("--status", stdin=None, input=b"given to the tool")
        with open("/usr/local/kvr/from-stdin", "rb") as file:
            self.assertEqual(file.read(), b"given to the tool")

    def test_a_daemon_that_a_repair_starts_does_not_hold_the_panels_pipe(self):
        # The daemon lives until this test opens and closes the fifo, which is after both pipes have
        # ended. If the daemon held a pipe, the test would hang.
        os.mkfifo("/usr/local/kvr/leash")
        start = "setsid sh -c 'exec >/dev/null 2>&1; exec cat /usr/local/kvr/leash' &"
        self.panel.write_service("web", start=start)
        run = self.panel.start("--repair", "restart-service:web")
        stdout, stderr = run.communicate()  # returns at the end of both pipes
        with open("/usr/local/kvr/leash", "w", encoding="utf-8"):
            pass
        self.assertEqual(stdout, report([service_down("mysql")],
                                        [restart("mysql"), restart("web", status="ok")]))
        self.assertEqual(stderr, b"")


class HostileCallerTest(unittest.TestCase):
    """A run that inherits a bad state from its caller."""

    def setUp(self):
        self.panel = Panel()
        self.panel.fake_monitor({"web": 1})
        install_list()

    def test_closed_standard_descriptors_are_open_for_children(self):
        self.panel.upgrade_tool(0, commands="exec /usr/local/kvr/list")
        for closed in ((0,), (2,), (0, 2), (0, 1, 2)):
            with self.subTest(closed):
                self.panel.run("--status", preexec_fn=lambda: close(closed))
                self.assertEqual(listed(), {"0": "/dev/null", "1": "pipe", "2": "pipe"})


def close(descriptors):
    for descriptor in descriptors:
        os.close(descriptor)


class FailedRunTest(unittest.TestCase):
    """An unexpected exception ends a run."""

    def setUp(self):
        self.panel = Panel()

    def test_missing_memory_for_the_monitors_output_leaves_no_report_and_no_control_file(self):
        self.panel.fake_monitor(script="#!/bin/sh\nhead -c 1000000000 /dev/zero | tr '\\0' x\n")
        limit = 1 << 28
        done = self.panel.run("--status", preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_AS, (limit, limit)))
        self.assertEqual((done.returncode, done.stdout, done.stderr), (-6, b"", b""))
        self.assertEqual(os.listdir(self.panel.root / "tmp"), [])

    def test_repairs_that_were_carried_out_stay_unreported(self):
        self.panel.write_service("web", start="touch /usr/local/kvr/web-started")
        self.panel.fake_monitor(
            script="#!/bin/sh\necho '<monit><service><name>keldo</name><status> 0</status>"
                   "</service></monit>'\n")
        done = self.panel.run("--repair", "restart-service:web")
        self.assertEqual((done.returncode, done.stdout), (-6, b""))
        self.assertTrue(os.path.exists("/usr/local/kvr/web-started"))


if __name__ == "__main__":
    unittest.main()
