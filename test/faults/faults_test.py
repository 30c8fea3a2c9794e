# SPDX-License-Identifier: MIT
"""A part of the fault campaign: each kind of fault in one scenario. script/faults runs it all."""

import itertools
import unittest

import injection
import places
import promise
import scenarios
from campaign import Host, case
from injection import Fault


class FaultTest(unittest.TestCase):
    """Each fault must occur, and the run must keep the promise."""

    def setUp(self):
        self.host = Host()
        self.addCleanup(self.host.close)

    def lay_out(self, name):
        """Lays out the scenario and returns the calls of a run without a fault."""
        self.scenario = scenarios.SCENARIOS[name]
        self.host.lay_out(self.scenario)
        return self.host.trace(self.scenario)

    def check(self, fault):
        """Returns whether the run made the call that was to fail."""
        faults, calls, complaints = case(self.scenario, fault)
        with self.subTest(f"{self.scenario.name} {fault}"):
            self.assertEqual(complaints, [])
            if calls is None or calls >= fault.number:
                self.assertGreater(faults, 0, "the fault did not occur")
        return faults > 0

    def check_places(self, name):
        """Tries each system call of a scenario with one of its errors, in turn. Returns whether the run
        made all calls that were to fail."""
        found = []
        for number, place in enumerate(places.system_places(self.lay_out(name), self.scenario)):
            faults = [fault for fault in place if not places.is_slow(fault)]
            found.append(self.check(faults[number % len(faults)]))
        return all(found)

    def check_series(self, series, step=1):
        """Tries every step-th call with the faults in turn. The first call must exist."""
        for number, which in zip(itertools.count(1, step), itertools.cycle(series.faults)):
            if not self.check(which._replace(number=series.skipped + number)):
                self.assertGreater(number, 1)
                return


class SystemCallTest(FaultTest):
    def test_each_system_call_of_a_german_run_fails_with_one_of_its_errors(self):
        self.assertTrue(self.check_places("german"))


class StreamTest(FaultTest):
    def test_calls_on_the_streams_and_the_report_fail_with_every_error(self):
        calls = self.lay_out("upgrade")
        contexts = {(call.name, call.number): call.context for call in calls}
        for place in places.system_places(calls, self.scenario):
            if contexts[place[0].call, place[0].number] in ("streams", "report"):
                for fault in place:
                    self.assertTrue(self.check(fault))


class AllocationTest(FaultTest):
    def test_each_allocation_of_a_short_run_fails(self):
        self.lay_out("upgrade")
        self.check_series(places.memory_series())

    def test_every_13th_allocation_of_a_run_with_repairs_fails(self):
        self.lay_out("repair-two-ids")
        self.check_series(places.memory_series(), 13)


class TransferTest(FaultTest):
    def test_each_transfer_moves_one_byte(self):
        self.lay_out("repair-two-ids")
        for series in places.transfer_series():
            self.check_series(series)


class ChildTest(FaultTest):
    def test_forks_fail_to_run_their_command(self):
        self.lay_out("repair-two-ids")
        for place in places.child_places(self.scenario):
            for fault in place:
                self.assertTrue(self.check(fault))


class InspectionTest(FaultTest):
    """The same for keldoctl-inspect."""

    def test_each_system_call_of_an_inspection_fails_with_one_of_its_errors(self):
        self.check_places("inspect-well")

    def test_each_call_on_a_child_of_an_inspection_fails(self):
        calls = self.lay_out("inspect-down")
        for series in places.series(calls, self.scenario):
            if series.faults[0].call in ("poll", "wait4", "waitid"):
                self.check_series(series)

    def test_transfers_of_an_inspection_move_one_byte(self):
        calls = {call.name for call in self.lay_out("inspect-well")}
        for series in places.transfer_series():
            if series.faults[0].call in calls:
                self.check_series(series, 5)

    def test_every_101st_allocation_of_an_inspection_fails(self):
        self.lay_out("inspect-json")
        self.check_series(places.memory_series(), 101)

    def test_every_31st_allocation_of_the_child_that_asks_the_database_fails(self):
        self.lay_out("inspect-well")
        self.check_series(places.database_child_series(), 31)


class AdapterTest(FaultTest):
    """The same for monit-check-status with the real monit."""

    def test_each_system_call_of_a_batch_fails_with_one_of_its_errors(self):
        self.check_places("adapter-batch")

    def test_transfers_of_a_batch_move_one_byte(self):
        self.lay_out("adapter-batch")
        for series in places.transfer_series():
            self.check_series(series, 5)

    def test_every_7th_allocation_of_a_batch_fails(self):
        self.lay_out("adapter-batch")
        self.check_series(places.memory_series(), 7)


class CheckTest(FaultTest):
    """The checks notice a broken promise and a fault that did not occur."""

    def test_a_wrong_report_is_noticed(self):
        self.lay_out("status-one-down")
        scenario = self.scenario._replace(findings=scenarios.Findings(down=frozenset({"dns"})))
        for fault in (None, Fault("short", "read", 1, "-", False)):
            _, _, complaints = case(scenario, fault)
            self.assertEqual(complaints, ["says that dns is up, that web is down"])

    def test_an_inspection_that_reports_a_down_service_as_up_is_noticed(self):
        self.lay_out("inspect-well")
        scenario = self.scenario._replace(down=("redis",))
        outcome = injection.run(self.scenario, None)
        self.assertEqual(promise.complaints(scenario, None, outcome), ["says that redis is up"])

    def test_a_verdict_well_without_the_action_log_is_noticed(self):
        self.lay_out("inspect-well")
        outcome = injection.run(self.scenario, None)
        outcome = outcome._replace(stdout=outcome.stdout.replace(
            b'id="action_log" state="ok"', b'id="action_log" state="failed"'))
        [complaint] = promise.complaints(self.scenario, None, outcome)
        self.assertRegex(complaint, "^says well with ")

    def test_a_fault_that_does_not_occur_is_noticed(self):
        self.lay_out("upgrade")
        faults, calls, complaints = case(self.scenario, Fault("memory", "malloc", 10000, "-", True))
        self.assertEqual((faults, complaints), (0, []))
        self.assertGreater(calls, 0)

    def test_a_fault_does_not_excuse_an_unrelated_difference(self):
        self.lay_out("status-one-down")
        scenario = self.scenario._replace(findings=scenarios.Findings())
        _, _, complaints = case(scenario, Fault("system", "pipe2", 1, "EMFILE", False))
        self.assertEqual(complaints, ["says that web is down"])


if __name__ == "__main__":
    unittest.main()
