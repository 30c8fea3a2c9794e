# SPDX-License-Identifier: MIT
"""Collects what a run finds out about each host, and writes it as the fleet document.

This module imports nothing of Ansible.
"""

from __future__ import annotations

import collections
import contextlib
import hashlib
import os
import re
import stat
import time

from ansible_collections.keldo.keldoctl.plugins.plugin_utils.inspection import (
    STATES, one_line, without_controls)

HOST_STATES = ("well", "problems", "unknown", "upgrade", "failed", "unreachable", "unasked")

# The role `report` makes these beside the document.
VIEWS = ("fleet.html", "fleet.json", "fleet.txt")

# A hostile host may name any number of services. More than these do not help a reader.
MOST_SERVICES = 100

_OUR_FILE = re.compile(r"[A-Za-z0-9._=-]+\.xml")
_UNSAFE_IN_FILE_NAME = re.compile(rb"^\.|[^A-Za-z0-9._-]")
_LONGEST_FILE_NAME = 200


class Fleet:
    """The hosts of one run. Nothing is on the disk before begin()."""

    def __init__(self, directory, program, play):
        self.directory = os.path.abspath(directory)
        self.run = os.urandom(16).hex()
        self._program = program
        self._play = play
        self._started = time.gmtime()
        self._start = time.monotonic()
        self._hosts = {}
        self._has_begun = False
        self._has_news = False

    def begin(self):
        """Makes the directories, and removes the inspections and the views of an earlier run. Does so
        once. Raises OSError."""
        if self._has_begun:
            return
        for directory in (self.directory, self._path_of_hosts()):
            os.makedirs(directory, mode=0o700, exist_ok=True)
            if os.stat(directory).st_uid != os.geteuid():
                raise PermissionError(f"{directory} belongs to another user")
        self._remove_old_inspections()
        for view in VIEWS:
            with contextlib.suppress(FileNotFoundError):
                os.unlink(os.path.join(self.directory, view))
        self._has_begun = True
        self._has_news = True

    def add_answer(self, name, result):
        """The host answered: takes a result of keldoctl_info or keldoctl_repair that has an
        inspection. Keeps its document in a file, not in memory."""
        self.begin()
        # If the file cannot be written, the host must not keep an earlier answer.
        self._replace(name, {"state": "unasked"})
        file = file_name(name)
        self._write_file(self._path_of_hosts(f"{file}.xml"), result["document"])
        host = _summary_of(result)
        host["file"] = file
        self._replace(name, host)
        self.add_outcomes(name, result)

    def add_outcomes(self, name, result):
        """Adds the outcomes of repairs. They stay whatever the host answers later."""
        outcomes = self._hosts.setdefault(name, {"state": "unasked"}).setdefault("outcomes", {})
        outcomes.update((each["id"], each["state"]) for each in result.get("repairs", ()))
        self._has_news = True

    def add_failure(self, name, state, code, text):
        """The host did not answer. `state` is failed or unreachable."""
        file = self._hosts.get(name, {}).get("file")
        self._replace(name, {"state": state, "reason": (code, one_line(text))})
        if file:
            with contextlib.suppress(FileNotFoundError):  # another run may have removed it
                os.unlink(self._path_of_hosts(f"{file}.xml"))

    def has_answered(self, name):
        """Whether the newest result of a host is an inspection."""
        return "file" in self._hosts.get(name, {})

    def write(self, names):
        """Writes the document for these hosts if something has changed. Raises OSError."""
        if self._has_begun and self._has_news:
            self._write_file(os.path.join(self.directory, "fleet.xml"), self.document(names))
            self._has_news = False

    def text(self):
        """The report for a terminal that the role `report` has made in this run, or nothing."""
        if not self._has_begun:
            return ""
        with contextlib.suppress(FileNotFoundError):
            with open(os.path.join(self.directory, "fleet.txt"), encoding="utf-8") as file:
                return file.read()
        return ""

    def document(self, names):
        """The text of the document."""
        hosts = [(name, self._hosts.get(name, {"state": "unasked"})) for name in names]
        counts = collections.Counter(host["state"] for _, host in hosts)
        attributes = {"version": "1", "program": self._program, "run": self.run, "play": self._play,
                      "started": time.strftime("%Y-%m-%dT%H:%M:%SZ", self._started),
                      "seconds": f"{time.monotonic() - self._start:.3f}",
                      "xml:lang": _language(hosts), "verdict": _verdict(counts)}
        summary = {"hosts": len(hosts), **{state: counts[state] for state in HOST_STATES}}
        return "".join(('<?xml version="1.0" encoding="UTF-8"?>\n',
                        f"<fleet{_xml_attributes(attributes)}>\n",
                        f"  <summary{_xml_attributes(summary)}/>\n",
                        *(_host_element(name, host) for name, host in hosts),
                        "</fleet>\n"))

    def _replace(self, name, host):
        """Replaces all that is known of a host, except the outcomes of repairs."""
        outcomes = self._hosts.get(name, {}).get("outcomes")
        if outcomes:
            host["outcomes"] = outcomes
        self._hosts[name] = host
        self._has_news = True

    def _path_of_hosts(self, file=""):
        return os.path.join(self.directory, "hosts", file)

    def _write_file(self, path, text):
        """Replaces the file at once, so that nobody reads a part of it."""
        new = os.path.join(os.path.dirname(path), f".new-{self.run}")
        descriptor = os.open(new, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600)
        try:
            with open(descriptor, "w", encoding="utf-8", newline="") as file:
                file.write(text)
            os.rename(new, path)
        except BaseException:
            os.unlink(new)
            raise

    def _remove_old_inspections(self):
        with os.scandir(self._path_of_hosts()) as entries:
            old = [entry.path for entry in entries
                   if _OUR_FILE.fullmatch(entry.name) and _is_our_inspection(entry)]
        for path in old:
            os.unlink(path)
            page = path[:-len("xml")] + "html"
            if os.path.isfile(page) and not os.path.islink(page):
                os.unlink(page)


def file_name(name):
    """A name for the files of a host, different for each host and safe as a path. It has no percent
    sign: xsltproc would take %2F in a path for a slash."""
    encoded = _UNSAFE_IN_FILE_NAME.sub(
        lambda match: b"=%02X" % match.group()[0], name.encode(errors="surrogateescape")).decode()
    if len(encoded) <= _LONGEST_FILE_NAME:
        return encoded
    return "=-" + hashlib.sha256(encoded.encode()).hexdigest()


def _is_our_inspection(entry):
    status = entry.stat(follow_symlinks=False)
    if not stat.S_ISREG(status.st_mode) or status.st_uid != os.geteuid():
        return False
    with open(entry.path, "rb") as file:
        return b"<inspection " in file.read(512)


def _summary_of(result):
    """What the fleet document says about a host that answered."""
    data = result["inspection"]
    defaults = {problem["service"]: problem["default"] for problem in result["problems"]}
    services = [(service, defaults.get(service["id"], "")) for service in data["services"]
                if service["state"] in ("down", "unknown")]
    return {
        "state": result["state"],
        "counts": {name: data["summary"][name] for name in ("services", *STATES)},
        "seconds": data["seconds"],
        "lang": data["lang"],
        "services": [_service_element(*each) for each in services[:MOST_SERVICES]],
    }


def _verdict(counts):
    """The verdict on the whole fleet, from the number of hosts in each state."""
    if counts["problems"]:
        return "problems"
    if not counts["well"] and not counts["upgrade"] or any(
            counts[state] for state in ("unknown", "failed", "unreachable", "unasked")):
        return "unknown"
    return "upgrade" if counts["upgrade"] else "well"


def _language(hosts):
    """The language of most answers."""
    languages = collections.Counter(host["lang"] for _, host in hosts if "lang" in host)
    return max(languages, key=languages.get, default="en-US")


_ESCAPES = str.maketrans({"&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;"})


def _xml(text):
    return without_controls(str(text)).translate(_ESCAPES)


def _xml_attributes(values):
    return "".join(f' {name}="{_xml(value)}"' for name, value in values.items())


def _host_element(name, host):
    attributes = {"name": name, "state": host["state"]}
    if "file" in host:
        attributes.update(file=host["file"], **host["counts"], seconds=f"{host['seconds']:.3f}")
        attributes["xml:lang"] = host["lang"]
    content = "".join(host.get("services", ()))
    if "file" not in host:
        code, text = host.get("reason", ("unasked", ""))
        content += f"    {_reason_element(code, text)}\n"
    for repair, state in host.get("outcomes", {}).items():
        content += f"    <outcome{_xml_attributes({'id': one_line(repair), 'state': state})}/>\n"
    end = f">\n{content}  </host>\n" if content else "/>\n"
    return f"  <host{_xml_attributes(attributes)}{end}"


def _service_element(service, repair):
    """The XML of a service that is down or unknown, and of the repair to take by default."""
    reason = service["reason"]
    proposed = f"<repair>{_xml(one_line(repair))}</repair>" if repair else ""
    return (f"    <service{_xml_attributes({'id': one_line(service['id']), 'state': service['state']})}>"
            f"<title>{_xml(one_line(service['title']['text']))}</title>"
            f"{_reason_element(reason['code'], one_line(reason['text']))}{proposed}</service>\n")


def _reason_element(code, text):
    return f"<reason{_xml_attributes({'code': code})}>{_xml(text)}</reason>"
