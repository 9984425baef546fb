#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

DOCUMENTATION = r'''
---
module: fru_field
short_description: Set one serial number, or the manufacturing date, in a BMC's FRU device
version_added: 1.0.0
description:
  - Runs C(VALDRN -updateFRU), which changes one field of FRU device I(fru_id) in place
    and its area's checksum, with the parameters it takes (I(offset), I(str_type),
    I(str_length), I(value)).
  - "Idempotent for the serial numbers: the module first reads the device as VALDRN's
    text file (C(VALDRN -u ... encoding=utf8)), finds the field there (chassis field 1,
    board field 2, product field 4, counted from 0 after the area's fixed bytes) and checks
    that its type/length byte stands at I(offset) - 1. When it does and the byte is the one
    the update would write (I(str_type) and I(str_length)) and the text is I(value) (blanks
    VALDRN pads with aside), nothing is written and C(changed) is false. After a write the
    device is read again and the task fails unless it holds I(value)."
  - When the field cannot be found that way (an image whose areas VALDRN's text does not lay
    out at their header offsets, or an I(offset) that is not the serial number's), the
    update always runs and reports C(changed).
  - I(field=mfg_datetime) sets the board's manufacturing date and time to now; it always
    changes.
  - The update reads back what it wrote and puts the field back when a write fails (see
    VALDRN's C(docs/safety.md)).
author:
  - The VALDRN Project (@valdrn)
extends_documentation_fragment:
  - valdrn.bmc.connection
options:
  field:
    description:
      - The field to set (VALDRN's C(fieldName) C(snBoard), C(snChassis), C(snProduct) or
        C(datetime)).
    type: str
    required: true
    choices: [board_serial, chassis_serial, product_serial, mfg_datetime]
  fru_id:
    description:
      - The FRU device ID, 0 to 254.
    type: int
    default: 0
  offset:
    description:
      - Offset in the device of the field's first data byte (for I(field=mfg_datetime),
        of the three date bytes, 3 bytes after the board area's start).
      - A number, or a text in Python's notation (C(0x58), C(88)).
    type: raw
    required: true
  str_type:
    description:
      - The field's type code, 1 BCD plus, 2 6-bit ASCII packed, 3 8-bit ASCII.
        Serial numbers only.
    type: int
    choices: [1, 2, 3]
    default: 3
  str_length:
    description:
      - The field's length in bytes, 0 to 63; it must be the length the device has now
        (VALDRN refuses another). Serial numbers only.
    type: int
  value:
    description:
      - The serial number, padded with blanks by VALDRN to I(str_length). At most 126
        characters, without blank, comma or tab. Serial numbers only.
    type: str
attributes:
  check_mode:
    support: full
    description: Reads the device and reports whether the field would change.
  diff_mode:
    support: none
    description: Returns no diff; C(runs) holds what VALDRN said.
'''

EXAMPLES = r'''
- name: Board serial number from the inventory
  valdrn.bmc.fru_field:
    field: board_serial
    fru_id: 0
    offset: 0x5a
    str_type: 3
    str_length: 12
    value: "{{ board_serial }}"
    bmc_host: "{{ bmc_address }}"
    bmc_user: "{{ bmc_user }}"
    bmc_password: "{{ bmc_password }}"
  delegate_to: localhost

- name: Manufacturing date set to now (always changes)
  valdrn.bmc.fru_field:
    field: mfg_datetime
    offset: 0x3b
    interface: openipmi
  become: true
'''

RETURN = r'''
changed:
  description: Whether the field was written (in check mode, whether it would be).
  returned: always
  type: bool
known:
  description: Whether the current value could be told before writing.
  returned: always
  type: bool
msg:
  description: What was done, or VALDRN's own message when the task failed.
  returned: always
  type: str
exit_status:
  description: Exit status of the last VALDRN run.
  returned: when VALDRN ran
  type: int
stdout_lines:
  description: Standard output lines of the last VALDRN run, without its banner.
  returned: when VALDRN ran
  type: list
  elements: str
stderr_lines:
  description: Standard error lines of the last VALDRN run.
  returned: when VALDRN ran
  type: list
  elements: str
runs:
  description: Every VALDRN run of the task, as C(args) (password shown as C(********)),
    C(rc), C(stdout_lines) and C(stderr_lines).
  returned: always
  type: list
  elements: dict
saved_copy:
  description: The copy of the device from before this run, when VALDRN named it because
    the field could not be put back.
  returned: when VALDRN printed one
  type: str
restore_command:
  description: The shell command that puts I(saved_copy) back, runnable from any folder
    (the password is shown as C(...)).
  returned: when VALDRN printed one
  type: str
'''

from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.common.text.converters import to_text
from ansible_collections.valdrn.bmc.plugins.module_utils.valdrn import (
    CONNECTION_ARGUMENT_SPEC, CONNECTION_REQUIRED_IF, Valdrn)
from ansible_collections.valdrn.bmc.plugins.module_utils.fru_text import (
    SERIAL_FIELD, find_field, holds_value)

# Module field -> VALDRN's fieldName and the area tag of its text file.
FIELDS = {
    'board_serial': ('snBoard', '_SEE_BOARD'),
    'chassis_serial': ('snChassis', '_SEE_CHASSIS'),
    'product_serial': ('snProduct', '_SEE_PRODUCT'),
    'mfg_datetime': ('datetime', None),
}


def update_parameters(params):
    """-updateFRU's name=value words; numbers in hexadecimal."""
    field_name, area = FIELDS[params['field']]
    words = ['fieldName=' + field_name, 'fruID=%X' % params['fru_id'], 'offset=%X' % params['offset']]
    if area:
        words += ['strType=%X' % params['str_type'], 'strLength=%X' % params['str_length'],
                  'strValue=' + params['value']]
    return words


def check_parameters(module):
    p = module.params
    try:
        p['offset'] = int(p['offset'], 0) if isinstance(p['offset'], str) else int(p['offset'])
    except (TypeError, ValueError):
        module.fail_json(msg='offset must be a number, not %s' % p['offset'])
    if not 0 <= p['fru_id'] <= 254:
        module.fail_json(msg='fru_id must be 0 to 254 (255 is reserved), not %d' % p['fru_id'])
    if not 1 <= p['offset'] <= 0xFFFF:
        module.fail_json(msg='offset must be 1 to 0xFFFF, not %d' % p['offset'])
    if p['field'] == 'mfg_datetime':
        return
    if p['str_length'] is None or p['value'] is None:
        module.fail_json(msg='field %s needs str_length and value' % p['field'])
    if not 0 <= p['str_length'] <= 63:
        module.fail_json(msg='str_length must be 0 to 63, not %d' % p['str_length'])
    value = p['value']
    if not 0 < len(value) <= 126 or any(c in value for c in (' ', ',', '\t')):
        module.fail_json(msg='value must be 1 to 126 characters without blank, comma or tab: '
                         'VALDRN would cut it there')


def current_field(valdrn, params):
    text = to_text(valdrn.upload(params['fru_id'], 'utf8'), errors='surrogate_or_strict')
    area = FIELDS[params['field']][1]
    field = find_field(text, area, SERIAL_FIELD[area])
    if field is None or field.position != params['offset'] - 1:
        return None
    return field


def main():
    argument_spec = dict(
        field=dict(type='str', required=True, choices=list(FIELDS)),
        fru_id=dict(type='int', default=0),
        offset=dict(type='raw', required=True),
        str_type=dict(type='int', default=3, choices=[1, 2, 3]),
        str_length=dict(type='int'),
        value=dict(type='str'),
    )
    argument_spec.update(CONNECTION_ARGUMENT_SPEC)
    module = AnsibleModule(argument_spec=argument_spec, required_if=CONNECTION_REQUIRED_IF,
                           supports_check_mode=True)
    check_parameters(module)
    p = module.params
    valdrn = Valdrn(module)
    field = None
    if p['field'] != 'mfg_datetime':
        field = current_field(valdrn, p)
        type_length = (p['str_type'] << 6) | p['str_length']
        if field is not None and holds_value(field, type_length, p['value']):
            valdrn.exit(changed=False, known=True, msg='FRU device %d holds %s %s already.'
                        % (p['fru_id'], p['field'], p['value']))
    if module.check_mode:
        valdrn.exit(changed=True, known=field is not None,
                    msg='FRU device %d: %s would be written.' % (p['fru_id'], p['field']))
    valdrn.update_field(update_parameters(p))
    if field is not None:
        # The device is read again: what it holds now is the result.
        written = current_field(valdrn, p)
        if written is None or not holds_value(written, type_length, p['value']):
            valdrn.fail('FRU device %d does not hold %s %s after the update.'
                        % (p['fru_id'], p['field'], p['value']), changed=True, known=True)
    valdrn.exit(changed=True, known=field is not None,
                msg='FRU device %d: %s was written.' % (p['fru_id'], p['field']))


if __name__ == '__main__':
    main()
