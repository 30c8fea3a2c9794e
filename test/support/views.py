# SPDX-License-Identifier: MIT
"""The views of a report, for tests of them."""

import os
import pathlib
import subprocess
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
VIEWS = PROJECT / "views"
BUILD = pathlib.Path(os.environ.get("KELDOCTL", PROJECT / "build/release/keldoctl")).parent
REPORTS = PROJECT / "test/product/reports"


def recorded(name):
    """The bytes of a report that keldoctl has printed (recorded_reports.py)."""
    return (REPORTS / f"{name}.xml").read_bytes()


def run_view(view, report, **parameters):
    """Applies the stylesheet report-VIEW.xsl to a report and returns the completed process."""
    options = [word for name, value in parameters.items()
               for word in ("--stringparam", name, str(value))]
    return subprocess.run(["xsltproc", "--nonet", *options, VIEWS / f"report-{view}.xsl", "-"],
                          input=report, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          check=False)


def show(view, report, **parameters):
    """The text that a view makes of a report, without a complaint."""
    done = run_view(view, report, **parameters)
    if (done.returncode, done.stderr) != (0, b""):
        raise RuntimeError(f"xsltproc ended with status {done.returncode}: {done.stderr.decode()}")
    return done.stdout.decode()


def install_views(directory):
    """Installs the views and their programs below a directory. Returns the prefix there."""
    subprocess.run(["cmake", "--install", BUILD, "--component", "views"], check=True,
                   stdout=subprocess.DEVNULL, env=os.environ | {"DESTDIR": str(directory)})
    return next(pathlib.Path(directory).rglob("sbin/keldoctl-report")).parents[1]


class ViewTestCase(unittest.TestCase):
    """Tests of the view named VIEW, on whole texts."""

    maxDiff = None
    VIEW = None

    def show(self, report, **parameters):
        return show(self.VIEW, report, **parameters)

    def check(self, name, expected, **parameters):
        """Compares what is made of a recorded report."""
        self.assertEqual(self.show(recorded(name), **parameters), expected)
