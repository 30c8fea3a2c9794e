# SPDX-License-Identifier: MIT
"""Makes fleet documents, for tests of what reads them."""

from xml.sax.saxutils import quoteattr

from made_inspections import text

STARTED = "2026-11-22T04:48:37Z"
STATES = ("well", "problems", "unknown", "upgrade", "failed", "unreachable", "unasked")
UP = 7  # services of a made host
NO_PROCESS = "The pid file /run/kvr/web.pid names no running process."
DISK_FULL = "There is no space left in /usr/local/kvr/tmp."


def service(name, state="down", code="no_process", reason=NO_PROCESS, *, title=None, repair=None):
    """A service that is down or not known. The default title is the id; the default repair of a
    service that is down restarts it, and an empty one is none."""
    if repair is None:
        repair = f"restart-service:{name}" if state == "down" else ""
    return (f"<service id={quoteattr(name)} state={quoteattr(state)}>"
            f"<title>{text(name if title is None else title)}</title>"
            f"<reason code={quoteattr(code)}>{text(reason)}</reason>"
            + (f"<repair>{text(repair)}</repair>" if repair else "") + "</service>")


def outcome(repair, state="ok"):
    return f"<outcome id={quoteattr(repair)} state={quoteattr(state)}/>"


def host(name, state="well", *parts, reason=None, file=None, lang="en-US"):
    """A host with its services and outcomes. A pair of a code and a text is the reason of a host
    that gave no inspection; any other host has a file, by default of its name."""
    if reason:
        code, words = reason
        return (f"<host name={quoteattr(name)} state={quoteattr(state)}>"
                f"<reason code={quoteattr(code)}>{text(words)}</reason></host>")
    down, unknown = ("".join(parts).count(f' state="{each}"><title>') for each in ("down", "unknown"))
    unchecked = UP if state == "upgrade" else 0
    return (f"<host name={quoteattr(name)} state={quoteattr(state)} file={quoteattr(file or name)}"
            f' services="{UP}" up="{max(UP - down - unknown - unchecked, 0)}" down="{down}"'
            f' unknown="{unknown}" stopped="0" unchecked="{unchecked}" seconds="0.412"'
            f' xml:lang="{lang}">{"".join(parts)}</host>')


def verdict_of(counts):
    if counts["problems"]:
        return "problems"
    if counts["unknown"] + counts["failed"] + counts["unreachable"] + counts["unasked"]:
        return "unknown"
    return "upgrade" if counts["upgrade"] else "well"


def fleet(*hosts, verdict=None, play="ask", started=STARTED, lang="en-US"):
    """The bytes of a fleet document. By default the verdict follows from the hosts."""
    counts = {state: sum(f" state={quoteattr(state)}" in each.split(">")[0] for each in hosts)
              for state in STATES}
    numbers = "".join(f' {state}="{count}"' for state, count in counts.items())
    return (f'<?xml version="1.0" encoding="UTF-8"?>\n'
            f'<fleet version="1" program="1.2.0" run="6f1d2c3b4a596877" play="{play}"'
            f' started="{started}" seconds="12.345" xml:lang="{lang}"'
            f' verdict="{verdict or verdict_of(counts)}">\n'
            f'<summary hosts="{len(hosts)}"{numbers}/>\n'
            + "\n".join(hosts) + "\n</fleet>\n").encode()


def web_down(**details):
    return service("web", title="Web Server", **details)


def smtp_refused():
    return service("smtp", code="refused", title="Mail Transfer (SMTP)",
                   reason="Nobody listens on port 25 (smtp): connection refused.")


def full_disk():
    """The services of a host whose disk is full."""
    return [service(name, "unknown", "no_space", DISK_FULL, title=title) for name, title in (
        ("keldo", "Control Panel"), ("smtp", "Mail Transfer (SMTP)"), ("web", "Web Server"))]


def unreachable(name):
    return host(name, "unreachable", reason=("unreachable", (
        f"Failed to connect to the host via ssh: ssh: connect to host {name} port 22:"
        " Connection refused")))


def timed_out(name):
    return host(name, "failed", reason=("timed_out", "no answer within 120 s"))


def unasked(name):
    return host(name, "unasked", reason=("unasked", ""))


def ten():
    """A fleet of ten hosts with most of the states."""
    return fleet(
        host("web1.example"), host("web2.example"), host("web3.example", "problems", web_down()),
        host("web4.example"), host("db1.example", "unknown", *full_disk()), host("web5.example"),
        host("mail1.example", "upgrade"), timed_out("mail2.example"), unreachable("web6.example"),
        host("web7.example"))


def thousand():
    """A fleet of a thousand hosts: 5 % unreachable, 2 % timed out, 5 % with problems, a few not
    known or being upgraded."""
    return fleet(*(each_of_thousand(number, f"web{number:04}.fleet.example")
                   for number in range(1000)))


def each_of_thousand(number, name):
    kind = number * 37 % 1000  # spreads the states over the fleet
    if kind < 50:
        return unreachable(name)
    if kind < 70:
        return timed_out(name)
    if kind < 100:
        return host(name, "problems", web_down())
    if kind < 115:
        return host(name, "problems", web_down(), smtp_refused())
    if kind < 120:
        return host(name, "problems", service(
            "dns", code="timed_out", title="Name Server", repair="",
            reason="Port 53 (dns) did not answer within 5 s."))
    if kind < 126:
        return host(name, "unknown", *full_disk())
    if kind < 128:
        return host(name, "failed", reason=("doctype", "the answer has a DOCTYPE"))
    if kind < 131:
        return host(name, "upgrade")
    return host(name)
