# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import unittest

import os
import shutil
import tempfile

from ansible_collections.valdrn.bmc.plugins.module_utils.valdrn import (
    CONNECTION_ARGUMENT_SPEC, Run, Valdrn, fru_id_argument, output_lines, quote_for_shell, read_result, restore_advice,
    takes_as_file_name, takes_as_lan_text)

BANNER = ('-' * 79 + '\n                          Valdrin Utility\n'
          '        Copyright (C) 2026 The VALDRN Project. IPMI SDR and FRU tool.\n' + '-' * 79 + '\n')


class ArgumentTest(unittest.TestCase):

    def test_a_file_name_is_taken_whole_up_to_255_characters_without_blank_comma_or_tab(self):
        self.assertTrue(takes_as_file_name('tmp/fleet/sdr-a.sdr'))
        self.assertTrue(takes_as_file_name('../x.sdr'))
        self.assertTrue(takes_as_file_name('a' * 255))
        self.assertFalse(takes_as_file_name('a' * 256))
        self.assertFalse(takes_as_file_name(''))
        for name in ('my file.sdr', 'a,b.sdr', 'a\tb.sdr', '/tmp/a.sdr', '-d.sdr'):
            self.assertFalse(takes_as_file_name(name), name)

    def test_lan_texts_hold_1_to_39_characters_without_blank_comma_or_tab(self):
        self.assertTrue(takes_as_lan_text("p'a\"s$(x)`y`;&|<"))
        self.assertTrue(takes_as_lan_text('u' * 39))
        self.assertFalse(takes_as_lan_text('u' * 40))
        self.assertFalse(takes_as_lan_text(''))
        for text in ('pass word', 'pass,word', 'pass\tword'):
            self.assertFalse(takes_as_lan_text(text), text)

    def test_fru_ids_are_given_in_hexadecimal(self):
        self.assertEqual(fru_id_argument(0), 'fruID=0x00')
        self.assertEqual(fru_id_argument(254), 'fruID=0xFE')

    def test_shell_quoting_keeps_every_character(self):
        self.assertEqual(quote_for_shell('/srv/ipmi'), "'/srv/ipmi'")
        self.assertEqual(quote_for_shell("it's"), "'it'\\''s'")


class OutputTest(unittest.TestCase):

    def test_the_banner_and_blank_lines_are_left_out(self):
        self.assertEqual(output_lines(BANNER + 'Start to download FRU data! \n\nDownload FRU data successful. \n\n'),
                         ['Start to download FRU data!', 'Download FRU data successful.'])

    def test_a_run_is_judged_by_its_result_document_not_its_lines(self):
        run = Run([], 0, BANNER + 'Download FRU data successful. \n', '',
                  dict(format='valdrn-result', outcome='failure', comparison=None))
        self.assertEqual(run.outcome(), 'failure')
        self.assertIsNone(run.comparison())
        self.assertIsNone(Run([], 0, BANNER, '').outcome())

    def test_only_a_result_document_is_read_as_one(self):
        folder = tempfile.mkdtemp()
        try:
            path = os.path.join(folder, 'result.json')
            self.assertIsNone(read_result(path))
            for text, expected in (('{"format": "valdrn-result", "outcome": "success"}', 'success'),
                                   ('{"outcome": "success"}', None), ('[1]', None), ('{"format": ', None),
                                   (b'\xff', None)):
                with open(path, 'wb') as document:
                    document.write(text if isinstance(text, bytes) else text.encode('utf-8'))
                result = read_result(path)
                self.assertEqual(result and result['outcome'], expected)
        finally:
            shutil.rmtree(folder)

    def test_the_message_is_the_error_lines_else_the_last_line(self):
        failed = Run([], 1, BANNER, '\nGet Device ID failed. Please check LAN+ configuration.\n\n')
        self.assertEqual(failed.message(), 'Get Device ID failed. Please check LAN+ configuration.')
        quiet = Run([], 0, BANNER + 'one\ntwo\n', '')
        self.assertEqual(quiet.message(), 'two')
        silent = Run([], 1, BANNER, '')
        self.assertEqual(silent.message(), 'VALDRN ended with status 1 and said nothing')


def advice(copy, command):
    return dict(format='valdrn-result', saved_copy=copy, restore_command=command)


class RestoreAdviceTest(unittest.TestCase):

    def test_a_relative_copy_comes_back_absolute_and_the_command_goes_to_the_folder_first(self):
        copy, command = restore_advice(advice(
            'var/lib/valdrn/backups/10.0.0.5-fru0-x.fru',
            "'/usr/sbin/VALDRN' -d 'var/lib/valdrn/backups/10.0.0.5-fru0-x.fru' fruID=0x00 -n lanplus -P ... -C 3",
        ), '/')
        self.assertEqual(copy, '/var/lib/valdrn/backups/10.0.0.5-fru0-x.fru')
        self.assertEqual(command, "cd '/' && '/usr/sbin/VALDRN' -d 'var/lib/valdrn/backups/10.0.0.5-fru0-x.fru' "
                                  "fruID=0x00 -n lanplus -P ... -C 3")

    def test_a_command_that_copies_intf_ini_runs_in_the_folder_too(self):
        copy, command = restore_advice(advice(
            '/srv/ipmi copies/local-sdr-x.sdr',
            "cp intf.ini '/srv/ipmi copies'/ && cd '/srv/ipmi copies' && VALDRN -d local-sdr-x.sdr -msgintf kcsio",
        ), "/srv/it's")
        self.assertEqual(copy, '/srv/ipmi copies/local-sdr-x.sdr')
        self.assertTrue(command.startswith("cd '/srv/it'\\''s' && cp intf.ini "))

    def test_a_command_that_goes_to_its_folder_is_kept(self):
        line = "cd '/srv/ipmi copies' && VALDRN -d local-sdr-x.sdr"
        self.assertEqual(restore_advice(advice('/srv/ipmi copies/local-sdr-x.sdr', line), '/')[1], line)

    def test_no_advice_or_advice_without_its_command_is_none(self):
        self.assertEqual(restore_advice(None, '/'), (None, None))
        self.assertEqual(restore_advice(advice(None, None), '/'), (None, None))
        self.assertEqual(restore_advice(advice('a.sdr', None), '/'), (None, None))


class Refused(Exception):
    pass


class FakeModule(object):
    """What Valdrn uses of AnsibleModule."""

    def __init__(self, **params):
        self.params = dict((name, spec.get('default')) for name, spec in CONNECTION_ARGUMENT_SPEC.items())
        self.params.update(params)

    def fail_json(self, **result):
        raise Refused(result['msg'])

    def get_bin_path(self, name, required=False, opt_dirs=None):
        return '/usr/sbin/' + name


LAN = dict(bmc_host='10.0.0.5', bmc_user='admin', bmc_password="p'w;$x")


def lan(**changes):
    params = dict(LAN)
    params.update(changes)
    return params


class ConnectionTest(unittest.TestCase):

    def test_lanplus_gives_the_five_options(self):
        valdrn = Valdrn(FakeModule(**LAN))
        self.assertEqual(valdrn.connection_args(),
                         ['-n', 'lanplus', '-H', '10.0.0.5', '-U', 'admin', '-P', "p'w;$x", '-C', '3'])
        self.assertEqual(valdrn.program, '/usr/sbin/VALDRN')

    def test_lan_session_reaches_valdrn_in_its_environment(self):
        for params, expected in ((LAN, 'run'), (lan(lan_session='request'), 'request')):
            module = FakeModule(**params)
            seen = {}

            def run_command(args, cwd=None, environ_update=None, data=None):
                seen.update(environ_update)
                return 0, '', ''
            module.run_command = run_command
            valdrn = Valdrn(module)
            valdrn.run(['-v', 'a.sdr'])
            self.assertEqual(seen.get('VALDRN_LAN_SESSION'), expected)
            # Each run's result document in a folder of the module's own.
            self.assertTrue(seen.get('VALDRN_RESULT', '').endswith('/result-0.json'))
            valdrn.cleanup()

    def test_in_band_interfaces_are_named_with_msgintf(self):
        for interface in ('openipmi', 'kcsio'):
            self.assertEqual(Valdrn(FakeModule(interface=interface)).connection_args(), ['-msgintf', interface])

    def test_the_password_is_never_shown_in_the_arguments(self):
        valdrn = Valdrn(FakeModule(**LAN))
        shown = valdrn._shown(['/usr/sbin/VALDRN', '-v', 'a.sdr'] + valdrn.connection_args())
        self.assertNotIn("p'w;$x", shown)
        self.assertIn('********', shown)

    def test_values_valdrn_would_cut_or_refuse_are_refused_first(self):
        for params in (lan(bmc_password='two words'), lan(bmc_user='a,b'), lan(bmc_password='x' * 40),
                       lan(bmc_host='bmc.example.com'), lan(cipher_suite=20), lan(chdir='/nonexistent/folder')):
            self.assertRaises(Refused, Valdrn, FakeModule(**params))

    def test_a_password_refused_is_not_repeated_in_the_message(self):
        with self.assertRaises(Refused) as refused:
            Valdrn(FakeModule(**lan(bmc_password='sec ret')))
        self.assertIn('bmc_password', str(refused.exception))
        self.assertNotIn('sec', str(refused.exception))

    def test_a_file_valdrn_takes_from_chdir_is_named_relative_to_it(self):
        valdrn = Valdrn(FakeModule(**LAN))
        self.assertEqual(valdrn.file_argument('/srv/ipmi/r200.sdr'), 'srv/ipmi/r200.sdr')

    def test_a_file_valdrn_cannot_take_is_given_as_a_copy(self):
        folder = tempfile.mkdtemp()
        path = os.path.join(folder, 'rack 12, r200.sdr')
        with open(path, 'w') as sdr:
            sdr.write('_SDR (\n)\n')
        valdrn = Valdrn(FakeModule(**LAN))
        try:
            name = valdrn.file_argument(path)
            self.assertNotIn(' ', name)
            self.assertTrue(name.endswith('input.sdr'))
            with open(os.path.join('/', name)) as copy:
                self.assertEqual(copy.read(), '_SDR (\n)\n')
        finally:
            valdrn.cleanup()
            os.remove(path)
            os.rmdir(folder)


if __name__ == '__main__':
    unittest.main()
