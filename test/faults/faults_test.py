# SPDX-License-Identifier: MIT
"""A part of the fault campaign: all that can go wrong, but each in one kind of run alone, and of
errors and allocations some. The whole is script/faults."""

import itertools
import unittest

import places
import scenarios
from campaign import Host, case
from injection import Fault


class FaultTest(unittest.TestCase):
    """Each fault of a place has to come about, and the promise to be kept."""

    def setUp(self):
        self.host = Host()
        self.addCleanup(self.host.close)

    def lay_out(self, name):
        """Makes a scenario the one to be run; returns the calls of a run of it."""
        self.scenario = scenarios.SCENARIOS[name]
        self.host.lay_out(self.scenario)
        return self.host.trace(self.scenario)

    def check(self, fault):
        """Returns whether the run made the call that was to go wrong."""
        faults, calls, complaints = case(self.scenario, fault)
        with self.subTest(f"{self.scenario.name} {fault}"):
            self.assertEqual(complaints, [])
            if calls is None or calls >= fault.number:
                self.assertGreater(faults, 0, "the fault did not come about")
        return faults > 0

    def check_series(self, series, step=1):
        """Each step-th number; faults in turn. The first has to be there."""
        for number, which in zip(itertools.count(1, step), itertools.cycle(series.faults)):
            if not self.check(which._replace(number=number)):
                self.assertGreater(number, 1)
                return


class SystemCallTest(FaultTest):
    def test_each_call_of_a_german_run_with_one_of_its_errors(self):
        for number, place in enumerate(places.system_places(self.lay_out("german"))):
            faults = [fault for fault in place if not places.is_slow(fault)]
            self.assertTrue(self.check(faults[number % len(faults)]))


class StreamTest(FaultTest):
    def test_all_calls_for_the_streams_and_the_report_with_all_errors(self):
        calls = self.lay_out("upgrade")
        contexts = {(call.name, call.number): call.context for call in calls}
        for place in places.system_places(calls):
            if contexts[place[0].call, place[0].number] in ("streams", "report"):
                for fault in place:
                    self.assertTrue(self.check(fault))


class AllocationTest(FaultTest):
    def test_each_allocation_of_a_short_run(self):
        self.lay_out("upgrade")
        self.check_series(places.memory_series())

    def test_some_allocations_of_a_run_with_repairs(self):
        self.lay_out("repair-two-ids")
        self.check_series(places.memory_series(), 13)


class TransferTest(FaultTest):
    def test_short_transfers(self):
        self.lay_out("repair-two-ids")
        for series in places.transfer_series():
            self.check_series(series)


class ChildTest(FaultTest):
    def test_forks_that_cannot_run_their_command(self):
        self.lay_out("repair-two-ids")
        for place in places.child_places(self.scenario):
            for fault in place:
                self.assertTrue(self.check(fault))


class CheckTest(FaultTest):
    """What breaks the promise is seen, and that nothing was there to break it."""

    def test_a_report_that_says_something_else(self):
        self.lay_out("status-one-down")
        scenario = self.scenario._replace(findings=scenarios.Findings(down=frozenset({"dns"})))
        for fault in (None, Fault("short", "read", 1, "-", False)):
            _, _, complaints = case(scenario, fault)
            self.assertEqual(complaints, ["says that dns is up, that web is down"])

    def test_a_fault_that_does_not_come_about(self):
        self.lay_out("upgrade")
        faults, calls, complaints = case(self.scenario, Fault("memory", "malloc", 10000, "-", True))
        self.assertEqual((faults, complaints), (0, []))
        self.assertGreater(calls, 0)

    def test_a_fault_that_explains_another_difference(self):
        self.lay_out("status-one-down")
        scenario = self.scenario._replace(findings=scenarios.Findings())
        _, _, complaints = case(scenario, Fault("system", "pipe2", 1, "EMFILE", False))
        self.assertEqual(complaints, ["says that web is down"])


if __name__ == "__main__":
    unittest.main()
