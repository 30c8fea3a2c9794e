# SPDX-License-Identifier: MIT
"""Checks the answers of keldoctl-inspect and monit-check-status in a run in which a call failed.

Standard output carries one complete document, or nothing if the run ends abnormally. No document
reports a service as up that is down, or has the verdict "well" if something is not known. Faults
that must have no effect, such as an interrupted call, change nothing.
"""

import functools
import json
import re
import xml.etree.ElementTree as ElementTree

import scenarios
import schemas

STATUSES = {"well": 0, "problems": 1, "unknown": 2, "upgrade": 4}  # of keldoctl-inspect
NO_DOCUMENT = {"keldoctl-inspect": 3, "monit-check-status": 1}
UNCHECKED = {True: "0", False: "1"}  # what monit-check-status says, in a batch and outside
TIMES = {b"seconds": b"0.000", b"started": b"2026-01-01T00:00:00Z"}
TIME = re.compile(rb'(seconds|started)="[^"]*"')


class Broken(Exception):
    """A broken promise; the text says what the run did."""


def is_made_up_for(fault, outcome):
    """Whether the fault must have no effect: the program does not notice it, or repeats the call.
    libxml2 does not repeat an interrupted call."""
    if fault is None or fault.kind in ("short", "close"):
        return True
    return (fault.error == "EINTR" and fault.call != "openat"
            and not any(context.startswith("definition:") for context in outcome.contexts))


def check_output(scenario, fault, outcome):
    if not outcome.stdout:
        if outcome.status != NO_DOCUMENT[scenario.program] and outcome.status >= 0:
            raise Broken(f"prints nothing and ends with status {outcome.status}")
        if is_made_up_for(fault, outcome):
            raise Broken(f"ends abnormally, with status {outcome.status}")
        return
    check = check_inspection if scenario.program == "keldoctl-inspect" else check_answer
    check(scenario, fault, outcome)


# --- keldoctl-inspect


@functools.lru_cache(maxsize=1024)
def read_inspection(document, is_json):
    """The data of a document without its times: the verdict, the states of the dependencies and of
    the services by id, and the ids of the embedded problems."""
    if is_json:
        try:
            data = json.loads(document)
        except ValueError as error:
            raise Broken(f"printed {document!r}: {error}") from error
        return (data["verdict"], {each["id"]: each["state"] for each in data["dependencies"]},
                {each["id"]: each["state"] for each in data["services"]},
                {each["id"] for each in data["problems"]})
    wrong = schemas.errors(document, schemas.INSPECTION)
    if wrong:
        raise Broken(f"printed {document!r}: {wrong}")
    root = ElementTree.fromstring(document)
    return (root.get("verdict"),
            {each.get("id"): each.get("state") for each in root.find("dependencies")},
            {each.get("id"): each.get("state") for each in root.find("services")},
            {each.get("id") for each in root.iterfind("keldoctl/problem")})


def check_inspection(scenario, fault, outcome):
    verdict, dependencies, states, problems = read_inspection(
        TIME.sub(lambda match: match[1] + b'="' + TIMES[match[1]] + b'"', outcome.stdout),
        "--json" in scenario.arguments)
    expected = scenario.states()
    if is_made_up_for(fault, outcome) and states != expected:
        raise Broken(f"says {sorted(states.items() - expected.items())}, not "
                     f"{sorted(expected.items() - states.items())}")
    if outcome.status != STATUSES[verdict]:
        raise Broken(f"ends with status {outcome.status} and says {verdict}")
    down = scenario.really_down()
    for service, state in states.items():
        if service not in {*expected, *scenario.checked()}:
            raise Broken(f"invents the service {service}")
        if (state in ("up", "down") and (service in down) != (state == "down")
                and not waited_in_vain(fault, outcome)):
            raise Broken(f"says that {service} is {state}")
        if state in ("stopped", "unchecked") and expected[service] != state:
            raise Broken(f"says that {service} is {state}")
    if verdict != verdict_on(expected, dependencies, states):
        raise Broken(f"says {verdict} with {states} and {dependencies}")
    reported = {f"service-down:{service}" for service in states if states[service] == "down"}
    if problems != reported | ({"upgrade"} if verdict == "upgrade" else set()):
        raise Broken(f"reports {sorted(problems)} with {states}")


def waited_in_vain(fault, outcome):
    """Whether the database's client library lost the server's answer: it then waits for ever.
    Some of its failed allocations cause this."""
    return (fault is not None and fault.kind == "child" and fault.call == "malloc"
            and b"database_silent" in outcome.stdout)


def verdict_on(expected, dependencies, states):
    """The only right verdict."""
    if "unchecked" in states.values():
        return "upgrade"
    if "down" in states.values():
        return "problems"
    is_all_known = (dependencies["action_log"] == "ok" and expected.keys() == states.keys()
                    and set(states.values()) <= {"up", "stopped"})
    return "well" if is_all_known else "unknown"


# --- monit-check-status


def check_answer(scenario, fault, outcome):
    """If a service was checked, the answer has its real status."""
    try:
        root = ElementTree.fromstring(outcome.stdout)
    except ElementTree.ParseError as error:
        raise Broken(f"printed {outcome.stdout!r}: {error}") from error
    if outcome.status != 0:
        raise Broken(f"ends with status {outcome.status} and printed {outcome.stdout!r}")
    if root.get("refused"):
        raise Broken("says that monit refused the control file")
    found = {service.findtext("name"): service for service in root}
    if [*found] != [*scenarios.ANSWER]:
        raise Broken(f"names {[*found]}")
    in_batch = root.get("batch") == "1"
    for name, status in scenarios.ANSWER.items():
        if found[name].findtext("checked", found[name].findtext("status")) == UNCHECKED[in_batch]:
            if is_made_up_for(fault, outcome):
                raise Broken(f"says that {name} was not checked")
        elif found[name].findtext("status") != status:
            raise Broken(f"says that {name} has the status {found[name].findtext('status')}")
