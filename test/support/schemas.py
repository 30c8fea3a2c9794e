# SPDX-License-Identifier: MIT
"""Validates reports and service definitions with xmllint and our schemas."""

import functools
import json
import os
import pathlib
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCHEMAS = pathlib.Path(os.environ.get("SCHEMAS", PROJECT / "build/release/schemas"))
REPORT = "keldoctl-report"
INSPECTION = "keldoctl-inspection"
FLEET = "keldoctl-fleet"
DEFINITION = "keldo-service"
FORMS = {"rng": "--relaxng", "xsd": "--schema"}


def errors(document, schema, form="rng"):
    """The errors of a document (bytes) by one form of a schema, in lines of xmllint: "-:LINE: ...".
    Empty if it is valid."""
    done = subprocess.run(["xmllint", "--noout", "--nonet", "--huge", FORMS[form],
                           SCHEMAS / f"{schema}.{form}", "-"],
                          input=document, capture_output=True, check=False)
    if done.returncode == 0:
        return ""
    if done.returncode in (1, 3, 4):  # not well-formed or not valid
        return done.stderr.decode(errors="replace")
    raise RuntimeError(done.stderr.decode(errors="replace"))


@functools.lru_cache(maxsize=64)
def require_report(document):
    """Fails the test unless the document (bytes) is a valid report. Remembers the last documents,
    because many tests compare the same one."""
    wrong = errors(document, REPORT)
    if wrong:
        raise AssertionError(f"not a report by the schema:\n{wrong}\n"
                             + document.decode(errors="replace"))


def require_inspection(document):
    """Fails the test unless the document, bytes, is an inspection by both forms of the schema."""
    for form in FORMS:
        wrong = errors(document, INSPECTION, form)
        if wrong:
            raise AssertionError(f"not an inspection by the {form} schema:\n{wrong}\n"
                                 + document.decode(errors="replace"))


def require_fleet(document):
    """Fails the test unless the document, bytes, is a fleet document by the schema."""
    wrong = errors(document, FLEET)
    if wrong:
        raise AssertionError(f"not a fleet document:\n{wrong}\n"
                             + document.decode(errors="replace"))


def require_json_inspection(text):
    """Fails the test unless the text is an inspection by the JSON Schema. Returns its data."""
    import jsonschema  # takes long to load, and few tests need it

    data = json.loads(text)
    schema = json.loads((SCHEMAS / f"{INSPECTION}.schema.json").read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator(schema).validate(data)
    return data
