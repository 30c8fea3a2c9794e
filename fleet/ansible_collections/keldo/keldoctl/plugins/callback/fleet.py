# SPDX-License-Identifier: GPL-3.0-or-later
# GNU General Public License v3.0+ (see https://www.gnu.org/licenses/gpl-3.0.txt)
"""Writes the fleet document: what a run of Ansible found out about each host of the inventory."""

from __future__ import annotations

DOCUMENTATION = """
name: fleet
type: aggregate
short_description: write what a run found out about each host of the inventory
description:
  - Writes the file C(fleet.xml), which has every host of the inventory exactly once, with its state. The
    state is C(well), C(problems), C(unknown), C(upgrade), C(failed), C(unreachable) or C(unasked).
  - Writes the inspection of each host that answered to C(hosts/NAME.xml).
  - The states are those that M(keldo.keldoctl.keldoctl_info) and M(keldo.keldoctl.keldoctl_repair)
    found last. A host that failed or was not reachable before it was asked counts as such. In a run
    without these modules, nothing is written.
  - The files are readable by their owner only. The file C(fleet.xml) is written each time before hosts
    are asked, when the last play begins, and at the end. The first time, it replaces that of an earlier
    run.
  - At the end, the report that the role C(keldo.keldoctl.report) made is shown on the screen.
  - The environment variable C(KELDOCTL_FLEET_RUN) has the value of the document's attribute C(run) in
    plays and lookups of this run.
author: The keldoctl developers (!UNKNOWN)
version_added: "1.1.0"
requirements:
  - enabled in the configuration by C(callbacks_enabled = keldo.keldoctl.fleet)
options:
  directory:
    description:
      - The directory of the files. It is made if it does not exist.
      - Inspections of an earlier run in C(hosts) are removed from it.
    type: path
    default: keldoctl-fleet
    env:
      - name: KELDOCTL_FLEET_DIRECTORY
    ini:
      - section: callback_keldoctl_fleet
        key: directory
"""

import atexit
import os
import re

from ansible.plugins.callback import CallbackBase
from ansible_collections.keldo.keldoctl.plugins.plugin_utils.fleet import Fleet

COLLECTION = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
ACTIONS = ("keldo.keldoctl.keldoctl_info", "keldo.keldoctl.keldoctl_repair")


class CallbackModule(CallbackBase):
    """Tells a Fleet what happens in the run."""

    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "aggregate"
    CALLBACK_NAME = "keldo.keldoctl.fleet"
    CALLBACK_NEEDS_ENABLED = True

    def __init__(self, *arguments, **options):
        super().__init__(*arguments, **options)
        self._fleet = None
        self._inventory = None
        self._names = []
        self._last_play = None

    def v2_playbook_on_start(self, playbook):
        self._last_play = playbook.get_plays()[-1]._uuid
        self._prepare(os.path.splitext(os.path.basename(playbook._file_name))[0])

    def _prepare(self, name):
        if self._fleet is None:
            self._fleet = Fleet(self.get_option("directory"), _version(), name)
            # The processes that run tasks inherit these variables.
            os.environ["KELDOCTL_FLEET_RUN"] = self._fleet.run
            os.environ["KELDOCTL_FLEET_DIRECTORY"] = self._fleet.directory
            atexit.register(self._write_if_main, os.getpid())

    def v2_playbook_on_play_start(self, play):
        self._prepare("ansible")  # if there is no playbook
        self._inventory = play.get_variable_manager()._inventory
        if _asks_hosts(play):
            self._begin()
        elif play._uuid == self._last_play:
            self._write()

    def v2_playbook_on_task_start(self, task, is_conditional):
        if _is_ours(task):  # a task that was included in the run
            self._begin()

    def v2_playbook_on_stats(self, stats):
        self._write()
        text = self._fleet.text()
        if text:
            self._display.display("\n" + text.rstrip("\n"))

    def v2_runner_on_ok(self, result):
        if _is_ours(result._task) and "inspection" in result._result:
            self._fleet.add_answer(result._host.get_name(), result._result)

    def v2_runner_on_failed(self, result, ignore_errors=False):
        if _is_ours(result._task):
            self._add_failed_request(result)
        elif not ignore_errors:
            self._add_other_failure(result)

    def v2_runner_on_unreachable(self, result):
        name, found = result._host.get_name(), result._result
        if _is_ours(result._task):
            self._fleet.add_outcomes(name, found)
        self._fleet.add_failure(name, "unreachable", "unreachable", found.get("msg", ""))

    # In a loop, each item has its own result; that of the whole task only repeats them.
    v2_runner_item_on_ok = v2_runner_on_ok

    def v2_runner_item_on_failed(self, result):
        if _is_ours(result._task):
            self._add_failed_request(result)

    def v2_runner_item_on_unreachable(self, result):
        self.v2_runner_on_unreachable(result)

    def _add_failed_request(self, result):
        name, found = result._host.get_name(), result._result
        if "results" in found:
            return
        answer = {**found, **found.get("invocation", {})}
        if "inspection" in answer:  # a repair failed
            self._fleet.add_answer(name, answer)
        else:
            self._fleet.add_outcomes(name, found)
            self._fleet.add_failure(name, "failed", found.get("reason", "task_failed"),
                                    found.get("msg", ""))

    def _add_other_failure(self, result):
        """Another task failed. If the host has not answered yet, it counts as failed, since it will not
        be asked. An earlier answer stays."""
        name = result._host.get_name()
        if not self._fleet.has_answered(name):
            task = result._task.get_name()
            self._fleet.add_failure(name, "failed", "task_failed",
                                    f"{task}: {result._result.get('msg', '')}")

    def _begin(self):
        self._fleet.begin()
        self._write()

    def _write(self):
        hosts = self._inventory.get_hosts("all", ignore_limits=True, ignore_restrictions=True)
        # A group that a task makes changes the order of the inventory.
        self._names = list(dict.fromkeys([*self._names, *(host.get_name() for host in hosts)]))
        self._fleet.write(self._names)

    def _write_if_main(self, main):
        """Writes what is known if the run was aborted."""
        if os.getpid() == main and self._inventory is not None:
            self._write()


def _is_ours(task):
    return (getattr(task, "resolved_action", None) or task.action) in ACTIONS


def _asks_hosts(play):
    """Whether tasks of ours are written in the play. Tasks that it includes are not known yet."""
    return any(map(_is_ours, _tasks_of([*play.pre_tasks, *play.tasks, *play.post_tasks])))


def _tasks_of(entries):
    for entry in entries:
        if hasattr(entry, "block"):
            yield from _tasks_of([*entry.block, *entry.rescue, *entry.always])
        else:
            yield entry


def _version():
    """The version of this collection, from the file that ansible-galaxy makes or reads."""
    for name in ("MANIFEST.json", "galaxy.yml"):
        try:
            with open(os.path.join(COLLECTION, name), encoding="utf-8") as file:
                return re.search(r'version"?: *"?([0-9][^"\s]*)', file.read()).group(1)
        except FileNotFoundError:
            pass
    return "0"
