# SPDX-License-Identifier: MIT
"""The schemas of reports and of service definitions, and what xmllint says by them."""

import functools
import os
import pathlib
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCHEMAS = pathlib.Path(os.environ.get("SCHEMAS", PROJECT / "build/release/schemas"))
REPORT = "keldoctl-report"
DEFINITION = "keldo-service"
FORMS = {"rng": "--relaxng", "xsd": "--schema"}


def errors(document, schema, form="rng"):
    """What is wrong with a document, bytes, by one form of a schema: xmllint's lines, as
    "-:LINE: ...". Empty where nothing is."""
    done = subprocess.run(["xmllint", "--noout", "--nonet", "--huge", FORMS[form],
                           SCHEMAS / f"{schema}.{form}", "-"],
                          input=document, capture_output=True, check=False)
    if done.returncode == 0:
        return ""
    if done.returncode in (1, 3, 4):  # not well-formed, or not valid: for the document
        return done.stderr.decode(errors="replace")
    raise RuntimeError(done.stderr.decode(errors="replace"))


@functools.lru_cache(maxsize=64)
def require_report(document):
    """Fails the test unless the document, bytes, is a report as the schema says. Many tests compare
    the same one again and again, so the last ones are remembered."""
    wrong = errors(document, REPORT)
    if wrong:
        raise AssertionError(f"not a report by the schema:\n{wrong}\n"
                             + document.decode(errors="replace"))
