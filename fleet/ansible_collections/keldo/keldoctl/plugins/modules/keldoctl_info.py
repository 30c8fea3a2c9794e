#!/usr/bin/python
# SPDX-License-Identifier: GPL-3.0-or-later
# GNU General Public License v3.0+ (see https://www.gnu.org/licenses/gpl-3.0.txt)
# The documentation of an action plugin, which does the work on the controller.

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
module: keldoctl_info
short_description: ask a panel's server which services are up, down or not known
version_added: "1.1.0"
author: The keldoctl developers (!UNKNOWN)
description:
  - Asks C(keldoctl-gate) on the host for an inspection, and checks the answer. The host needs neither
    Python nor a temporary directory.
  - With an ssh connection, the module runs C(ssh) with the arguments of the inventory, such as ports,
    keys and jump hosts. It needs a key; passwords are not supported. It uses an open master connection,
    but leaves none running.
  - The task fails unless the host answers with an inspection that agrees with itself and with the exit
    status. It does not fail if services are down; use the result's C(state).
  - A host to which there is no connection is unreachable, as with other modules.
  - C(become) has no effect. If the user that logs in is not root and has no key for the gate, put sudo
    into I(gate).
options:
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
      - The number of seconds within which the host must answer. SSH is ended after them.
      - The default is the variable C(keldoctl_timeout), or 120 if it is not set.
    type: int
attributes:
  check_mode:
    description: Whether the task does the same in check mode.
    support: full
notes:
  - Titles, sentences and logs come from the host. Ansible treats them as unsafe, so templates in them
    are not evaluated.
seealso:
  - module: keldo.keldoctl.keldoctl_repair
"""

EXAMPLES = r"""
- name: Ask for the state of the services
  keldo.keldoctl.keldoctl_info:
  register: found

- name: Ask in German, as a user who may call the gate through sudo
  keldo.keldoctl.keldoctl_info:
    gate: [sudo, -n, keldoctl-gate]
    language: de-DE

- name: Show which services are down
  ansible.builtin.debug:
    msg: "{{ found.problems | map(attribute='service') | join(', ') }}"
  when: found.state == 'problems'
"""

RETURN = r"""
state:
  description:
    - The verdict of the inspection, C(well), C(problems), C(unknown) or C(upgrade).
    - It is C(well) only if every service that ought to run was seen to be up.
  returned: if the host answered with an inspection
  type: str
  sample: problems
problems:
  description: The problems that were found.
  returned: if the host answered with an inspection
  type: list
  elements: dict
  contains:
    id:
      description: The id of the problem.
      type: str
      sample: service-down:web
    service:
      description: The id of the service. Empty if the problem is not about a service.
      type: str
      sample: web
    title:
      description: The title of the service, or the message of the problem.
      type: str
      sample: Web Server
    severity:
      description: C(minor), C(major) or C(critical).
      type: str
      sample: major
    reason:
      description: Why, as a C(code), a C(text) and the text's language C(lang).
      type: dict
      sample: {code: refused, text: "Nothing listens on port 80 (http): connection refused.", lang: en-US}
    repairs:
      description: The ids of the repairs that solve the problem.
      type: list
      elements: str
      sample: ["restart-service:web"]
    default:
      description: The id of the repair to take unless you choose another. Empty if there is none.
      type: str
      sample: restart-service:web
inspection:
  description: The inspection as data, with the names of C(keldoctl-inspect --json).
  returned: if the host answered with an inspection
  type: dict
  sample: {version: 1, verdict: problems, summary: {services: 7, up: 6, down: 1}}
document:
  description: The inspection as XML, as the host printed it.
  returned: if the host answered with an inspection
  type: str
  sample: <inspection version="1" verdict="problems">...</inspection>
reason:
  description:
    - A code for why there is no inspection.
    - C(unreachable), there is no connection. C(no_answer), the host printed nothing. C(too_large),
      the answer is longer than 1 MiB, has too many or too deeply nested elements or too long names, or its
      error messages are longer than 64 KiB. C(doctype), the answer has a document type declaration.
      C(not_an_inspection), the answer cannot be read. C(contradiction), the answer disagrees with itself
      or with the exit status. C(timed_out), there was no answer in time. C(busy), the gate is serving
      another caller. C(refused), the gate does not accept the request. C(no_gate), there is no gate on
      the host. C(no_document), keldoctl-inspect could not make a document. C(limit_on_target), the time
      limit on the host was reached. C(exit_status), the gate ended with any other status. C(password), a
      password is set for the connection.
  returned: if the task failed, or the host is unreachable
  type: str
  sample: timed_out
msg:
  description: The same for people, in one line.
  returned: if the task failed, or the host is unreachable
  type: str
  sample: no complete answer within 120 s
"""
