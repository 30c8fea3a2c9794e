# SPDX-License-Identifier: MIT
"""Makes fleet documents with the services, reasons and outcomes that a test needs. Those of
recorded_fleets.py are made by the callback's code."""

import re
from xml.sax.saxutils import quoteattr

from made_inspections import STARTED, text

STATES = ("well", "problems", "unknown", "upgrade", "failed", "unreachable", "unasked")
REASON = "It fails."


def service(name="web", state="down", code="no_process", reason=REASON, *, title=None, repair=""):
    """A service that is down or not known. The default title is the id."""
    proposed = f"<repair>{text(repair)}</repair>" if repair else ""
    return (f"<service id={quoteattr(name)} state={quoteattr(state)}>"
            f"<title>{text(name if title is None else title)}</title>"
            f"<reason code={quoteattr(code)}>{text(reason)}</reason>{proposed}</service>")


def reason(code, words=""):
    return f"<reason code={quoteattr(code)}>{text(words)}</reason>"


def outcome(repair, state="ok"):
    return f"<outcome id={quoteattr(repair)} state={quoteattr(state)}/>"


def host(name, state="well", *parts, file="file", lang="en-US"):
    """A host with its services, reason and outcomes. Only a host that answered has a file."""
    answer = ""
    if not any(part.startswith("<reason") for part in parts):
        answer = (f' file={quoteattr(file)} services="7" up="7" down="0" unknown="0" stopped="0"'
                  f' unchecked="0" seconds="0.412" xml:lang="{lang}"')
    return f"<host name={quoteattr(name)} state={quoteattr(state)}{answer}>{''.join(parts)}</host>"


def silent(name, state="failed", code="timed_out", words=""):
    return host(name, state, reason(code, words))


def fleet(*hosts, verdict="problems", lang="en-US"):
    """The bytes of a fleet document."""
    states = [re.search(' state="(.*?)"', each)[1] for each in hosts]
    counts = "".join(f' {state}="{states.count(state)}"' for state in STATES)
    return (f'<?xml version="1.0" encoding="UTF-8"?>\n'
            f'<fleet version="1" program="1.1.0" run="6f1d" play="ask" started="{STARTED}"'
            f' seconds="12.345" xml:lang="{lang}" verdict="{verdict}">'
            f'<summary hosts="{len(hosts)}"{counts}/>{"".join(hosts)}</fleet>\n').encode()
