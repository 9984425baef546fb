# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)
"""Finds one field of the chassis, board or product area in a FRU text
file as VALDRN's -u writes it, so that a field update can tell whether
the device already holds the value.

VALDRN's text file has every byte of the image in order: a byte line
("%02X"), or, for the data of a text field, one quoted line standing
for as many bytes as the field's type/length byte says. Nothing is
decoded here that VALDRN has not decoded: the quoted text is VALDRN's.
"""

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import re

# Area tag, its byte in the common header (offset in units of 8 bytes),
# and the bytes before its first field.
AREAS = {
    '_SEE_CHASSIS': (2, 3),
    '_SEE_BOARD': (3, 6),
    '_SEE_PRODUCT': (4, 3),
}
# The serial number's field number in each area (manufacturer = 0, ...).
SERIAL_FIELD = {'_SEE_CHASSIS': 1, '_SEE_BOARD': 2, '_SEE_PRODUCT': 4}

_BYTE_LINE = re.compile(r'^[0-9A-F]{2}$')
_END_OF_FIELDS = 0xC1


class FruField(object):
    def __init__(self, position, type_length, text):
        self.position = position        # offset of its type/length byte
        self.type_length = type_length
        self.text = text                 # VALDRN's text of its data


class _Walk(object):
    """The image position of every line, and the fields met on the way."""

    def __init__(self):
        self.position = 0
        self.area = None
        self.area_start = {}
        self.leading = 0
        self.field = -1
        self.ended = False
        self.last = None
        self.fields = {}

    def tag(self, line):
        self.area = line
        self.area_start[line] = self.position
        self.leading = AREAS[line][1] if line in AREAS else 0
        self.field = -1
        self.ended = False
        self.last = None

    def byte(self, value):
        if self.area in AREAS and not self.ended:
            if self.leading:
                self.leading -= 1
            elif value == _END_OF_FIELDS:
                self.ended = True
            else:
                self.field += 1
                self.last = FruField(self.position, value, '')
                self.fields[(self.area, self.field)] = self.last
        self.position += 1

    def quoted(self, text):
        if self.last is None:
            return False
        self.last.text = text
        self.position += self.last.type_length & 0x3F
        self.last = None
        return True


def find_field(text, area, field_number):
    """The field FIELD_NUMBER of AREA in VALDRN's FRU text, or None when the
    text cannot be followed that far (then nobody can tell the value)."""
    lines = text.lstrip(u'\ufeff').splitlines()
    if not lines or lines[0].strip() != '_FRU (':
        return None
    walk = _Walk()
    header = []
    for line in lines[1:]:
        if line == ')' or line == '_SEE_MULTIRECORD':
            break
        if line in AREAS or line in ('_SEE_COMMON', '_SEE_INTERNAL'):
            walk.tag(line)
        elif _BYTE_LINE.match(line):
            if len(header) < 8:
                header.append(int(line, 16))
            walk.byte(int(line, 16))
        elif len(line) >= 2 and line[0] == "'" and line[-1] == "'":
            if walk.area not in AREAS or not walk.quoted(line[1:-1]):
                return None
        else:
            return None
    if area not in walk.area_start or len(header) < 8:
        return None
    # The text lays the areas back to back; only where that matches the
    # common header do its positions name the device's offsets.
    for tag, (header_byte, dummy) in AREAS.items():
        if tag in walk.area_start and walk.area_start[tag] != header[header_byte] * 8:
            return None
    return walk.fields.get((area, field_number))


def holds_value(field, type_length, value):
    """Whether FIELD already holds what an update would write: the same
    type/length byte, and text that differs at most by the blanks VALDRN
    pads a value with."""
    return field.type_length == type_length and field.text.rstrip(' ') == value.rstrip(' ')
