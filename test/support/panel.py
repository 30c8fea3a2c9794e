# SPDX-License-Identifier: MIT
"""A panel on a private host: its files, fakes of the programs that keldoctl calls, and the reports
that keldoctl should print.

A Panel replaces the files at the fixed paths that keldoctl reads, so it works only inside
`host/run`, and every test starts from the same state.
"""

import ast
import dataclasses
import os
import pathlib
import shutil
import subprocess
from typing import NamedTuple
from xml.sax.saxutils import escape, quoteattr

import schemas

PROJECT = pathlib.Path(__file__).resolve().parents[2]
KELDOCTL = pathlib.Path(os.environ.get("KELDOCTL", PROJECT / "build/release/keldoctl"))
BUILD = KELDOCTL.parent
NAMESPACE = "http://keldo.example/schemas/keldo/service/1"
CORE_SERVICES = ("mysql", "keldo", "smtp", "web", "dns", "mail")
CONFIGURATION = pathlib.Path("/etc/kvr")
SERVICES = pathlib.Path("/service")
PRODUCT_ROOT = pathlib.Path("/usr/local/kvr")
PASSWORD = b"kvr"
PATH = "/usr/sbin:/usr/bin:/sbin:/bin"


def require_private_host():
    """Raises RuntimeError outside host/run, to protect the files of a real panel."""
    if "KELDO_HOST" not in os.environ:
        raise RuntimeError("needs a private host: host/run COMMAND [ARG...]")


# --- The panel and the programs that keldoctl calls


class MonitorCall(NamedTuple):
    """One call of the fake monitor."""

    arguments: list  # without the program's name
    control_file: str  # the text of the file after -c; None if it could not be read


# The output of a monitor that checks only the service web, which is down.
WEB_DOWN = "<monit><service><name>web</name><status>1</status></service></monit>"

# It runs often, so it imports only what loads fast.
FAKE_MONITOR = """#!/usr/bin/python3 -IS
import os, sys
STATUSES, SCRIPT, LOG = {statuses!r}, {script!r}, {log!r}
try:
    with open(sys.argv[sys.argv.index("-c") + 1], encoding="utf-8") as file:
        control = file.read()
except (OSError, ValueError, IndexError):
    control = None
with open(LOG, "a", encoding="utf-8") as log:
    log.write(repr((sys.argv[1:], control)) + "\\n")
if SCRIPT:
    os.execv(SCRIPT, [SCRIPT] + sys.argv[1:])
print('<?xml version="1.0" encoding="UTF-8"?>\\n<monit>')
for line in (control or "").splitlines():
    if line.startswith("check "):
        name = line.split(" ", 2)[2]
        print("<service><name>%s</name><status>%d</status></service>"
              % (name.replace("&", "&amp;").replace("<", "&lt;"), STATUSES.get(name, 0)))
print("</monit>")
"""


class Panel:
    """The files of a panel. At first the six core services are defined and up, no upgrade is
    running, and there is no catalogue."""

    def __init__(self, root=PRODUCT_ROOT):
        require_private_host()
        self.root = pathlib.Path(root)
        for directory in (CONFIGURATION, SERVICES, self.root):
            shutil.rmtree(directory, ignore_errors=True)
        for directory in (CONFIGURATION, SERVICES, self.root / "tmp", self.root / "admin/sbin"):
            directory.mkdir(parents=True)
        self.configure(f"PRODUCT_ROOT_D {self.root}\n")
        self.set_password(PASSWORD + b"\n")
        self.write_core_services()
        self.fake_monitor()
        self.upgrade_tool(0)

    def configure(self, text):
        """Writes the panel's configuration file."""
        (CONFIGURATION / "kvr.conf").write_text(text, encoding="utf-8")

    def set_password(self, content):
        """Writes the administrator's password file, byte for byte; None removes it."""
        path = CONFIGURATION / ".kvr.shadow"
        path.unlink(missing_ok=True)
        if content is not None:
            path.write_bytes(content)
            path.chmod(0o600)

    def write_core_services(self):
        for service in CORE_SERVICES:
            self.write_service(service)

    def write_service(self, service, title=None, *, titles=None, own_id=None, start="", stop="",
                      pid_file=None, ports=(), sockets=()):
        """Writes a service's definition, with the English title `title` (title_of(service) by
        default) and `titles`, texts by language code. `own_id` is the id inside the file, if it
        differs. `ports` are pairs of a number and a dictionary of further attributes, `sockets`
        paths. Without a pid file and ports it gets a pid file, so that the monitor checks it."""
        if pid_file is None and not ports:
            pid_file = f"/run/{service}.pid"
        lines = [f"<service xmlns={quoteattr(NAMESPACE)} id={quoteattr(own_id or service)}>"]
        all_titles = {"en-US": title_of(service) if title is None else title} | (titles or {})
        for language, text in all_titles.items():
            lines.append(f"<title xml:lang={quoteattr(language)}>{escape(text)}</title>")
        lines.append(f'<action type="start">{escape(start)}</action>')
        lines.append(f'<action type="stop">{escape(stop)}</action>')
        lines.append("<checks>")
        if pid_file:
            lines.append(f"<pid-file>{escape(pid_file)}</pid-file>")
        lines += [f"<unix-socket>{escape(path)}</unix-socket>" for path in sockets]
        for number, attributes in ports:
            more = "".join(f" {name}={quoteattr(value)}" for name, value in attributes.items())
            lines.append(f'<port number="{number}"{more}/>')
        lines += ["</checks>", "</service>"]
        self.write_definition(service, "\n".join(lines) + "\n")

    def write_definition(self, service, text):
        """Writes the text or bytes of a service's definition file; None removes the file."""
        path = SERVICES / f"{service}.xml"
        if text is None:
            path.unlink(missing_ok=True)
        else:
            path.write_bytes(text if isinstance(text, bytes) else text.encode())

    def remove_definitions(self):
        """Removes all definitions."""
        for service in SERVICES.iterdir():
            service.unlink()

    def fake_monitor(self, statuses=None, script=None):
        """Installs a monitor that logs its calls. It then executes `script`, the text of a program
        with its #! line, or prints a document that gives each service of the control file its
        status in `statuses`, 0 by default."""
        answer = None
        if script is not None:
            answer = self.write_program("monit-answer", script)
        self.write_program("monit", FAKE_MONITOR.format(
            statuses=statuses or {}, script=answer, log=str(self._call_log())))
        self.forget_calls()

    def remove_monitor(self):
        (self.root / "admin/sbin/monit").unlink()

    def calls(self):
        """The calls of the fake monitor since it was installed or forget_calls() was called."""
        if not self._call_log().exists():
            return []
        lines = self._call_log().read_text(encoding="utf-8").splitlines()
        return [MonitorCall(*ast.literal_eval(line)) for line in lines]

    def checked_services(self):
        """The names of the services that the monitor was asked about, in order."""
        controls = [call.control_file or "" for call in self.calls()]
        return [line.split(" ", 2)[2] for control in controls
                for line in control.splitlines() if line.startswith("check ")]

    def forget_calls(self):
        self._call_log().unlink(missing_ok=True)

    def upgrade_tool(self, exit_status, commands=""):
        """Installs an upgrade-check tool that runs shell commands and exits with that status; None
        removes it."""
        if exit_status is None:
            (self.root / "admin/sbin/noupgradecheck").unlink(missing_ok=True)
        else:
            self.write_program("noupgradecheck", f"#!/bin/sh\n{commands}\nexit {exit_status}\n")

    def write_program(self, name, text):
        """Installs a program of the panel's, with its #! line. Returns its path."""
        path = self.root / "admin/sbin" / name
        path.write_text(text, encoding="utf-8")
        path.chmod(0o755)
        return str(path)

    def catalogue(self, po_text, locale="de"):
        """Installs a message catalogue made of the text of a .po file."""
        directory = self.root / "share/locale" / locale / "LC_MESSAGES"
        directory.mkdir(parents=True, exist_ok=True)
        subprocess.run(["msgfmt", "-o", directory / "keldoctl.mo", "-"],
                       input=po_text.encode(), check=True)

    def run(self, *arguments, env=None, program=(KELDOCTL,), **options):
        """Runs keldoctl and returns the completed process, with output in bytes. The environment is
        PATH and `env`; `program` is the command that runs keldoctl; `options` go to
        subprocess.run(). A report must be valid by the schema."""
        done = subprocess.run([*program, *arguments], check=False,
                              **self._surroundings(env, options))
        if done.stdout and done.stdout.startswith(b"<"):
            schemas.require_report(done.stdout)
        return done

    def start(self, *arguments, env=None, program=(KELDOCTL,), **options):
        """Starts keldoctl as run() does, and returns the process, a subprocess.Popen."""
        return subprocess.Popen([*program, *arguments], **self._surroundings(env, options))

    @staticmethod
    def _surroundings(env, options):
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                   "stderr": subprocess.PIPE}
        return {"env": {"PATH": PATH} | (env or {})} | streams | options

    def _call_log(self):
        return self.root / "monitor-calls"


# --- Reports


@dataclasses.dataclass
class Problem:
    """A problem of a report; `default` is the id of the default action."""

    id: str
    message: str
    severity: str = "major"
    actions: tuple = ()
    default: str = None
    language: str = "en-US"


@dataclasses.dataclass
class Action:
    """An action of a report. It has a status and a log only if it was carried out."""

    id: str
    message: str
    language: str = "en-US"
    status: str = None
    log: str = ""


def report(problems=(), actions=()):
    """The bytes of a report with those problems and actions, in that order. It must be valid by the
    schema; then every output that equals it is valid too."""
    lines = [line for problem in problems for line in _problem_lines(problem)]
    lines += [line for action in actions for line in _action_lines(action)]
    body = "".join(f"  {line}\n" for line in lines)
    root = f"<keldoctl>\n{body}</keldoctl>\n" if body else "<keldoctl/>\n"
    document = ('<?xml version="1.0" encoding="UTF-8"?>\n' + root).encode()
    schemas.require_report(document)
    return document


def title_of(service):
    """The English title that Panel.write_service() gives a service."""
    return f"{service} title"


def service_down(service, title=None):
    """The problem of a service that is down, in English."""
    title = title_of(service) if title is None else title
    return Problem(f"service-down:{service}", f"The {title} service is switched off.",
                   actions=(f"restart-service:{service}",), default=f"restart-service:{service}")


def restart(service, title=None, status=None, log=""):
    """The action that restarts a service, in English."""
    title = title_of(service) if title is None else title
    return Action(f"restart-service:{service}", f"Restart the {title} service.",
                  status=status, log=log)


def down_report(*services):
    """The whole English report of a run that found only these services down."""
    return report([service_down(service) for service in sorted(services)],
                  [restart(service) for service in sorted(services)])


def _text_element(name, text, attributes=""):
    if not text:
        return f"<{name}{attributes}/>"
    return f"<{name}{attributes}>{escape(text, {chr(13): '&#13;'})}</{name}>"


def _message_lines(item):
    if not item.message:
        return []
    return ["  " + _text_element("message", item.message, f' xml:lang="{item.language}"')]


def _problem_lines(problem):
    lines = [f"<problem id={quoteattr(problem.id)}>", *_message_lines(problem)]
    if problem.severity:
        lines.append(f"  <severity>{problem.severity}</severity>")
    if problem.actions:
        lines.append("  <solutions>")
        for action in problem.actions:
            default = ' default="true"' if action == problem.default else ""
            lines.append(f"    <action id={quoteattr(action)}{default}/>")
        lines.append("  </solutions>")
    return [*lines, "</problem>"]


def _action_lines(action):
    lines = [f"<action id={quoteattr(action.id)}>", *_message_lines(action)]
    if action.status:
        lines.append(f"  <status>{action.status}</status>")
        lines.append("  " + _text_element("log", action.log))
    return [*lines, "</action>"]
