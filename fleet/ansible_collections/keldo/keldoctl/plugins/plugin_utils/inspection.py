# SPDX-License-Identifier: MIT
"""Reads the answer of a host: an inspection, as keldoctl-inspect prints it.

A host may be broken or hostile, so an answer is refused unless all of it agrees: the document with its
own counts, and its verdict with the states of the services and with the exit status. A host
with a refused answer never has the state "well".

This module imports nothing of Ansible.
"""

from __future__ import annotations

import re
from xml.parsers import expat

MOST_BYTES = 1 << 20  # of a document
MOST_ELEMENTS = 20000  # the longest document has fewer
MOST_DEPTH = 16
MOST_NAME_LENGTH = 1000  # xsltproc reads no document with a name of more than 50,000 bytes
MOST_LINE_BYTES = 1024

STATES = ("up", "down", "unknown", "stopped", "unchecked")
VERDICTS = {0: "well", 1: "problems", 2: "unknown", 4: "upgrade"}  # by the gate's exit status

# The gate's exit statuses without a document: the code of the reason and its meaning.
_WITHOUT_DOCUMENT = {
    3: ("no_document", "keldoctl-inspect could not make a document"),
    64: ("refused", "the gate does not accept this request"),
    75: ("busy", "the gate is serving another caller"),
    77: ("refused", "a repair is not proposed by a fresh inspection, so none was carried out"),
    124: ("limit_on_target", "the time limit on the host was reached"),
    126: ("no_gate", "the gate cannot be run"),
    127: ("no_gate", "there is no gate on the host"),
}

# The gate accepts only such ids of repairs.
REPAIR_ID = re.compile(r"(?!-)[A-Za-z0-9._:/@+-]{1,200}")

_XML_LANG = "http://www.w3.org/XML/1998/namespace lang"
_LANGUAGE = re.compile("[a-z]{2}-[A-Z]{2}")
_CODE = re.compile("[a-z_]+")
_COUNT = re.compile("[0-9]{1,10}")
_SECONDS = re.compile(r"[0-9]{1,9}(\.[0-9]{1,9})?")
_TIME = re.compile("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z")
_TEST_KINDS = ("pid_file", "unix_socket", "port", "connection")

# Messages of ssh that may come after the reason.
_NO_REASON = re.compile("debug[0-9]: |Warning: Permanently added ")

# Control characters and characters that change the direction of text. XML allows some of them. A
# terminal obeys them.
_CONTROLS = "\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069\ud800-\udfff\ufffe\uffff"
_CONTROL = re.compile(f"[{_CONTROLS}]")
_CONTROL_IN_LINE = re.compile(f"[\x00-\x1f{_CONTROLS}]")


class Refusal(Exception):
    """The host's answer is no inspection. `code` is for programs; the text is one line for people."""

    def __init__(self, code, text):
        super().__init__(one_line(text))
        self.code = code


def without_controls(text):
    """The text with U+FFFD for control characters, also for line feeds."""
    return _CONTROL_IN_LINE.sub("\ufffd", text)


def one_line(text):
    """The text as one line of at most 1 KiB, with U+FFFD for control characters."""
    line = without_controls(" ".join(text.split()))
    return line.encode()[:MOST_LINE_BYTES].decode(errors="ignore")


def read_answer(status, stdout, stderr, repair_ids=()):
    """The data of an inspection, with the names of `keldoctl-inspect --json`, from what the gate
    answered: its exit status, and its output as bytes. `repair_ids` are those that it was asked to
    carry out. Raises Refusal."""
    if status in _WITHOUT_DOCUMENT:
        code, meaning = _WITHOUT_DOCUMENT[status]
        raise Refusal(code, _with_words(meaning, stderr))
    if status not in VERDICTS:
        raise Refusal("exit_status", _with_words(f"the exit status is {status}", stderr))
    if not stdout:
        raise Refusal("no_answer", _with_words("the host printed nothing", stderr))
    data = parse(stdout)
    _compare_with_status(data, status, repair_ids)
    return data


def _with_words(meaning, stderr):
    """The meaning and the last line of standard error, where ssh and the gate give their reason."""
    words = last_line(stderr)
    return f"{meaning}: {words}" if words else meaning


def last_line(stderr):
    """The last line of error messages (bytes) that may be a reason, or an empty text."""
    lines = [line for line in stderr.decode(errors="replace").splitlines()
             if line.strip() and not _NO_REASON.match(line)]
    return one_line(lines[-1]) if lines else ""


def parse(document):
    """The data of an inspection (bytes) that agrees with itself. Raises Refusal."""
    if len(document) > MOST_BYTES:
        raise Refusal("too_large", f"the document is longer than {MOST_BYTES} bytes")
    data = _inspection(_Tree().parsed(document))
    _compare_with_counts(data)
    _compare_with_verdict(data)
    _compare_with_report(data)
    return data


class _Element:
    __slots__ = ("name", "attributes", "children", "text")

    def __init__(self, name, attributes):
        self.name = name
        self.attributes = attributes
        self.children = []
        self.text = ""


class _Tree:
    """Builds the elements of a document, and refuses what an inspection does not contain."""

    def __init__(self):
        self._open = [_Element("", {})]
        self._texts = [[]]
        self._count = 0

    def parsed(self, document):
        """The root element."""
        # UTF-8 whatever the document declares, and a blank between a namespace and a name.
        parser = expat.ParserCreate("UTF-8", " ")
        parser.buffer_text = True
        parser.XmlDeclHandler = self._declaration
        parser.StartDoctypeDeclHandler = self._doctype
        parser.ProcessingInstructionHandler = self._instruction
        parser.StartNamespaceDeclHandler = lambda prefix, _uri: self._check_names([prefix or ""])
        parser.StartElementHandler = self._start
        parser.EndElementHandler = self._end
        parser.CharacterDataHandler = lambda text: self._texts[-1].append(text)
        try:
            parser.Parse(document, True)
        except expat.ExpatError as error:
            raise _not_an_inspection(f"not well-formed XML: {error}") from None
        return self._open[0].children[0]

    @staticmethod
    def _declaration(version, encoding, _standalone):
        # Another reader reads nothing, or decodes the text differently and sees other elements.
        if version != "1.0":
            raise _not_an_inspection("the document is not XML 1.0")
        if encoding is not None and encoding.upper() != "UTF-8":
            raise _not_an_inspection("the document is not in UTF-8")

    @staticmethod
    def _doctype(*_declaration):
        raise Refusal("doctype", "the document has a document type declaration")

    @staticmethod
    def _instruction(*_instruction):
        raise _not_an_inspection("the document has a processing instruction")

    @staticmethod
    def _check_names(names):
        if any(len(name) > MOST_NAME_LENGTH for name in names):
            raise Refusal("too_large", f"a name is longer than {MOST_NAME_LENGTH} characters")

    def _start(self, name, attributes):
        self._check_names([name, *attributes])
        self._count += 1
        if self._count > MOST_ELEMENTS:
            raise Refusal("too_large", f"the document has more than {MOST_ELEMENTS} elements")
        if len(self._open) > MOST_DEPTH:
            raise Refusal("too_large", f"the document is nested deeper than {MOST_DEPTH} elements")
        element = _Element(name, attributes)
        self._open[-1].children.append(element)
        self._open.append(element)
        self._texts.append([])

    def _end(self, _name):
        # Keep line feeds and tabs, which details and logs contain.
        self._open.pop().text = _CONTROL.sub("\ufffd", "".join(self._texts.pop()))


def _not_an_inspection(text):
    return Refusal("not_an_inspection", text)


def _contradiction(text):
    return Refusal("contradiction", text)


# The readers below take the parts that they know. They ignore other elements and attributes, which
# later versions may add.


def _optional_child(parent, name):
    found = [child for child in parent.children if child.name == name]
    if len(found) > 1:
        raise _not_an_inspection(f"an element has more than one '{name}'")
    return found[0] if found else None


def _child(parent, name):
    found = _optional_child(parent, name)
    if found is None:
        raise _not_an_inspection(f"an element has no '{name}'")
    return found


def _children(parent, name):
    return [child for child in parent.children if child.name == name]


def _attribute(element, name, pattern=None):
    value = element.attributes.get(name, "")
    if not value or pattern and not pattern.fullmatch(value):
        raise _not_an_inspection(f"an attribute '{name}' is missing or wrong")
    return without_controls(value)


def _one_of(element, name, values):
    value = _attribute(element, name)
    if value not in values:
        raise _not_an_inspection(f"an attribute '{name}' is missing or wrong")
    return value


def _with_language(element):
    return {"text": element.text, "lang": _attribute(element, _XML_LANG, _LANGUAGE)}


def _reason(element):
    return {"code": _attribute(element, "code", _CODE), **_with_language(element)}


def _add_reason_and_detail(data, element):
    reason = _optional_child(element, "reason")
    if reason is not None:
        data["reason"] = _reason(reason)
    detail = _optional_child(element, "detail")
    if detail is not None:
        data["detail"] = detail.text


def _inspection(root):
    if root.name != "inspection":
        raise _not_an_inspection("the root element is not 'inspection'")
    if root.attributes.get("version") != "1":
        raise _not_an_inspection("the format is not of version 1")
    report = _child(root, "keldoctl")
    return {
        "version": 1,
        "program": _attribute(root, "program"),
        "host": without_controls(root.attributes.get("host", "")),
        "started": _attribute(root, "started", _TIME),
        "seconds": float(_attribute(root, "seconds", _SECONDS)),
        "lang": _attribute(root, _XML_LANG, _LANGUAGE),
        "verdict": _one_of(root, "verdict", VERDICTS.values()),
        "summary": _summary(_child(root, "summary")),
        "dependencies": _unique(map(
            _dependency, _children(_child(root, "dependencies"), "dependency"))),
        "services": _unique(map(_service, _children(_child(root, "services"), "service"))),
        "problems": _unique(map(_problem, _children(report, "problem"))),
        "actions": _unique(map(_action, _children(report, "action"))),
    }


def _unique(objects):
    objects = list(objects)
    if len({each["id"] for each in objects}) != len(objects):
        raise _not_an_inspection("an id occurs twice")
    return objects


def _summary(element):
    data = {name: int(_attribute(element, name, _COUNT)) for name in ("services", *STATES)}
    data["sentences"] = [_reason(each) for each in _children(element, "sentence")]
    return data


def _dependency(element):
    data = {"id": _attribute(element, "id"),
            "state": _one_of(element, "state", ("ok", "missing", "failed", "unasked"))}
    if "path" in element.attributes:
        data["path"] = _attribute(element, "path")
    _add_reason_and_detail(data, element)
    return data


def _service(element):
    data = {"id": _attribute(element, "id"),
            "origin": _one_of(element, "origin", ("core", "started")),
            "state": _one_of(element, "state", STATES),
            "seconds": float(_attribute(element, "seconds", _SECONDS)),
            "title": _with_language(_child(element, "title"))}
    _child(element, "reason")
    _add_reason_and_detail(data, element)
    data["tests"] = [_test(each) for each in _child(element, "tests").children
                     if each.name in _TEST_KINDS]
    return data


def _test(element):
    data = {"kind": element.name}
    for name in ("path", "number", "type", "protocol"):
        if name in element.attributes:
            data[name] = _attribute(element, name)
    if "number" in data:
        data["number"] = int(_attribute(element, "number", _COUNT))
    data["state"] = _one_of(element, "state", ("ok", "failed", "untested"))
    return data


def _problem(element):
    data = {"id": _attribute(element, "id")}
    _add_message(data, element)
    severity = _optional_child(element, "severity")
    if severity is not None:
        data["severity"] = one_line(severity.text)
    solutions = _optional_child(element, "solutions")
    if solutions is not None:
        data["solutions"] = _unique(map(_solution, _children(solutions, "action")))
    return data


def _solution(element):
    data = {"id": _attribute(element, "id")}
    if element.attributes.get("default") == "true":
        data["default"] = True
    return data


def _action(element):
    data = {"id": _attribute(element, "id")}
    _add_message(data, element)
    for name in ("status", "log"):
        child = _optional_child(element, name)
        if child is not None:
            data[name] = child.text
    if data.get("status", "ok") not in ("ok", "error"):
        raise _not_an_inspection("the status of an action is neither 'ok' nor 'error'")
    return data


def _add_message(data, element):
    message = _optional_child(element, "message")
    if message is not None:
        data["message"] = _with_language(message)


def _compare_with_counts(data):
    states = [service["state"] for service in data["services"]]
    summary = data["summary"]
    if summary["services"] != len(states) or any(
            summary[state] != states.count(state) for state in STATES):
        raise _contradiction("the summary's counts are not those of the services")


def _compare_with_verdict(data):
    if data["verdict"] not in _possible_verdicts(data):
        raise _contradiction(f"the verdict is '{data['verdict']}', but the states of the services"
                             " say otherwise")


def _possible_verdicts(data):
    """The verdicts that the states of the services and of the dependencies allow."""
    count = data["summary"]
    if count["services"] == 0:
        return ("unknown",)
    upgrade = () if count["up"] + count["down"] + count["unknown"] > 0 else ("upgrade",)
    if count["unchecked"] > 0:
        return upgrade
    if count["down"] > 0:
        return ("problems",)
    # If the action log cannot be read, services that were started may be missing from the list.
    log = [each["state"] for each in data["dependencies"] if each["id"] == "action_log"]
    if count["unknown"] > 0 or log != ["ok"]:
        return ("unknown", *upgrade)
    return ("well", *upgrade)


def _compare_with_report(data):
    """The report has a problem for each service that is down, and for no other."""
    prefix = "service-down:"
    down = {prefix + each["id"] for each in data["services"] if each["state"] == "down"}
    problems = {each["id"] for each in data["problems"]}
    if down != {each for each in problems if each.startswith(prefix)}:
        raise _contradiction("the problems of the report are not the services that are down")
    if data["verdict"] == "well" and problems:
        raise _contradiction("the verdict is 'well', but the report has problems")


def _compare_with_status(data, status, repair_ids):
    carried_out = {each["id"]: each["status"] for each in data["actions"] if "status" in each}
    if not set(carried_out) <= set(repair_ids):
        raise _contradiction("a repair was carried out that nobody asked for")
    have_all_succeeded = all(carried_out.get(each) == "ok" for each in repair_ids)
    expected = data["verdict"] if have_all_succeeded else "problems"
    if VERDICTS[status] != expected:
        raise _contradiction(f"the verdict is '{data['verdict']}', but the exit status is {status}")


def problems_of(data):
    """The problems of an inspection with what a playbook needs for a decision: the service (empty if
    the problem is not about one), its title, the severity, the reason, the ids of the repairs that
    solve the problem, and the id of the one to take by default (empty if there is none)."""
    services = {"service-down:" + each["id"]: each for each in data["services"]}
    return [_problem_for_playbooks(each, services.get(each["id"])) for each in data["problems"]]


def _problem_for_playbooks(problem, service):
    solutions = problem.get("solutions", [])
    message = problem.get("message", {"text": "", "lang": "en-US"})
    return {
        "id": problem["id"],
        "service": service["id"] if service else "",
        "title": service["title"]["text"] if service else message["text"],
        "severity": problem.get("severity", ""),
        "reason": service["reason"] if service else {"code": problem["id"], **message},
        "repairs": [each["id"] for each in solutions],
        "default": next((each["id"] for each in solutions if each.get("default")), ""),
    }
