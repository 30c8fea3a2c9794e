# SPDX-License-Identifier: MIT
"""Checks that a run kept keldoctl's promise although a call failed (states.py: that of the other
programs).

Standard output carries one complete well-formed document, or nothing if the run ends abnormally.
Nothing is left behind. The document differs from that of a run without a fault only in what the
fault hides.
"""

import xml.etree.ElementTree as ElementTree

from panel import Action, Problem, report

import scenarios
import states
from scenarios import Findings
from states import Broken

RUNNER_FAILURES = tuple(f"keldoctl: failed to {what}" for what in (
    "create a pair of file descriptors", "create a child process", "suspends execution"))
NOT_EXECUTED = "keldoctl: failed to execute a command -- "
UPGRADE = "Upgrade is in progress. Please wait."
LANGUAGE = "{http://www.w3.org/XML/1998/namespace}lang"
REMOVAL = ("getdents64", "openat", "rmdir", "unlink", "unlinkat")  # of a directory
MEMORY_CALLS = ("mmap", "brk", "mprotect")


def complaints(scenario, fault, outcome):
    """The list of a run's broken promises, as texts."""
    found = []
    if outcome.status is None:
        found.append("it hangs")
    if outcome.control_files and not may_leave_files(scenario, fault, outcome):
        found.append(f"files are left: {' '.join(outcome.control_files)}")
    # A wait that fails with ECHILD leaves the child.
    if outcome.orphans and outcome.status is not None and not (
            fault and fault.call in ("wait4", "waitid") and fault.error == "ECHILD"):
        found.append(f"processes are left: {' '.join(outcome.orphans)}")
    if outcome.open and outcome.status == 0:
        found.append(f"descriptors are open: {outcome.open}")
    try:
        if outcome.status is not None:
            CHECKS[scenario.program](scenario, fault, outcome)
    except Broken as broken:
        found.append(str(broken))
    return found


def may_leave_files(scenario, fault, outcome):
    """Whether the failed call should have removed the files."""
    if fault is None or scenario.program == "keldoctl":
        return fault is not None and fault.call == "unlink"
    return (fault.call in REMOVAL and fault.error != "EINTR"
            and (fault.call != "openat" or "directory" in outcome.contexts))


def check_report(scenario, fault, outcome):
    if writing_failed(fault, outcome):
        # The output is a beginning of the report.
        if not whole_report(scenario).startswith(outcome.stdout):
            raise Broken(f"printed {outcome.stdout!r}")
        return
    if not outcome.stdout:
        if outcome.status == 0:
            raise Broken("ends normally without a report")
        if not may_end_abnormally(fault, outcome):
            raise Broken(f"ends abnormally, with status {outcome.status}")
        return
    if outcome.status != 0:
        raise Broken(f"ends with status {outcome.status} and printed {outcome.stdout!r}")
    check_document(scenario, outcome, contexts_of(scenario, fault, outcome))


def writing_failed(fault, outcome):
    return (fault and fault.call == "write" and fault.error not in ("EAGAIN", "EINTR", "-")
            and outcome.contexts is not None and "report" in outcome.contexts)


def may_end_abnormally(fault, outcome):
    """A run may end abnormally without memory, and must without the real standard output."""
    if fault is None or fault.error == "EINTR":
        return False
    return (fault.kind == "memory" or fault.call in MEMORY_CALLS
            or (fault.call == "dup2" and "streams" in outcome.contexts))


CHECKS = {"keldoctl": check_report, "keldoctl-inspect": states.check_output,
          "monit-check-status": states.check_output}


# --- The document


def whole_report(scenario):
    """The report of a run without a fault."""
    findings = scenario.findings
    which = 0 if scenario.language != "en-US" else -1  # index of the texts in that language
    problems = [down_problem(service, *scenarios.down_texts(service)[which])
                for service in sorted(findings.down)]
    if findings.upgrade:
        problems.append(Problem("upgrade", UPGRADE, "minor"))
    outcomes = {service: outcome for service, *outcome in findings.repairs}
    actions = [Action(f"restart-service:{service}", *scenarios.restart_texts(service)[which],
                      *outcomes.get(service, ()))
               for service in sorted(findings.down | outcomes.keys())]
    return report(problems, actions)


def down_problem(service, text, language):
    action = f"restart-service:{service}"
    return Problem(f"service-down:{service}", text, actions=(action,), default=action,
                   language=language)


def check_document(scenario, outcome, contexts):
    document = outcome.stdout
    try:
        root = ElementTree.fromstring(document)
    except ElementTree.ParseError as error:
        raise Broken(f"printed {document!r}, which is not XML: {error}") from error
    if document != written_again(root):
        raise Broken(f"printed a document of another form: {document.decode()}")
    explained = list(deviations(scenario, root))
    unexplained = [what for what, reasons in explained if not reasons & contexts]
    if unexplained:
        raise Broken(f"says {', '.join(unexplained)}")
    if outcome.faults == 1 and explained:
        if not set.intersection(*[reasons for _, reasons in explained]):
            raise Broken(f"one fault, several effects: {', '.join(what for what, _ in explained)}")


def written_again(root):
    """The same contents in the form that keldoctl writes."""
    problems = []
    for element in root.findall("problem"):
        message = element.find("message")
        actions = element.findall("solutions/action")
        default = [action.get("id") for action in actions if action.get("default") == "true"]
        problems.append(Problem(
            element.get("id", ""), text_of(message), element.findtext("severity"),
            tuple(action.get("id", "") for action in actions),
            default[0] if default else None, language_of(message)))
    actions = []
    for element in root.findall("action"):
        message = element.find("message")
        actions.append(Action(element.get("id", ""), text_of(message), language_of(message),
                              element.findtext("status"), element.findtext("log", "")))
    return report(problems, actions)


def text_of(element):
    return "" if element is None else element.text or ""


def language_of(element):
    return "" if element is None else element.get(LANGUAGE, "")


# --- What a document says


def findings_of(root):
    """The findings of the document, without its texts."""
    problems = [problem.get("id") for problem in root.findall("problem")]
    down = frozenset(problem.removeprefix("service-down:") for problem in problems
                     if problem.startswith("service-down:"))
    repairs = tuple((action.get("id").removeprefix("restart-service:"), action.findtext("status"),
                     action.findtext("log", "")) for action in root.findall("action")
                    if action.find("status") is not None)
    return Findings("upgrade" in problems, down, repairs)


def deviations(scenario, root):
    """Differences from the document of a run without a fault, each with a set of contexts. A fault
    in any of these contexts explains the difference."""
    found = findings_of(root)
    expected = scenario.findings
    if expected.upgrade and not found.upgrade:
        yield "that no upgrade runs", {"upgrade"}
        expected = scenario.without_upgrade
    elif found.upgrade != expected.upgrade:
        yield "that an upgrade runs", set()
    yield from service_deviations(scenario, found, expected)
    yield from repair_deviations(found, expected)
    yield from text_deviations(scenario, root)
    yield from structure_deviations(root)


def service_deviations(scenario, found, expected):
    for service in sorted(expected.down - found.down):
        reasons = {f"definition:{service}", f"monitor:{service}"}
        if service in scenario.started:
            reasons.add("connection:1")
        yield f"that {service} is up", reasons
    for service in sorted(found.down - expected.down):
        reasons = set()
        if service == "mysql":
            reasons = {"connection:2"}
        elif service in scenario.stopped:
            reasons = {"connection:1"}
        elif service in scenario.repairs:
            reasons = {f"repair:{service}", f"output:{service}"}
        yield f"that {service} is down", reasons


def repair_deviations(found, expected):
    outcomes = {service: (status, log) for service, status, log in found.repairs}
    for service, status, log in expected.repairs:
        if service not in outcomes:
            yield f"nothing of the repair of {service}", {f"definition:{service}"}
            continue
        outcome = outcomes.pop(service)
        if outcome != (status, log):
            yield (f"that the repair of {service} had the outcome {outcome}",
                   reasons_for_outcome(service, *outcome, (status, log)))
    for service in outcomes:
        yield f"that {service} was repaired", set()


def reasons_for_outcome(service, status, log, expected):
    """A repair that could not run gives the reason, or an empty log if even that failed. If its
    output could not be read, the rest is missing, and the closed pipe may have killed the shell,
    which counts as success."""
    if status == "error" and (log in ("", *RUNNER_FAILURES) or log.startswith(NOT_EXECUTED)):
        return {f"repair:{service}"}
    if status in ("ok", expected[0]) and expected[1].startswith(log):
        return {f"output:{service}"}
    return set()


def text_deviations(scenario, root):
    for element in root:
        message = element.find("message")
        if message is None:
            yield f"nothing of what {element.get('id')} is", set()
            continue
        text = (message.text, message.get(LANGUAGE))
        if element.get("id") == "upgrade":
            right, known = [(UPGRADE, "en-US")], []
        else:
            service = element.get("id").partition(":")[2]
            texts = (scenarios.down_texts if element.tag == "problem"
                     else scenarios.restart_texts)(service)
            right, known = ([texts[0]], texts[1:]) if scenario.language != "en-US" else (
                [texts[-1]], [])
        if text not in right:
            yield f"{text}", {"language"} if text in known else set()


def structure_deviations(root):
    """Each problem needs its action, and the reverse."""
    findings = findings_of(root)
    repaired = {service for service, _, _ in findings.repairs}
    actions = {action.get("id").removeprefix("restart-service:")
               for action in root.findall("action")}
    if actions != findings.down | repaired:
        yield f"the actions {sorted(actions)}", set()
    for problem in root.findall("problem"):
        service = problem.get("id").removeprefix("service-down:")
        severity = "minor" if service == "upgrade" else "major"
        solutions = [(action.get("id"), action.get("default"))
                     for action in problem.findall("solutions/action")]
        right = [] if service == "upgrade" else [(f"restart-service:{service}", "true")]
        if problem.findtext("severity") != severity or solutions != right:
            yield f"another severity or solution of {problem.get('id')}", set()


# --- Which deviations a fault allows


def contexts_of(scenario, fault, outcome):
    """The contexts of the run's faults, by the names that deviations() uses."""
    if fault is None:
        return set()
    if outcome.contexts is None:  # unknown
        return everything(scenario)
    contexts = outcome.contexts
    if fault.error == "EINTR":  # keldoctl itself makes an interrupted call again
        contexts = {context for context in contexts if not context.startswith("command:")}
    names = {name_of(context, scenario) for context in contexts}
    if fault.call == "read":
        names |= {f"output:{service}" for service in scenario.repairs
                  if f"repair:{service}" in names}
    if fault.forever and any(name.startswith("monitor:") for name in names):
        # If earlier services are missing, the service of a command is unknown.
        names |= {f"monitor:{service}" for service in (*scenario.checked(), *scenario.stopped)}
    return names


def everything(scenario):
    services = {*scenario.checked(), *scenario.stopped, "mysql"}
    return ({"upgrade", "language", "connection:1", "connection:2"}
            | {f"{kind}:{service}" for kind in ("definition", "monitor", "repair")
               for service in services})


def name_of(context, scenario):
    kind, _, which = context.partition(":")
    commands = [*(f"repair:{service}" for service in scenario.repairs), "upgrade",
                *(f"monitor:{service}" for service in scenario.checked())]
    controls = [f"monitor:{service}" for service in scenario.checked()]
    names = {"command": commands, "control": controls}.get(kind)
    if names is None:
        return context
    position = int(which) - 1
    return names[position] if position < len(names) else "monitor:?"
