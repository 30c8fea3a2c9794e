# SPDX-License-Identifier: MIT
"""Makes inspections, for tests of what reads them."""

from typing import NamedTuple
from xml.sax.saxutils import escape, quoteattr

STARTED = "2026-11-22T00:20:11Z"


class Service(NamedTuple):
    """The XML of a service, and of its problem if it is down."""

    element: str
    problem: str


def text(content):
    return escape(content, {"\r": "&#13;"})


def service(name, state, reason="All tests passed.", *, title=None, severity="major", detail="",
            origin="core", code="code"):
    """A service; `severity` is that of its problem, None for a problem without one. The default
    title is the id."""
    element = (f'<service id={quoteattr(name)} origin="{origin}" state="{state}" seconds="0.011">'
               f'<title xml:lang="en-US">{text(name if title is None else title)}</title>'
               f'<reason code="{code}" xml:lang="en-US">{text(reason)}</reason>'
               f"<detail>{text(detail)}</detail><tests/></service>")
    rated = f"<severity>{severity}</severity>" if severity else ""
    problem = f"<problem id={quoteattr('service-down:' + name)}>{rated}</problem>"
    return Service(element, problem if state == "down" else "")


def inspection(services=(), verdict="problems", dependencies=(), *, started=STARTED):
    """The bytes of an inspection with what the views read. `dependencies` are triples of an id, a
    state and a reason."""
    dependency_elements = "".join(
        f'<dependency id="{name}" state="{state}">'
        f'<reason code="code" xml:lang="en-US">{text(reason)}</reason></dependency>'
        for name, state, reason in dependencies)
    problems = "".join(each.problem for each in services)
    if verdict == "upgrade":
        problems = '<problem id="upgrade"><severity>minor</severity></problem>'
    return (f'<?xml version="1.0" encoding="UTF-8"?>\n'
            f'<inspection version="1" started="{started}" seconds="0.412" xml:lang="en-US"'
            f' verdict="{verdict}"><dependencies>{dependency_elements}</dependencies><services>'
            + "".join(each.element for each in services)
            + f"</services><keldoctl>{problems}</keldoctl></inspection>\n").encode()
