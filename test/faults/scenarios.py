# SPDX-License-Identifier: MIT
"""The runs that faults are injected into, each with its report without a fault."""

import os
import pathlib
import shutil
from typing import NamedTuple

from database import START, STOP
from panel import CORE_SERVICES, PASSWORD, PROJECT, Panel, title_of

DOWN = pathlib.Path("/run/down")  # holds a file for each service that the monitor finds down
CATALOGUE = "share/locale/de/LC_MESSAGES/keldoctl.mo"
LOCALES = os.environ.get("LOCPATH_UTF8", PROJECT / "build/release/locales/utf8")
BUILD = pathlib.Path(LOCALES).parents[1]

# Built-in commands only, because it runs often.
MONITOR = f"""#!/bin/sh
read -r _ _ service <"$2"
status=0
[ -e {DOWN}/"$service" ] && status=512
printf '<monit><service><name>%s</name><status>%d</status></service></monit>\\n' \\
    "$service" "$status"
"""

# The same for keldoctl-inspect, in its batch mode.
BATCH_MONITOR = f"""#!/bin/sh
printf '<monit batch="1">'
while read -r verb _ service; do
    [ "$verb" = check ] || continue
    status=0
    [ -e {DOWN}/"$service" ] && status=512
    printf '<service><name>%s</name><status>%d</status><monitor>1</monitor>' "$service" "$status"
    printf '<checked>1</checked><seconds>0.001</seconds></service>'
done <"$2"
printf '</monit>\\n'
"""

# The control file for monit-check-status, and the statuses that monit answers with.
CONTROL = pathlib.Path("/run/fault-control")
RUNNING = pathlib.Path("/run/fault-pid")
ANSWER = {"runs": "0", "gone": "512"}

# Without this the C library looks in 75 places for a module that few machines have.
NAME_SERVICES = "services: files\n"


class Findings(NamedTuple):
    """The findings of a report in any language."""

    upgrade: bool = False
    down: frozenset = frozenset()
    repairs: tuple = ()  # triples of a service, "ok" or "error", and the log


class Scenario(NamedTuple):
    """One kind of run."""

    name: str
    arguments: tuple
    findings: Findings
    without_upgrade: Findings = None  # the findings if the run misses the upgrade
    language: str = "en-US"
    down: tuple = ()  # services that are down before the run
    started: tuple = ()  # services last started, by the panel's action log
    stopped: tuple = ()  # services last stopped
    database: bool = True
    repairs: tuple = ()  # the services to be repaired
    program: str = "keldoctl"

    def checked(self):
        """The services that the monitor is asked about, in order."""
        return [service for service in (*CORE_SERVICES, *self.started)
                if service != "mysql" and service not in self.stopped]

    def is_paced(self):
        """Whether the number of calls depends on how fast other processes are."""
        return self.program != "keldoctl"

    def states(self):
        """The state of each service that keldoctl-inspect finds in a run without a fault."""
        if self.findings.upgrade:
            return {service: "unchecked" for service in CORE_SERVICES}
        states = {service: "down" if service in self.findings.down else "up"
                  for service in (*CORE_SERVICES, *self.started)}
        return states | {service: "stopped" for service in self.stopped}

    def really_down(self):
        return {*self.down} if self.database else {*self.down, "mysql"}

    def environment(self):
        return {"LOCPATH": str(LOCALES)} if self.language != "en-US" else {}


SCENARIOS = {scenario.name: scenario for scenario in (
    Scenario("status-well", ("--status",), Findings(), down=("mail",), stopped=("mail",),
             started=("redis",)),
    Scenario("status-one-down", ("--status",), Findings(down=frozenset({"web"})), down=("web",)),
    Scenario("upgrade", ("--status",), Findings(upgrade=True), down=("web",), database=False,
             without_upgrade=Findings(down=frozenset({"mysql", "web"}))),
    Scenario("database-down", ("--status",), Findings(down=frozenset({"mysql"})), database=False),
    Scenario("repair-two-ids", ("--repair", "restart-service:web", "restart-service:dns"),
             Findings(down=frozenset({"dns"}),
                      repairs=(("web", "ok", "web: stopped\nR&D: started\n"),
                               ("dns", "error", "dns: stopped\ndns: failed\n"))),
             down=("web", "dns"), repairs=("web", "dns")),
    Scenario("german", ("--status", "--language=de-DE"), Findings(down=frozenset({"web"})),
             language="de-DE", down=("web",)),
    Scenario("inspect-well", ("--jobs=2",), Findings(), down=("mail",), stopped=("mail",),
             started=("redis",), program="keldoctl-inspect"),
    Scenario("inspect-down", ("--jobs=1",), Findings(down=frozenset({"web"})), down=("web",),
             program="keldoctl-inspect"),
    Scenario("inspect-json", ("--json", "--jobs=1"), Findings(down=frozenset({"mysql"})),
             database=False, program="keldoctl-inspect"),
    Scenario("inspect-upgrade", (), Findings(upgrade=True), down=("web",), database=False,
             program="keldoctl-inspect"),
    Scenario("adapter", ("-c", CONTROL, "-x", "check-status"), Findings(), database=False,
             program="monit-check-status"),
    Scenario("adapter-batch", ("-c", CONTROL, "-x", "check-status", "-b", "5"), Findings(),
             database=False, program="monit-check-status"),
)}


def german_title(service):
    return f"{service} auf Deutsch"


def down_texts(service):
    """The possible messages of a service that is down, as pairs of a text and its language: all in
    German, without the catalogue, and without the locale."""
    return [(f"Der Dienst „{german_title(service)}“ ist ausgeschaltet.", "de-DE"),
            (f"The {german_title(service)} service is switched off.", "en-US"),
            (f"The {title_of(service)} service is switched off.", "en-US")]


def restart_texts(service):
    """The same for the action that restarts it."""
    return [(f"Den Dienst „{german_title(service)}“ neu starten.", "de-DE"),
            (f"Restart the {german_title(service)} service.", "en-US"),
            (f"Restart the {title_of(service)} service.", "en-US")]


def lay_out(scenario, database):
    """Lays out the panel for a scenario and returns it. `database` is None without a database."""
    panel = Panel()
    pathlib.Path("/etc/nsswitch.conf").write_text(NAME_SERVICES, encoding="utf-8")
    for service in (*CORE_SERVICES, *scenario.started):
        panel.write_service(service, titles={"de-DE": german_title(service)},
                            stop="true", start=start_commands(service))
    monitor = panel.root / "admin/sbin/monit"
    monitor.write_text(MONITOR if scenario.program == "keldoctl" else BATCH_MONITOR,
                       encoding="utf-8")
    CONTROL.write_text(f"check process runs with pidfile {RUNNING}\n"
                       "check process gone with pidfile /run/fault-no-pid\n", encoding="utf-8")
    RUNNING.write_text(f"{os.getpid()}\n", encoding="utf-8")
    panel.upgrade_tool(int(scenario.findings.upgrade))
    if scenario.language != "en-US":
        (panel.root / CATALOGUE).parent.mkdir(parents=True)
        shutil.copy(BUILD / CATALOGUE, panel.root / CATALOGUE)
    if scenario.database:
        database.reset()
        database.log_action(START, *scenario.started)
        database.log_action(STOP, *scenario.stopped)
    panel.set_password(PASSWORD + b"\n" if scenario.database else b"no server to take it\n")
    return panel


def start_commands(service):
    """The commands print everything at once, so that each run makes the same number of reads."""
    if service == "web":
        return f"rm -f {DOWN}/web; printf 'web: stopped\\nR&D: started\\n'"
    return f"printf '{service}: stopped\\n{service}: failed\\n'; exit 3"


def prepare(scenario):
    """Restores the state that a run starts from."""
    shutil.rmtree(DOWN, ignore_errors=True)
    DOWN.mkdir()
    for service in scenario.down:
        (DOWN / service).touch()
