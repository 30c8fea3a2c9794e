# SPDX-License-Identifier: GPL-3.0-or-later
# GNU General Public License v3.0+ (see https://www.gnu.org/licenses/gpl-3.0.txt)
"""Asks a host for an inspection. The documentation is in plugins/modules/keldoctl_info.py."""

from __future__ import annotations

import re

from ansible.errors import AnsibleActionFail
from ansible.plugins.action import ActionBase
from ansible_collections.keldo.keldoctl.plugins.plugin_utils.gate import Unreachable, ask
from ansible_collections.keldo.keldoctl.plugins.plugin_utils.inspection import (
    Refusal, problems_of, read_answer)

LANGUAGE = re.compile("[a-z]{2}-[A-Z]{2}")


class ActionModule(ActionBase):
    """Runs on the controller. The host needs neither Python nor a temporary directory."""

    TRANSFERS_FILES = False

    ARGUMENTS = {
        "gate": {"type": "list", "elements": "str", "default": ["keldoctl-gate"]},
        "language": {"type": "str"},
        "timeout": {"type": "int", "default": 120},
    }
    # The options that a variable sets if the task does not: "gate" is set by keldoctl_gate.
    SET_BY_VARIABLES = ("gate", "language", "timeout")

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        # The whole document is too long for the screen.
        result.update(changed=False, _ansible_verbose_override=True)
        arguments = self._validated_arguments(task_vars or {})
        try:
            self._carry_out(arguments, result)
        except Refusal as refusal:
            result.update(failed=True, reason=refusal.code, msg=str(refusal))
            _keep_off_the_screen(result)
        except Unreachable as error:
            # An exception would lose what else the result says.
            result.update(unreachable=True, reason="unreachable", msg=str(error))
        return result

    def _validated_arguments(self, variables):
        for name in self.SET_BY_VARIABLES:
            if f"keldoctl_{name}" in variables and self._task.args.get(name) is None:
                self._task.args[name] = self._templar.template(variables[f"keldoctl_{name}"])
        _, arguments = self.validate_argument_spec(self.ARGUMENTS)
        if not arguments["gate"]:
            raise AnsibleActionFail("the argument 'gate' is empty")
        if arguments["language"] and not LANGUAGE.fullmatch(arguments["language"]):
            raise AnsibleActionFail("the argument 'language' is not a code such as de-DE")
        if arguments["timeout"] <= 0:
            raise AnsibleActionFail("the argument 'timeout' is not positive")
        return arguments

    def _carry_out(self, arguments, result):
        """Does the task, and adds to the result what it found, even if it raises an exception."""
        result.update(self._inspection(arguments))

    def _inspection(self, arguments, request="inspect", ids=()):
        """The part of a result that describes the inspection after the request."""
        words = [*arguments["gate"], request]
        if arguments["language"]:
            words.append("--language=" + arguments["language"])
        words += ids
        self._display.vvv("asks: " + " ".join(words), host=self._play_context.remote_addr)
        status, stdout, stderr = ask(self._connection, words, arguments["timeout"])
        data = read_answer(status, stdout, stderr, ids)
        return {"state": data["verdict"], "inspection": data, "problems": problems_of(data),
                "document": stdout.decode()}


def _keep_off_the_screen(result):
    """Moves the long parts of a failed result to the key that callbacks show only with -vvv."""
    if "inspection" in result:
        result["invocation"] = {name: result.pop(name) for name in ("inspection", "document")}
