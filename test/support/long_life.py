# SPDX-License-Identifier: MIT
"""A week of a panel in minutes: inspections are kept and changes are told as on a panel's host, four
times an hour by a clock that is moved, while services crash and other things fail between them.

Works on a private host. script/long-life runs it:

    long_life.py INSPECTIONS SEED
"""

import collections
import dataclasses
import json
import os
import pathlib
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as ElementTree

from inspection import INSPECT
from panel import BUILD, CORE_SERVICES, PATH, PRODUCT_ROOT, SERVICES
from services import log_action, service_control
from subreaper import become_subreaper
from views import install_views

OWN = pathlib.Path("/var/lib/keldoctl")
KEPT = OWN / "reports"
CONTROL_FILES = PRODUCT_ROOT / "tmp"
INTERVAL = 15 * 60  # seconds between two inspections
KEEP = 96  # inspections of one day
# Memory differs a little from run to run, and documents differ in length.
GROWTH = 1.05


# --- The host and its faults


class Host:
    """A host with all services running, and the changes that happen to it. `faults` counts them."""

    def __init__(self, chance, keep):
        self.chance = chance
        # If all kept inspections were made during upgrades, the states before them are lost. So an
        # upgrade takes at most this number of steps, and at least as many lie between two upgrades.
        self.longest_upgrade = keep // 3
        self.faults = collections.Counter()
        self.crashed = set()
        self.stopped = set()  # by the administrator
        self.broken = {}  # the contents of definitions that are broken, by their services
        self.is_upgrading = False
        self.upgrade_steps = self.longest_upgrade  # since the last upgrade began or ended
        self.cannot_ask = False  # no control file for the monitor can be written
        self.cannot_keep = False  # no inspection can be kept
        # Some containers forbid mounting.
        self.may_mount = os.environ["KELDO_HOST"] == "namespaces"
        service_control("start-all")
        shutil.rmtree(OWN, ignore_errors=True)
        OWN.mkdir(parents=True)
        if self.may_mount:
            self.mount("8m", OWN)

    @staticmethod
    def mount(size, path):
        subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "full", path], check=True)

    @staticmethod
    def fill(path):
        """Writes to a file until its file system is full."""
        with open(path, "wb", buffering=0) as file:
            try:
                while True:
                    file.write(b"x" * 4096)
            except OSError:
                return

    def healthy(self):
        """The services that run."""
        return sorted(set(CORE_SERVICES) - self.crashed - self.stopped)

    def step(self):
        """Makes up to two changes between two inspections. The fault that keeps inspections from being
        written lasts one step, since it hides all others."""
        if self.cannot_keep:
            self.empty_kept()
        self.upgrade_steps += 1
        if self.is_upgrading and self.upgrade_steps >= self.longest_upgrade:
            self.end_upgrade()
        for _ in range(self.chance.choice((0, 0, 1, 1, 2))):
            self.change()

    def change(self):
        """Makes one change, which begins or ends a fault. Both are about equally frequent."""
        ends = self.ends()
        name, act = self.chance.choice(ends if ends and self.chance.random() < 0.6
                                       else self.beginnings())
        self.faults[name] += 1
        act()

    def beginnings(self):
        """The faults that can begin: pairs of a name and a function."""
        found = [("crash", self.crash)]
        if "mysql" not in self.crashed:
            found.append(("stop through the panel", self.stop))
        if not self.is_upgrading and self.upgrade_steps >= self.longest_upgrade:
            found.append(("upgrade begins", self.begin_upgrade))
        if not self.cannot_ask:
            found.append(("no space for control files", self.fill_control_files))
        if self.may_mount and not self.cannot_keep:
            found.append(("no space for inspections", self.fill_kept))
        if len(self.broken) < 2:
            found.append(("broken definition", self.break_definition))
        return found

    def ends(self):
        """The ends of the present faults."""
        found = []
        if self.crashed:
            found += [("start", self.start), ("repair", self.repair)]
        if self.stopped and "mysql" not in self.crashed:
            found.append(("start through the panel", self.start_again))
        if self.is_upgrading:
            found.append(("upgrade ends", self.end_upgrade))
        if self.cannot_ask:
            found.append(("space for control files", self.empty_control_files))
        if self.broken:
            found.append(("mended definition", self.mend_definition))
        return found

    def recover(self):
        """Ends all faults."""
        for service in sorted(self.crashed):
            service_control("start", service)
        self.crashed.clear()
        if self.cannot_keep:
            self.empty_kept()
        while ends := self.ends():
            ends[0][1]()

    def crash(self):
        if services := self.healthy():
            service = self.chance.choice(services)
            service_control("kill", service)
            self.crashed.add(service)

    def start(self):
        service = self.chance.choice(sorted(self.crashed))
        service_control("start", service)
        self.crashed.remove(service)

    def repair(self):
        """Repairs a service by its id. The repair fails if the definition is broken."""
        service = self.chance.choice(sorted(self.crashed))
        subprocess.run([INSPECT, "--repair", f"restart-service:{service}"], check=False,
                       stdout=subprocess.DEVNULL)
        if service not in self.broken:
            self.crashed.remove(service)

    def stop(self):
        if services := sorted(set(self.healthy()) - {"mysql"}):
            service = self.chance.choice(services)
            log_action("stop", service)
            service_control("stop", service)
            self.stopped.add(service)

    def start_again(self):
        service = self.chance.choice(sorted(self.stopped))
        log_action("start", service)
        service_control("start", service)
        self.stopped.remove(service)

    def begin_upgrade(self):
        (PRODUCT_ROOT / "var/upgrade.lock").touch()
        self.is_upgrading = True
        self.upgrade_steps = 0

    def end_upgrade(self):
        (PRODUCT_ROOT / "var/upgrade.lock").unlink()
        self.is_upgrading = False
        self.upgrade_steps = 0

    def fill_control_files(self):
        if self.may_mount:
            self.mount("4k", CONTROL_FILES)
            self.fill(CONTROL_FILES / "filler")
        else:
            CONTROL_FILES.rename(CONTROL_FILES.with_name("moved"))
        self.cannot_ask = True

    def empty_control_files(self):
        if self.may_mount:
            subprocess.run(["umount", CONTROL_FILES], check=True)
        else:
            CONTROL_FILES.with_name("moved").rename(CONTROL_FILES)
        self.cannot_ask = False

    def fill_kept(self):
        self.fill(OWN / "filler")
        self.cannot_keep = True

    def empty_kept(self):
        (OWN / "filler").unlink()
        self.cannot_keep = False

    def break_definition(self):
        service = self.chance.choice(sorted(set(CORE_SERVICES) - {"mysql"} - set(self.broken)))
        path = SERVICES / f"{service}.xml"
        self.broken[service] = path.read_bytes()
        path.unlink()
        if self.chance.random() < 0.5:
            path.write_bytes(self.broken[service][:-20])

    def mend_definition(self):
        service = self.chance.choice(sorted(self.broken))
        (SERVICES / f"{service}.xml").write_bytes(self.broken.pop(service))


# --- What may not grow


def open_descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def daemons():
    """The processes of the running services, by name. Each leads a session."""
    found = {}
    for record in pathlib.Path("/run/kvr").glob("*.started"):
        pid = record.read_text(encoding="ascii").split()[0]
        if os.path.exists(f"/proc/{pid}/fd"):
            found[record.stem] = int(pid)
    return found


def processes_left():
    """The command lines of this process's children, apart from the daemons. Reaps those that have
    ended, which are the daemons that crashed."""
    left = []
    sessions = set(daemons().values())
    for pid in pathlib.Path(f"/proc/self/task/{os.getpid()}/children").read_text().split():
        if os.waitpid(int(pid), os.WNOHANG) == (0, 0) and os.getsid(int(pid)) not in sessions:
            left.append(pathlib.Path(f"/proc/{pid}/cmdline").read_bytes())
    return left


def files_left():
    """The files that a run makes and must remove."""
    left = [path for path in KEPT.glob(".*")]
    if CONTROL_FILES.exists():
        left += [path for path in CONTROL_FILES.iterdir() if path.name != "filler"]
    for directory in ("/run", "/tmp", "/var/tmp", "/dev/shm"):
        left += pathlib.Path(directory).glob("monit-check-status.*")
        left += pathlib.Path(directory).glob("keldo-service-lint.*")
    return sorted(map(str, left))


@dataclasses.dataclass
class Measures:
    """What a step leaves and what it took."""

    kept: int  # files
    kept_bytes: int
    others: int  # files of keldoctl-notify
    left_files: list
    left_processes: list
    descriptors: dict  # of the daemons
    keep_memory: int  # peak, KiB
    notify_memory: int
    keep_seconds: float
    notify_seconds: float


# --- Inspections and notifications


def changes_between(documents):
    """The number of changes of state from one kept document to the next, for each but the first. A
    service that was not checked, or is not listed, keeps its state. An upgrade counts as a service
    of its own."""
    known = None
    counts = []
    for document in documents:
        root = ElementTree.fromstring(document)
        now = {service.get("id"): service.get("state") for service in root.iter("service")
               if service.get("state") != "unchecked"}
        now["the upgrade"] = root.get("verdict") == "upgrade"
        if known is None:
            known = {}
        else:
            counts.append(sum(known.get(key, "unlisted") != state for key, state in now.items()))
        known |= now
    return counts


class LongLife:
    """Keeps inspections, and tells their changes to a program that writes them down."""

    def __init__(self, seed, keep=KEEP):
        self.keep = keep
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="long-life."))
        self.prefix = install_views(self.directory)
        (self.prefix / "sbin/keldoctl-inspect").symlink_to(INSPECT)
        (self.directory / "notify.d").mkdir()
        self.told = self.directory / "told.json"
        program = self.directory / "notify.d/write-down"
        program.write_text(f'#!/bin/sh\nexec cat "$1" >>{self.told}\n', encoding="utf-8")
        program.chmod(0o755)
        become_subreaper()
        self.host = Host(random.Random(seed), keep)
        self.begin = int(time.time())
        self.number = 0  # of the next inspection
        self.documents = []
        self.measures = []
        self.complaints = []

    def close(self):
        self.host.recover()
        service_control("stop-all")
        if self.host.may_mount:
            subprocess.run(["umount", OWN], check=True)
        shutil.rmtree(OWN)
        shutil.rmtree(self.directory)
        become_subreaper(False)

    def run(self, inspections):
        """Makes inspections with faults between them, then one without faults."""
        self.inspect()
        for _ in range(inspections - 2):
            self.host.step()
            self.inspect()
        self.host.recover()
        self.inspect()

    def inspect(self):
        """Keeps an inspection and tells its changes. Complains if this leaves anything."""
        before = set(KEPT.glob("*.xml"))
        keep = self.run_program("libexec/keldoctl/keep-report", str(self.keep))
        new = sorted(set(KEPT.glob("*.xml")) - before)
        self.documents += [path.read_bytes() for path in new]
        # The last free bytes may suffice for a short inspection.
        if (keep.status, len(new)) != (0, 1) and not (
                self.host.cannot_keep and (keep.status, len(new)) == (1, 0)):
            self.complain(f"keep-report ended with status {keep.status} and kept {len(new)}")
        notify = self.run_program("sbin/keldoctl-notify", "--most=1000",
                                  f"--programs={self.directory}/notify.d")
        if notify.status != (0 if self.documents else 1):
            self.complain(f"keldoctl-notify ended with status {notify.status}")
        self.number += 1
        files = list(KEPT.glob("*.xml"))
        measured = Measures(
            len(files), sum(path.stat().st_size for path in files),
            sum(path.name != "filler" for path in OWN.rglob("*") if KEPT not in (path, path.parent)),
            files_left(), processes_left(),
            {name: open_descriptors(pid) for name, pid in daemons().items()},
            keep.memory, notify.memory, keep.seconds, notify.seconds)
        self.measures.append(measured)
        for what in measured.left_files + measured.left_processes:
            self.complain(f"there is still {what}")
        if measured.kept > self.keep:
            self.complain(f"{measured.kept} inspections are kept")

    def run_program(self, name, *arguments):
        """Runs an installed program as if this were the time of the next inspection."""
        ahead = self.begin + self.number * INTERVAL - int(time.time())
        begin = time.monotonic()
        done = subprocess.run(
            [os.environ["MEASURED_RUN"], self.prefix / name, *arguments], check=False, cwd="/",
            stdout=subprocess.PIPE,
            env={"PATH": PATH, "LD_PRELOAD": os.environ["MOVED_CLOCK"], "SECONDS_AHEAD": str(ahead)})
        return Run(done.returncode, int(done.stdout), time.monotonic() - begin)

    def complain(self, text):
        self.complaints.append(f"inspection {self.number + 1}: {text}")

    # --- Afterwards

    def parts(self):
        """The measures in two parts: before the last `keep` inspections, and during these."""
        return self.measures[:-self.keep], self.measures[-self.keep:]

    def notifications(self):
        """The changes of each notification."""
        decoder = json.JSONDecoder()
        text = self.told.read_text(encoding="utf-8") if self.told.exists() else ""
        found = []
        while text:
            document, end = decoder.raw_decode(text)
            found.append(len(document["changes"]))
            text = text[end:].lstrip()
        return found

    def verdict(self):
        """All complaints, after run()."""
        found = list(self.complaints)
        counted = [count for count in changes_between(self.documents) if count]
        if self.notifications() != counted:
            found.append(f"changes {counted}, but notifications {self.notifications()}")
        for name, before, after in self.rows():
            if after > before * GROWTH:
                found.append(f"{name}: {after} after {before}")
        if {measured.kept for measured in self.parts()[1]} != {self.keep}:
            found.append("the number of kept inspections is not always the same")
        return found

    def rows(self):
        """What may not grow: its name, and its largest value in each of parts()."""
        measures = {"kept inspections": lambda each: each.kept,
                    "bytes of these": lambda each: each.kept_bytes,
                    "other files of keldoctl": lambda each: each.others,
                    "files left behind": lambda each: len(each.left_files),
                    "processes left behind": lambda each: len(each.left_processes),
                    "peak memory of keep-report, KiB": lambda each: each.keep_memory,
                    "peak memory of keldoctl-notify, KiB": lambda each: each.notify_memory}
        for service in CORE_SERVICES:
            measures[f"descriptors of {service}"] = (
                lambda each, service=service: each.descriptors.get(service, 0))
        return [(name, *(max(map(measure, part)) for part in self.parts()))
                for name, measure in measures.items()]

    def table(self):
        """The lines of a table."""
        counted = changes_between(self.documents)
        verdicts = collections.Counter(ElementTree.fromstring(document).get("verdict")
                                       for document in self.documents)
        told = self.notifications()
        rows = [("the largest number", "before", "at the end"), *self.rows()]
        for program, field in (("keep-report", "keep_seconds"), ("keldoctl-notify", "notify_seconds")):
            rows.append((f"median time of {program}, ms", *(
                round(1000 * statistics.median(getattr(each, field) for each in part))
                for part in self.parts())))
        lines = [f"{name:38}{before:>10}{after:>12}" for name, before, after in rows]
        lines += ["", f"{len(self.measures)} inspections in {len(self.measures) / 4:g} hours of the "
                  f"moved clock, {len(self.documents)} kept: "
                  + ", ".join(f"{count} {name}" for name, count in sorted(verdicts.items())),
                  f"changes counted in the documents: {sum(counted)}, in "
                  f"{sum(count > 0 for count in counted)} inspections",
                  f"changes told: {sum(told)}, in {len(told)} notifications", "between them: "
                  + ", ".join(f"{name} {count}" for name, count in sorted(self.host.faults.items()))]
        return lines


@dataclasses.dataclass
class Run:
    status: int
    memory: int  # peak of the largest process of the program, KiB
    seconds: float


def main(inspections, seed):
    life = LongLife(int(seed))
    begin = time.monotonic()
    life.run(int(inspections))
    print(f"seed {seed}, {time.monotonic() - begin:.0f} seconds, {BUILD}\n")
    print("\n".join(life.table()))
    complaints = life.verdict()
    print("\n" + ("\n".join(complaints) or "Nothing grows, and every change is told once."))
    life.close()
    return bool(complaints)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
