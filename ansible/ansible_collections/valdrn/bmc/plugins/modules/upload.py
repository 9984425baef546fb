#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: upload
short_description: Save a BMC's SDR repository or a FRU device as a VALDRN text file
version_added: 1.0.0
description:
  - Reads the SDR repository, or FRU device I(fru_id), with C(VALDRN -u) into a text
    file that VALDRN's C(-d) and C(-v) take back, for inventory sweeps.
  - VALDRN writes into a new file of the module's own; I(dest) is replaced (atomically)
    only when the content differs, so C(changed) says whether the BMC's data differs
    from the last sweep's. An existing I(dest) is never offered to VALDRN's overwrite
    question.
  - VALDRN ends a failed save of C(-u) with status 0; the module judges its result lines
    too, and fails the task then.
author:
  - The VALDRN Project (@valdrn)
extends_documentation_fragment:
  - valdrn.bmc.connection
  - ansible.builtin.files
options:
  dest:
    description:
      - The text file to write, on the host that runs VALDRN (the controller with
        I(interface=lanplus)). Its folder must exist.
    type: path
    required: true
  fru_id:
    description:
      - The FRU device to read. Without it, the SDR repository is read.
    type: int
  encoding:
    description:
      - The text file's encoding. C(utf8) and C(utf16) start with a byte-order mark.
      - A FRU device whose board or product area holds Unicode text cannot be saved
        as C(ascii).
    type: str
    choices: [ascii, utf8, utf16]
    default: ascii
attributes:
  check_mode:
    support: full
    description: Reads the BMC and reports whether I(dest) would change; writes nothing.
  diff_mode:
    support: none
    description: Returns no diff; C(runs) holds what VALDRN said.
'''

EXAMPLES = r'''
- name: Inventory sweep, one file per BMC and device
  valdrn.bmc.upload:
    fru_id: 0
    dest: "inventory/{{ inventory_hostname }}-fru0.txt"
    bmc_host: "{{ bmc_address }}"
    bmc_user: "{{ bmc_user }}"
    bmc_password: "{{ bmc_password }}"
  delegate_to: localhost

- name: The SDR repository of the server itself
  valdrn.bmc.upload:
    dest: /var/tmp/sdr.txt
    encoding: utf8
    interface: openipmi
  become: true
'''

RETURN = r'''
changed:
  description: Whether I(dest) was written (in check mode, whether it would be).
  returned: always
  type: bool
dest:
  description: The file written.
  returned: always
  type: str
size:
  description: Bytes in the text file VALDRN wrote.
  returned: success
  type: int
msg:
  description: What was done, or VALDRN's own message when the task failed.
  returned: always
  type: str
exit_status:
  description: Exit status of the VALDRN run.
  returned: when VALDRN ran
  type: int
stdout_lines:
  description: Standard output lines of the VALDRN run, without its banner.
  returned: when VALDRN ran
  type: list
  elements: str
stderr_lines:
  description: Standard error lines of the VALDRN run.
  returned: when VALDRN ran
  type: list
  elements: str
runs:
  description: The VALDRN run, as C(args) (password shown as C(********)), C(rc),
    C(stdout_lines) and C(stderr_lines).
  returned: always
  type: list
  elements: dict
'''

import os
import tempfile

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.valdrn.bmc.plugins.module_utils.valdrn import (
    CONNECTION_ARGUMENT_SPEC, CONNECTION_REQUIRED_IF, ENCODINGS, Valdrn)


def same_content(path, content):
    if not os.path.isfile(path):
        return False
    with open(path, 'rb') as existing:
        return existing.read() == content


def replace_file(module, valdrn, dest, content):
    """Writes CONTENT beside DEST, then moves it over DEST in one step."""
    handle, path = tempfile.mkstemp(prefix='.valdrn-', dir=os.path.dirname(dest) or '.')
    try:
        with os.fdopen(handle, 'wb') as new:
            new.write(content)
        module.atomic_move(path, dest)
    except (IOError, OSError) as error:
        if os.path.exists(path):
            os.remove(path)
        valdrn.fail('Cannot write %s: %s' % (dest, error))


def main():
    argument_spec = dict(
        dest=dict(type='path', required=True),
        fru_id=dict(type='int'),
        encoding=dict(type='str', default='ascii', choices=list(ENCODINGS)),
    )
    argument_spec.update(CONNECTION_ARGUMENT_SPEC)
    module = AnsibleModule(argument_spec=argument_spec, required_if=CONNECTION_REQUIRED_IF,
                           supports_check_mode=True, add_file_common_args=True)
    dest = os.path.abspath(module.params['dest'])
    fru_id = module.params['fru_id']
    if fru_id is not None and not 0 <= fru_id <= 254:
        module.fail_json(msg='fru_id must be 0 to 254 (255 is reserved), not %d' % fru_id)
    if not os.path.isdir(os.path.dirname(dest)):
        module.fail_json(msg='The folder of dest does not exist: %s' % dest)
    if os.path.isdir(dest):
        module.fail_json(msg='dest is a folder: %s' % dest)

    valdrn = Valdrn(module)
    content = valdrn.upload(fru_id, module.params['encoding'])
    changed = not same_content(dest, content)
    if changed and not module.check_mode:
        replace_file(module, valdrn, dest, content)
    file_args = module.load_file_common_arguments(module.params, path=dest)
    if os.path.exists(dest):
        changed = module.set_fs_attributes_if_different(file_args, changed)
    what = 'SDR repository' if fru_id is None else 'FRU device %d' % fru_id
    verb = ('would change' if module.check_mode else 'was written') if changed else 'holds it already'
    valdrn.exit(changed=changed, dest=dest, size=len(content), msg='The %s read: %s %s.' % (what, dest, verb))


if __name__ == '__main__':
    main()
