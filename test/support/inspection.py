# SPDX-License-Identifier: MIT
"""Runs keldoctl-inspect and reads its document, which must be valid by the schemas."""

import dataclasses
import os
import pathlib
import subprocess
import xml.etree.ElementTree as ElementTree

import schemas
from panel import BUILD

INSPECT = pathlib.Path(os.environ.get("KELDOCTL_INSPECT", BUILD / "keldoctl-inspect"))
LANG = "{http://www.w3.org/XML/1998/namespace}lang"


@dataclasses.dataclass
class Service:
    id: str
    origin: str
    state: str
    code: str
    reason: str
    detail: str
    tests: list  # of pairs of the test's kind and its state


@dataclasses.dataclass
class Dependency:
    state: str
    code: str
    detail: str


@dataclasses.dataclass
class Inspection:
    status: int  # the exit status
    verdict: str
    seconds: float
    dependencies: dict
    services: list
    report: bytes  # what keldoctl would print
    document: bytes


def _service(element):
    reason = element.find("reason")
    return Service(element.get("id"), element.get("origin"), element.get("state"),
                   reason.get("code"), reason.text, element.findtext("detail", ""),
                   [(test.tag, test.get("state")) for test in element.find("tests")])


def _dependency(element):
    reason = element.find("reason")
    return Dependency(element.get("state"), "" if reason is None else reason.get("code"),
                      element.findtext("detail", ""))


def _report(root):
    """The embedded report as keldoctl prints it."""
    report = root.find("keldoctl")
    report.tail = None
    ElementTree.indent(report)
    text = ElementTree.tostring(report, encoding="unicode", short_empty_elements=True)
    return ('<?xml version="1.0" encoding="UTF-8"?>\n' + text.replace(" />", "/>") + "\n").encode()


def read(document, status=0):
    schemas.require_inspection(document)
    root = ElementTree.fromstring(document)
    return Inspection(status, root.get("verdict"), float(root.get("seconds")),
                      {element.get("id"): _dependency(element)
                       for element in root.find("dependencies")},
                      [_service(element) for element in root.find("services")],
                      _report(root), document)


def inspect(*arguments, trial=None, program=(INSPECT,), **options):
    """Inspects this host by the command `program`. `trial` names a line in the file of KELDO_TRIALS,
    if there is one."""
    done = subprocess.run([*program, *arguments], check=False, stdout=subprocess.PIPE, **options)
    seen = read(done.stdout, done.returncode)
    if trial and "KELDO_TRIALS" in os.environ:
        line = ", ".join(f"{service.id} {service.state} {service.code}"
                         for service in seen.services if service.state not in ("up", "stopped"))
        with open(os.environ["KELDO_TRIALS"], "a", encoding="utf-8") as file:
            file.write(f"{trial}: {seen.verdict}, exit status {done.returncode}, {seen.seconds} s:"
                       f" {line or 'all up'}\n")
    return seen
