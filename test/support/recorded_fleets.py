# SPDX-License-Identifier: MIT
"""Makes fleet documents, for tests of what reads them: from the recorded inspections, by the code that
the callback of Ansible runs.

    python3 test/support/recorded_fleets.py

writes those in test/product/fleets. Run this if test/product/fleet_documents_test.py fails.
"""

import pathlib
import re
import sys
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "fleet"))

from ansible_collections.keldo.keldoctl.plugins.plugin_utils import fleet, inspection  # noqa: E402

FLEETS = PROJECT / "test/product/fleets"
INSPECTIONS = PROJECT / "test/product/inspections"


def answer(document, repairs=()):
    """A result of keldoctl_info, or of keldoctl_repair with the outcomes of repairs."""
    data = inspection.parse(document)
    return {"state": data["verdict"], "inspection": data, "problems": inspection.problems_of(data),
            "document": document.decode(),
            "repairs": [{"id": each, "state": state} for each, state in repairs]}


def recorded(name, repairs=()):
    return answer((INSPECTIONS / f"{name}.xml").read_bytes(), repairs)


def silent(state, code="unasked", text="", repairs=()):
    """A host that did not answer."""
    return {"state": state, "code": code, "text": text,
            "repairs": [{"id": each, "state": outcome} for each, outcome in repairs]}


def document(hosts, play="ask", program="1.1.0"):
    """The bytes of a fleet document, with fixed times. `hosts` maps names to answers."""
    with tempfile.TemporaryDirectory() as directory:
        made = fleet.Fleet(directory, program, play)
        for name, found in hosts.items():
            if "inspection" in found:
                made.add_answer(name, found)
            elif found["state"] != "unasked":
                made.add_outcomes(name, found)
                made.add_failure(name, found["state"], found["code"], found["text"])
        text = made.document(hosts)
    head, rest = text.split(">\n  <summary", 1)
    head = re.sub(' run="[0-9a-f]+"', ' run="00112233445566778899aabbccddeeff"', head)
    head = re.sub(' started="[^"]+" seconds="[^"]+"',
                  ' started="2026-11-22T04:48:37Z" seconds="12.345"', head)
    return f"{head}>\n  <summary{rest}".encode()


def all_states():
    """Every state of a host, and the failures that there are."""
    return document({
        "web1.example": recorded("one_down"),
        "web2.example": recorded("mixed"),
        "web3.example": recorded("all_well"),
        "web4.example": recorded("stopped"),
        "web5.example": recorded("disk_full"),
        "web6.example": recorded("upgrade"),
        "web7.example": silent("unreachable", "unreachable",
                               "ssh: connect to host web7.example port 22: Connection refused"),
        "web8.example": silent("failed", "timed_out", "no complete answer within 120 s"),
        "web9.example": silent("failed", "no_answer", "the host printed nothing"),
        "web10.example": silent("failed", "contradiction",
                                "the verdict is 'well', but the exit status is 1"),
        "web11.example": silent("failed", "no_gate", "there is no gate on the host"),
        "web12.example": silent("unasked"),
    })


def all_well():
    return document({f"web{number}.example": recorded("all_well") for number in range(1, 4)})


def all_but_upgrades_well():
    return document({"web1.example": recorded("all_well"), "web2.example": recorded("upgrade")})


def not_known():
    return document({"web1.example": recorded("all_well"), "web2.example": silent("unasked")})


def empty():
    """An inventory without hosts."""
    return document({})


def repaired():
    """Outcomes of repairs, in each state."""
    web = "restart-service:web"
    return document({
        "web1.example": recorded("repaired", [(web, "ok")]),
        "web2.example": recorded("repair_failed", [(web, "failed"),
                                                   ("restart-service:dns", "not_carried_out")]),
        "web3.example": silent("failed", "limit_on_target", "the time limit on the host was reached",
                               [(web, "failed")]),
        "web4.example": recorded("all_well"),
    }, play="repair")


def in_german():
    return document({"web1.example": recorded("two_down_in_german"),
                     "web2.example": recorded("two_down_in_german"),
                     "web3.example": recorded("all_well")})


def odd():
    """Names, ids and titles with markup, templates, control characters and other directions."""
    return document({
        "odd ids": recorded("odd_ids"),
        "../<b>\"A\" & 'B'</b>": recorded("odd_texts"),
        ".hidden": recorded("repair_in_hebrew"),
        "{{ lookup('pipe', 'id') }}": recorded("all_well"),
        "two\nlines": silent("failed", "not_an_inspection", "<script>\x1b[31m\n{{ 1 }}\u202e%s" % ("x" * 2000)),
        "x" * 300: recorded("forty_down"),
        "münchen.example": recorded("one_down_without_translation"),
    })


def thousand():
    """A thousand hosts: 5 % are unreachable, 2 % do not answer in time, 5 % have problems, and a few
    are not known or being upgraded. Too large to be kept."""
    down, mixed, full, upgrade, well = map(
        recorded, ("one_down", "mixed", "disk_full", "upgrade", "all_well"))
    late = silent("failed", "timed_out", "no complete answer within 120 s")
    hosts = {}
    for number in range(1000):
        name = f"web{number:04}.fleet.example"
        place = number * 37 % 1000  # spreads each state over the fleet
        hosts[name] = (silent("unreachable", "unreachable",
                              f"ssh: connect to host {name} port 22: Connection refused")
                       if place < 50 else late if place < 70 else down if place < 105
                       else mixed if place < 120 else full if place < 126
                       else upgrade if place < 129 else well)
    return document(hosts)


ALL = (all_states, all_well, all_but_upgrades_well, not_known, empty, repaired, in_german, odd)


def main():
    FLEETS.mkdir(exist_ok=True)
    for made in ALL:
        (FLEETS / f"{made.__name__}.xml").write_bytes(made())


if __name__ == "__main__":
    main()
