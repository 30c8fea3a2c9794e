# SPDX-License-Identifier: MIT
"""Runs the views of an inspection or of a fleet document, for tests."""

import os
import pathlib
import subprocess
import unittest

from panel import BUILD, PROJECT

VIEWS = PROJECT / "views"
INSPECTIONS = PROJECT / "test/product/inspections"
FLEETS = PROJECT / "test/product/fleets"
# A text with each character that changes its direction, and what a terminal gets of it.
DIRECTIONS = "a\u061c\u200e\u200f\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068\u2069b"
DIRECTIONS_REPLACED = "a" + "\ufffd" * 12 + "b"


def inspected(name):
    """The bytes of an inspection that keldoctl-inspect has printed (recorded_inspections.py)."""
    return (INSPECTIONS / f"{name}.xml").read_bytes()


def fleet(name):
    """The bytes of a fleet document that the callback has written (recorded_fleets.py)."""
    return (FLEETS / f"{name}.xml").read_bytes()


def run_view(view, document, *, views=VIEWS, **parameters):
    """Applies the stylesheet of a directory to a document: report-VIEW.xsl to an inspection, or
    VIEW.xsl, such as fleet-html.xsl, to a fleet document. Returns the completed process."""
    name = view if view.startswith("fleet-") else f"report-{view}"
    options = [word for name, value in parameters.items()
               for word in ("--stringparam", name, str(value))]
    return subprocess.run(["xsltproc", "--nonet", *options, views / f"{name}.xsl", "-"],
                          input=document, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          check=False)


def show(view, document, **parameters):
    """The text that a view makes of a document. Fails if xsltproc prints a message."""
    done = run_view(view, document, **parameters)
    if (done.returncode, done.stderr) != (0, b""):
        raise RuntimeError(f"xsltproc ended with status {done.returncode}: {done.stderr.decode()}")
    return done.stdout.decode()


def install_views(directory):
    """Installs the views and their programs below a directory. Returns the prefix there."""
    for component in ("views", "gate"):
        subprocess.run(["cmake", "--install", BUILD, "--component", component], check=True,
                       stdout=subprocess.DEVNULL, env=os.environ | {"DESTDIR": str(directory)})
    return next(pathlib.Path(directory).rglob("sbin/keldoctl-report")).parents[1]


class ViewTestCase(unittest.TestCase):
    """Compares whole texts of the view named VIEW."""

    maxDiff = None
    VIEW = None

    def show(self, inspection, **parameters):
        return show(self.VIEW, inspection, **parameters)

    def check(self, name, expected, **parameters):
        """Compares the view of a recorded inspection with a text."""
        self.assertEqual(self.show(inspected(name), **parameters), expected)
