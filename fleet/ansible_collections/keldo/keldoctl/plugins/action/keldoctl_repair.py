# SPDX-License-Identifier: GPL-3.0-or-later
# GNU General Public License v3.0+ (see https://www.gnu.org/licenses/gpl-3.0.txt)
"""Repairs a host. The documentation is in plugins/modules/keldoctl_repair.py."""

from __future__ import annotations

from ansible_collections.keldo.keldoctl.plugins.action.keldoctl_info import (
    ActionModule as InfoActionModule)
from ansible_collections.keldo.keldoctl.plugins.plugin_utils.gate import Unreachable
from ansible_collections.keldo.keldoctl.plugins.plugin_utils.inspection import REPAIR_ID, Refusal

LONGEST_LOG = 4096  # the end of the log; the inspection has all of it


class ActionModule(InfoActionModule):
    """Inspects the host, has the gate carry out repairs that this inspection proposes, and reports the
    inspection after them."""

    ARGUMENTS = {
        **InfoActionModule.ARGUMENTS,
        "ids": {"type": "list", "elements": "str"},
        # The gate waits at most 10 seconds for another caller, 90 for the inspection and 900 for the
        # repairs. It then answers.
        "timeout": {"type": "int", "default": 1020},
    }
    SET_BY_VARIABLES = ("gate", "language")  # keldoctl_timeout is meant for questions

    def _carry_out(self, arguments, result):
        result.update(self._inspection(arguments), repairs=[])
        ids, result["repairs"] = _choose(result["problems"], arguments["ids"])
        if not ids:
            return
        gate = " ".join(arguments["gate"])
        result["diff"] = {"prepared": f"{gate} repair {' '.join(ids)}\n"}
        if self._task.check_mode:
            result["changed"] = True
            result["repairs"] += [_outcome(each, "not_carried_out") for each in ids]
            return
        try:
            result.update(self._inspection(arguments, "repair", ids))
        except (Refusal, Unreachable) as error:
            _add_outcomes_without_answer(result, ids, error)
            raise
        result["repairs"] += [_outcome_in(result["inspection"], each) for each in ids]
        result["changed"] = any(each["state"] != "not_carried_out" for each in result["repairs"])
        wrong = [each["id"] for each in result["repairs"]
                 if each["id"] in ids and each["state"] != "ok"]
        if wrong:
            raise Refusal("repair_failed", "without success: " + " ".join(wrong))


def _choose(problems, wanted):
    """The ids to carry out, and the outcomes of those that are not: ids that the inspection does not
    propose, and ids that no gate accepts. `wanted` is None for the default of each problem."""
    proposed = {each for problem in problems for each in problem["repairs"]}
    if wanted is None:
        wanted = [problem["default"] for problem in problems if problem["default"]]
    ids, left_out = [], []
    for each in dict.fromkeys(wanted):
        if each not in proposed:
            left_out.append(_outcome(each, "not_carried_out", "The inspection does not propose it."))
        elif not REPAIR_ID.fullmatch(each):
            left_out.append(_outcome(each, "not_carried_out", "The gate accepts no such id."))
        else:
            ids.append(each)
    return ids, left_out


def _outcome(repair_id, state, log=""):
    return {"id": repair_id, "state": state, "log": log}


def _outcome_in(data, repair_id):
    """The outcome of a repair by the inspection after it."""
    action = next((each for each in data["actions"] if each["id"] == repair_id), {})
    state = {"ok": "ok", "error": "failed"}.get(action.get("status"), "not_carried_out")
    return _outcome(repair_id, state, action.get("log", "")[-LONGEST_LOG:])


# With these answers the gate has carried out nothing.
_NOTHING_CARRIED_OUT = ("refused", "busy", "no_gate")


def _add_outcomes_without_answer(result, ids, error):
    """The repairs count as failed unless the error shows that none was carried out. Removes the first
    inspection, which may no longer describe the host."""
    is_certain = getattr(error, "code", "") in _NOTHING_CARRIED_OUT
    state = "not_carried_out" if is_certain else "failed"
    result["repairs"] += [_outcome(each, state, str(error)) for each in ids]
    for name in ("state", "inspection", "problems", "document"):
        del result[name]
