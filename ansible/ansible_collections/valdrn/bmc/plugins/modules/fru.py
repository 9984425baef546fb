#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: fru
short_description: Keep a BMC's FRU device holding exactly a FRU file
version_added: 1.0.0
description:
  - With I(state=present), makes FRU device I(fru_id) of the BMC hold exactly the image of
    a FRU file (text or binary). VALDRN verifies first (C(VALDRN -v FILE fruID=N)) and
    downloads (C(VALDRN -d)) only when the device differs; after a download the device
    is verified once more. C(changed) says whether the device was written.
  - With I(state=verified), never writes; the task fails when the device differs.
  - VALDRN ends a failed FRU write of C(-d) with status 0; the module judges its result
    lines too, and fails the task then.
  - A download saves a copy of the device first, reads back what it wrote and puts the
    earlier bytes back when the write fails (see VALDRN's C(docs/safety.md)).
author:
  - The VALDRN Project (@valdrn)
extends_documentation_fragment:
  - valdrn.bmc.connection
options:
  src:
    description:
      - The FRU file on the host that runs VALDRN (the controller with
        I(interface=lanplus)), as text (a C(_FRU) block) or a binary image.
    type: path
    required: true
  fru_id:
    description:
      - The FRU device ID, 0 to 254.
    type: int
    default: 0
  state:
    description:
      - C(present) writes the file when the device differs from it.
      - C(verified) only compares, and fails when they differ.
    type: str
    choices: [present, verified]
    default: present
attributes:
  check_mode:
    support: full
    description: Runs the verification only and reports whether the device would be written.
  diff_mode:
    support: none
    description: Returns no diff; C(runs) holds what VALDRN said.
'''

EXAMPLES = r'''
- name: Every BMC of the group holds the board's FRU image
  valdrn.bmc.fru:
    src: files/R2208-board.fru
    fru_id: 0
    bmc_host: "{{ bmc_address }}"
    bmc_user: "{{ bmc_user }}"
    bmc_password: "{{ bmc_password }}"
  delegate_to: localhost

- name: Verification sweep before the rack ships (never writes)
  valdrn.bmc.fru:
    src: files/R2208-board.fru
    fru_id: 0
    state: verified
    bmc_host: "{{ bmc_address }}"
    bmc_user: "{{ bmc_user }}"
    bmc_password: "{{ bmc_password }}"
  delegate_to: localhost

- name: In-band by direct KCS I/O (intf.ini in /srv/ipmi; IPMI modules unloaded)
  valdrn.bmc.fru:
    src: /srv/ipmi/R2208-board.fru.bin
    fru_id: 0
    interface: kcsio
    chdir: /srv/ipmi
  become: true
'''

RETURN = r'''
changed:
  description: Whether the device was written (in check mode, whether it would be).
  returned: always
  type: bool
msg:
  description: What was done, or VALDRN's own message when the task failed.
  returned: always
  type: str
  sample: The FRU device 0 was written from files/R2208-board.fru.
differs:
  description: Set when I(state=verified) failed because the device differs from the file.
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
  sample: ["Verify FRU file R2208-board.fru with FRU inventory successful!"]
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
  description: The copy of the device from before this run, when VALDRN named it
    because the device may differ both from what it held and from the file.
  returned: when VALDRN printed one
  type: str
  sample: /var/lib/valdrn/backups/10.0.0.5-fru0-20261123T004718.724Z-4242.fru
restore_command:
  description: The shell command that puts I(saved_copy) back, runnable from any folder
    (the password is shown as C(...)).
  returned: when VALDRN printed one
  type: str
  sample: >-
    cd '/' && '/usr/sbin/VALDRN' -d 'var/lib/valdrn/backups/10.0.0.5-fru0-20261123T004718.724Z-4242.fru'
    fruID=0x00 -n lanplus -H 10.0.0.5 -U admin -P ... -C 3
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.valdrn.bmc.plugins.module_utils.valdrn import (
    CONNECTION_ARGUMENT_SPEC, CONNECTION_REQUIRED_IF, ensure_file_state)


def main():
    argument_spec = dict(
        src=dict(type='path', required=True),
        fru_id=dict(type='int', default=0),
        state=dict(type='str', default='present', choices=['present', 'verified']),
    )
    argument_spec.update(CONNECTION_ARGUMENT_SPEC)
    module = AnsibleModule(argument_spec=argument_spec, required_if=CONNECTION_REQUIRED_IF,
                           supports_check_mode=True)
    if not 0 <= module.params['fru_id'] <= 254:
        module.fail_json(msg='fru_id must be 0 to 254 (255 is reserved), not %d' % module.params['fru_id'])
    ensure_file_state(module, module.params['fru_id'])


if __name__ == '__main__':
    main()
