#!/usr/bin/python
# SPDX-License-Identifier: GPL-3.0-or-later
# GNU General Public License v3.0+ (see https://www.gnu.org/licenses/gpl-3.0.txt)
# The documentation of an action plugin, which does the work on the controller.

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: keldoctl_repair
short_description: repair the services of a panel's server that are down
version_added: "1.1.0"
author: The keldoctl developers (!UNKNOWN)
description:
  - Asks C(keldoctl-gate) on the host for an inspection, has the gate carry out repairs that the
    inspection proposes, and returns the inspection after them.
  - If the inspection proposes none of the repairs, nothing is carried out, and the task succeeds
    without a change.
  - The task fails if a repair fails, or if the host answers with something else than an inspection. It
    does not fail if services are still down afterwards; use the result's C(state).
  - The module uses the connection as M(keldo.keldoctl.keldoctl_info) does.
options:
  ids:
    description:
      - The ids of the repairs to carry out, such as C(restart-service:web). An id that the inspection
        does not propose is left out.
      - The default is the default repair of each problem.
    type: list
    elements: str
  gate:
    description:
      - The words that call the gate on the host.
      - The default is the variable C(keldoctl_gate), or C([keldoctl-gate]) if it is not set.
    type: list
    elements: str
  language:
    description:
      - The language of titles and sentences, such as C(de-DE).
      - The default is the variable C(keldoctl_language). If it is not set, keldoctl-inspect's default
        is used, C(en-US).
    type: str
  timeout:
    description:
      - The number of seconds within which the host must answer, once for the inspection and once for
        all repairs together. SSH is ended after them.
    type: int
    default: 1020
attributes:
  check_mode:
    description: In check mode, the host is inspected, but not repaired. The result has this inspection.
    support: full
  diff_mode:
    description: Shows the request that is sent to the gate.
    support: full
seealso:
  - module: keldo.keldoctl.keldoctl_info
"""

EXAMPLES = r"""
- name: Repair what is down
  keldo.keldoctl.keldoctl_repair:
  register: repaired

- name: Restart the web server if it is down
  keldo.keldoctl.keldoctl_repair:
    ids: ["restart-service:web"]

- name: Stop unless all is well now
  ansible.builtin.assert:
    that: repaired.state == 'well'
"""

RETURN = r"""
changed:
  description: Whether a repair was carried out. In check mode, whether one would be.
  returned: always
  type: bool
repairs:
  description:
    - The repairs that were asked for, each with its outcome.
    - If the connection breaks after the request, the outcome is not known and counts as C(failed).
  returned: if the first inspection succeeded
  type: list
  elements: dict
  contains:
    id:
      description: The id of the repair.
      type: str
      sample: restart-service:web
    state:
      description: C(ok), C(failed) or C(not_carried_out).
      type: str
      sample: ok
    log:
      description: The end of what the commands of the repair printed, or why it was not carried out.
      type: str
      sample: ""
state:
  description: The verdict of the inspection after the repairs, C(well), C(problems), C(unknown) or C(upgrade).
  returned: if the host answered with an inspection
  type: str
  sample: well
problems:
  description: The problems that are left, as M(keldo.keldoctl.keldoctl_info) returns them.
  returned: if the host answered with an inspection
  type: list
  elements: dict
  sample: []
inspection:
  description:
    - The inspection after the repairs, with the names of C(keldoctl-inspect --json).
    - If a repair failed, the inspection is in C(invocation), so that it is not shown on the screen.
  returned: if the host answered with an inspection
  type: dict
  sample: {version: 1, verdict: well, summary: {services: 7, up: 7, down: 0}}
document:
  description: The same inspection as XML, as the host printed it, in the same place.
  returned: if the host answered with an inspection
  type: str
  sample: <inspection version="1" verdict="well">...</inspection>
reason:
  description:
    - A code for why the task failed. C(repair_failed) if a repair did not succeed, otherwise one of the
      codes of M(keldo.keldoctl.keldoctl_info).
  returned: if the task failed, or the host is unreachable
  type: str
  sample: repair_failed
msg:
  description: The same for people, in one line.
  returned: if the task failed, or the host is unreachable
  type: str
  sample: "without success: restart-service:web"
"""
