# SPDX-License-Identifier: MIT
"""The whole fault campaign: every fault in every scenario. Run by script/faults.

    campaign.py                        everything
    campaign.py SCENARIO[/KIND]...     only these scenarios, or their faults of one kind
    campaign.py --case SCENARIO FAULT  one run; FAULT as the campaign prints it
"""

import collections
import contextlib
import json
import subprocess
import sys
import threading
import time

from database import Database
from panel import PROJECT
from subreaper import become_subreaper

import injection
import places
import promise
import scenarios

WORKERS = 2
PROGRESS = 1000  # cases
KINDS = ("system", "child", "memory", "short", "close")  # of injection.Fault


# --- On a private host


class Host:
    """Runs cases on this private host, scenario by scenario."""

    def __init__(self):
        become_subreaper()
        self._database = None

    def close(self):
        self._set_database(False)

    def lay_out(self, scenario):
        self._set_database(scenario.database)
        scenarios.lay_out(scenario, self._database)

    def _set_database(self, wanted):
        if wanted and self._database is None:
            self._database = Database()
        elif not wanted and self._database is not None:
            self._database.stop()
            self._database = None

    def trace(self, scenario):
        """The calls of a run without a fault; raises RuntimeError if its report is wrong."""
        for _ in range(2):  # the first run fills caches
            outcome = injection.run(scenario, None)
            if (promise.complaints(scenario, None, outcome) or scenario.program == "keldoctl"
                    and outcome.stdout != promise.whole_report(scenario)):
                raise RuntimeError(f"{scenario.name}: without a fault, {outcome}")
        return injection.trace()


def case(scenario, fault):
    """Runs one case. Returns how many calls failed, how many calls of that name there were (None if
    unknown), and the complaints."""
    outcome = injection.run(scenario, fault)
    complaints = promise.complaints(scenario, fault, outcome)
    return outcome.faults, outcome.calls, complaints


def cases(scenario, kind, calls, worker, workers):
    """Runs this worker's share of a scenario's places; an empty kind means all kinds. Yields each
    fault with the number of failed calls and the complaints."""
    fixed = [place for place in (places.system_places(calls, scenario)
                                 + places.child_places(scenario))
             if kind in ("", place[0].kind)]
    for place in fixed[worker::workers]:
        for fault in place:
            faults, count, complaints = case(scenario, fault)
            if faults == 0 and not (scenario.is_paced() and count < fault.number):
                complaints.append("the fault did not occur")
            yield fault, faults, complaints
    for series in places.series(calls, scenario):
        if kind in ("", series.faults[0].kind):
            yield from series_cases(scenario, series, worker + 1, workers)


def series_cases(scenario, series, number, step):
    """The same for a series, from call `number` on to the last call that a run makes."""
    goes_on = True
    while goes_on:
        for fault in series.at(number):
            faults, count, complaints = case(scenario, fault)
            if faults == 0 and (count is None or count < fault.number):
                goes_on = False  # past the last call
                if complaints:
                    yield fault, 0, complaints
                continue
            if faults == 0:
                complaints.append("the fault did not occur")
            yield fault, faults, complaints
        number += step


def work(worker, workers, names):
    """Prints a line of JSON for each case."""
    with contextlib.closing(Host()) as host:
        for name, _, kind in (name.partition("/") for name in names):
            scenario = scenarios.SCENARIOS[name]
            host.lay_out(scenario)
            calls = host.trace(scenario)
            for fault, faults, complaints in cases(scenario, kind, calls, worker, workers):
                print(json.dumps((name, str(fault), faults, complaints)), flush=True)


def one_case(name, words):
    scenario = scenarios.SCENARIOS[name]
    fault = injection.Fault.parse(words)
    with contextlib.closing(Host()) as host:
        host.lay_out(scenario)
        outcome = injection.run(scenario, fault)
    print(injection.LOG.read_text(encoding="utf-8", errors="replace"))
    print(outcome._replace(stdout=b"..."), outcome.stdout.decode(), sep="\n")
    found = promise.complaints(scenario, fault, outcome)
    print("\n".join(found) or "no complaint")
    return 1 if found else 0


# --- On the machine


class Tally:
    """Totals of the campaign by scenario."""

    def __init__(self):
        self.cases = collections.Counter()
        self.faults = collections.Counter()
        self.places = collections.defaultdict(set)
        self.broken = collections.Counter()
        self._lock = threading.Lock()
        self._begin = time.monotonic()

    def add(self, name, fault, faults, complaints):
        with self._lock:
            self.cases[name] += faults > 0
            self.faults[name] += faults
            self.places[name].add(injection.Fault.parse(fault.split()).place())
            self.broken[name] += bool(complaints)
            if complaints:
                print(f"BROKEN {name} {fault}: {'; '.join(complaints)}", flush=True)
            if sum(self.cases.values()) % PROGRESS == 0:
                print(f"{sum(self.cases.values())} faults in {self._minutes()} minutes, "
                      f"now {name} {fault}", flush=True)

    def _minutes(self):
        return round((time.monotonic() - self._begin) / 60, 1)

    def print(self):
        print(f"\n{'run':16} {'faults':>8} {'places':>8} {'failed calls':>13} {'broken':>8}")
        for name in self.cases:
            print(f"{name:16} {self.cases[name]:8} {len(self.places[name]):8} "
                  f"{self.faults[name]:13} {self.broken[name]:8}")
        print(f"{'total':16} {self.cases.total():8} {sum(map(len, self.places.values())):8} "
              f"{self.faults.total():13} {self.broken.total():8}")


def start_worker(worker, names):
    command = [PROJECT / "host/run", "--bare", sys.executable, __file__, "--worker", str(worker),
               *names]
    return subprocess.Popen(command, stdout=subprocess.PIPE, text=True)


def direct(names):
    """Runs the campaign in workers. Returns an exit status."""
    tally = Tally()
    workers = [start_worker(number, names) for number in range(WORKERS)]
    readers = [threading.Thread(target=read_cases, args=(worker, tally)) for worker in workers]
    for reader in readers:
        reader.start()
    for reader in readers:
        reader.join()
    tally.print()
    failed = [worker for worker in workers if worker.wait() != 0]
    if failed:
        print(f"{len(failed)} of {WORKERS} workers failed")
    return 1 if failed or tally.broken.total() or not tally.cases.total() else 0


def read_cases(worker, tally):
    for line in worker.stdout:
        tally.add(*json.loads(line))


def check_names(names):
    """Ends the program if a name is not a scenario or a kind of faults."""
    for name in names:
        scenario, _, kind = name.partition("/")
        if scenario not in scenarios.SCENARIOS or kind not in ("", *KINDS):
            raise SystemExit(f"script/faults: {name}: not one of {', '.join(scenarios.SCENARIOS)}, "
                             f"alone or followed by one of /{', /'.join(KINDS)}")


def main(arguments):
    if arguments[:1] == ["--worker"]:
        work(int(arguments[1]), WORKERS, arguments[2:])
        return 0
    if arguments[:1] == ["--case"]:
        check_names(arguments[1:2])
        return one_case(arguments[1], arguments[2:])
    check_names(arguments)
    return direct(arguments or list(scenarios.SCENARIOS))


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
