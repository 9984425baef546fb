#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: sdr
short_description: Keep a BMC's SDR repository holding exactly an SDR file
version_added: 1.0.0
description:
  - With I(state=present), makes the BMC's SDR repository hold exactly the records of
    an SDR file (text or binary). VALDRN verifies first (C(VALDRN -v)) and downloads
    (C(VALDRN -d)) only when the repository differs; after a download the repository
    is verified once more. C(changed) says whether the repository was written.
  - With I(state=verified), never writes; the task fails when the repository differs.
  - A download saves a copy of the repository first, and puts it back when the
    download fails (see VALDRN's C(docs/safety.md)).
author:
  - The VALDRN Project (@valdrn)
extends_documentation_fragment:
  - valdrn.bmc.connection
options:
  src:
    description:
      - The SDR file on the host that runs VALDRN (the controller with
        I(interface=lanplus)), as text (C(_SDR) blocks) or binary.
    type: path
    required: true
  state:
    description:
      - C(present) writes the file when the repository differs from it.
      - C(verified) only compares, and fails when they differ.
    type: str
    choices: [present, verified]
    default: present
attributes:
  check_mode:
    support: full
    description: Runs the verification only and reports whether the repository would be written.
  diff_mode:
    support: none
    description: Returns no diff; C(runs) holds what VALDRN said.
'''

EXAMPLES = r'''
- name: Every BMC of the group holds the new SDR set
  valdrn.bmc.sdr:
    src: files/R2208-sdr.txt
    bmc_host: "{{ bmc_address }}"
    bmc_user: "{{ bmc_user }}"
    bmc_password: "{{ bmc_password }}"
  delegate_to: localhost

- name: Verification sweep before the rack ships (never writes)
  valdrn.bmc.sdr:
    src: files/R2208-sdr.txt
    state: verified
    bmc_host: "{{ bmc_address }}"
    bmc_user: "{{ bmc_user }}"
    bmc_password: "{{ bmc_password }}"
  delegate_to: localhost

- name: In-band, on the server itself through the OpenIPMI driver
  valdrn.bmc.sdr:
    src: /srv/ipmi/R2208-sdr.txt
    interface: openipmi
  become: true
'''

RETURN = r'''
changed:
  description: Whether the repository was written (in check mode, whether it would be).
  returned: always
  type: bool
msg:
  description: What was done, or VALDRN's own message when the task failed.
  returned: always
  type: str
  sample: The SDR repository was written from files/R2208-sdr.txt.
differs:
  description: Set when I(state=verified) failed because the repository differs from the file.
  returned: failure of verification
  type: bool
exit_status:
  description: Exit status of the last VALDRN run.
  returned: when VALDRN ran
  type: int
stdout_lines:
  description: Standard output lines of the last VALDRN run, without its banner.
  returned: when VALDRN ran
  type: list
  elements: str
  sample: ["Verify SDR file R2208-sdr.txt with SDR repository successful!"]
stderr_lines:
  description: Standard error lines of the last VALDRN run.
  returned: when VALDRN ran
  type: list
  elements: str
runs:
  description: Every VALDRN run of the task, in order.
  returned: always
  type: list
  elements: dict
  contains:
    args:
      description: The command line, the password shown as C(********).
      type: list
      elements: str
    rc:
      description: Exit status.
      type: int
    stdout_lines:
      description: Standard output lines without the banner.
      type: list
      elements: str
    stderr_lines:
      description: Standard error lines.
      type: list
      elements: str
saved_copy:
  description: The copy of the repository from before this run, when VALDRN named it
    because the repository may differ both from what it held and from the file.
  returned: when VALDRN printed one
  type: str
  sample: /var/lib/valdrn/backups/10.0.0.5-sdr-20261123T004718.724Z-4242.sdr
restore_command:
  description: The shell command that puts I(saved_copy) back, runnable from any folder
    (the password is shown as C(...)).
  returned: when VALDRN printed one
  type: str
  sample: >-
    cd '/' && '/usr/sbin/VALDRN' -d 'var/lib/valdrn/backups/10.0.0.5-sdr-20261123T004718.724Z-4242.sdr'
    -n lanplus -H 10.0.0.5 -U admin -P ... -C 3
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.valdrn.bmc.plugins.module_utils.valdrn import (
    CONNECTION_ARGUMENT_SPEC, CONNECTION_REQUIRED_IF, ensure_file_state)


def main():
    argument_spec = dict(
        src=dict(type='path', required=True),
        state=dict(type='str', default='present', choices=['present', 'verified']),
    )
    argument_spec.update(CONNECTION_ARGUMENT_SPEC)
    module = AnsibleModule(argument_spec=argument_spec, required_if=CONNECTION_REQUIRED_IF,
                           supports_check_mode=True)
    ensure_file_state(module)


if __name__ == '__main__':
    main()
