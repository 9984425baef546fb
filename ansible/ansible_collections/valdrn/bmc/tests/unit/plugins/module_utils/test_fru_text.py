# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import unittest

from ansible_collections.valdrn.bmc.plugins.module_utils.fru_text import (
    SERIAL_FIELD, find_field, holds_value)

# VALDRN -u of examples/ServerBoard.fru.bin, encoding=utf8 (byte-order mark
# included): chassis area at 8, board at 48, product at 120.
SERVER_BOARD = u'\ufeff' + u'\n'.join([
    "_FRU (", "_SEE_COMMON", "01", "00", "01", "06", "0F", "19", "00", "D0",
    "_SEE_CHASSIS", "01", "05", "17", "CB", "'CHS-R200-01'", "CC", "'CSN20261121A'", "C7", "'Rack 2U'",
    "C1", "00", "00", "6B",
    "_SEE_BOARD", "01", "09", "19", "F0", "B1", "C2", "CF", "'Valdrin Systems'", "D0", "'X99 Server Board'",
    "CA", "'BSN0001234'", "C7", "'PN-77-A'", "C8", "'FRU v1.0'", "C1", "00", "00", "00", "7A",
    "_SEE_PRODUCT", "01", "0A", "19", "CF", "'Valdrin Systems'", "CC", "'Valdrin R200'", "C6", "'R200-8'",
    "C3", "'A01'", "C9", "'PSN998877'", "C8", "'ASSET-42'", "C8", "'FRU v1.0'", "C1", "00", "00", "00", "00",
    "00", "00", "00", "91",
    "_SEE_MULTIRECORD", "00", "82", "18", "48", "1E", "EE", "02", "20", "03", "32", "05", "30", "2A", "A0",
    "32", "60", "54", "80", "5D", "2F", "3F", "14", "19", "52", "03", "00", "00", "00", "C1",
    ")", ""])


def serial(text, area):
    return find_field(text, area, SERIAL_FIELD[area])


class FindFieldTest(unittest.TestCase):

    def test_each_serial_number_is_found_at_its_type_length_byte(self):
        board = serial(SERVER_BOARD, '_SEE_BOARD')
        self.assertEqual((board.position, board.type_length, board.text), (0x57, 0xCA, 'BSN0001234'))
        chassis = serial(SERVER_BOARD, '_SEE_CHASSIS')
        self.assertEqual((chassis.position, chassis.type_length, chassis.text), (23, 0xCC, 'CSN20261121A'))
        product = serial(SERVER_BOARD, '_SEE_PRODUCT')
        self.assertEqual((product.position, product.type_length, product.text), (163, 0xC9, 'PSN998877'))

    def test_other_fields_are_counted_from_zero_after_the_fixed_bytes(self):
        self.assertEqual(find_field(SERVER_BOARD, '_SEE_BOARD', 0).text, 'Valdrin Systems')
        self.assertEqual(find_field(SERVER_BOARD, '_SEE_PRODUCT', 6).text, 'FRU v1.0')
        self.assertIsNone(find_field(SERVER_BOARD, '_SEE_PRODUCT', 7))

    def test_a_text_without_byte_order_mark_is_read_alike(self):
        self.assertEqual(serial(SERVER_BOARD.lstrip(u'\ufeff'), '_SEE_BOARD').position, 0x57)

    def test_an_empty_field_has_no_quoted_line_and_still_counts(self):
        # The 11 bytes of the part number become padding of the area.
        text = SERVER_BOARD.replace("CB\n'CHS-R200-01'\nCC", "C0\nCC").replace(
            "C1\n00\n00\n6B", "C1\n" + "00\n" * 13 + "6B")
        chassis = serial(text, '_SEE_CHASSIS')
        self.assertEqual((chassis.position, chassis.text), (12, 'CSN20261121A'))

    def test_areas_the_text_does_not_lay_out_at_their_header_offsets_tell_nothing(self):
        # Board area said to start at 56, where the text has it at 48.
        text = SERVER_BOARD.replace("01\n00\n01\n06\n0F", "01\n00\n01\n07\n0F", 1)
        self.assertIsNone(serial(text, '_SEE_BOARD'))

    def test_an_area_the_image_lacks_tells_nothing(self):
        text = SERVER_BOARD.replace("_SEE_CHASSIS", "_SEE_INTERNAL")
        self.assertIsNone(serial(text, '_SEE_CHASSIS'))

    def test_what_is_no_fru_text_tells_nothing(self):
        self.assertIsNone(serial('', '_SEE_BOARD'))
        self.assertIsNone(serial('_SDR (\n)\n', '_SEE_BOARD'))
        self.assertIsNone(serial(SERVER_BOARD.replace("'BSN0001234'", "BSN0001234"), '_SEE_BOARD'))
        self.assertIsNone(serial(SERVER_BOARD.replace("\n01\n09\n", "\n01\n9\n"), '_SEE_BOARD'))

    def test_a_quoted_line_that_holds_quotes_keeps_them(self):
        text = SERVER_BOARD.replace("'BSN0001234'", "'BSN'00'1234'")
        self.assertEqual(serial(text, '_SEE_BOARD').text, "BSN'00'1234")


class HoldsValueTest(unittest.TestCase):

    def setUp(self):
        self.board = serial(SERVER_BOARD, '_SEE_BOARD')

    def test_the_same_type_length_and_text_is_held(self):
        self.assertTrue(holds_value(self.board, 0xCA, 'BSN0001234'))

    def test_blanks_that_pad_a_value_make_no_difference(self):
        padded = serial(SERVER_BOARD.replace("'BSN0001234'", "'BSN7      '"), '_SEE_BOARD')
        self.assertTrue(holds_value(padded, 0xCA, 'BSN7'))
        self.assertFalse(holds_value(padded, 0xCA, 'BSN8'))

    def test_another_type_or_length_is_not_held(self):
        self.assertFalse(holds_value(self.board, 0x8A, 'BSN0001234'))
        self.assertFalse(holds_value(self.board, 0xCB, 'BSN0001234'))

    def test_another_text_is_not_held(self):
        self.assertFalse(holds_value(self.board, 0xCA, 'BSN0001235'))
        self.assertFalse(holds_value(self.board, 0xCA, 'bsn0001234'))


if __name__ == '__main__':
    unittest.main()
