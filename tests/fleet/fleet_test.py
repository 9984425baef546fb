#!/usr/bin/python3
"""The Ansible collection valdrn.bmc against a fleet of 20 test BMCs, each
on a loopback address of its own, with forks 10: the example playbook
(ansible/examples/site.yml) as an operator runs it, then each module on
one BMC.

Environment: VALDRN_BUILD (the build folder: VALDRN, tests/test_bmc_ctl).
The test methods run in the order of their names; each builds on the
state the ones before left.
"""

import concurrent.futures
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = os.path.realpath(os.path.join(os.path.dirname(__file__), '..', '..'))
BUILD = os.path.realpath(os.environ.get('VALDRN_BUILD', os.path.join(SOURCE, 'build')))
VALDRN = os.path.join(BUILD, 'VALDRN')
EXAMPLES = os.path.join(SOURCE, 'ansible', 'examples')
FLEET_SIZE = 20
FORKS = 10
# A FRU image of 64 bytes, the FRU device's size: a common header and a
# board area. Small, so that the many FRU reads of a fleet run stay short.
FRU_SIZE = 64
# Its board serial number: 8-bit ASCII, 10 bytes, the first at 0x18.
BOARD_SERIAL = {'field': 'board_serial', 'offset': '0x18', 'str_type': 3, 'str_length': 10}
# Shell characters in both; at most 16 characters, what IPMI user names
# and this BMC's passwords hold; no blank or comma, which VALDRN ends a
# value at.
ODD_USER = "o'd$d;u|s"
ODD_PASSWORD = "p'a\"s$(x)`y`;&|<>"[:16]


def with_checksum(area):
    return area + bytes([-sum(area) & 0xFF])


def small_fru_image():
    header = with_checksum(bytes([0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00]))
    fields = b'\xc4ACME' + b'\xc3SRV' + b'\xcaBSN0001234' + b'\xc4P-01' + b'\xc0' + b'\xc1'
    board = bytes([0x01, 0x07, 0x19, 0x00, 0x00, 0x00]) + fields
    board = with_checksum(board + bytes(7 * 8 - 1 - len(board)))
    return header + board


def run(args, **kwargs):
    return subprocess.run(args, capture_output=True, text=True, **kwargs)


class Fleet(unittest.TestCase):
    folder = None
    hosts = {}

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix='valdrn-fleet-')
        started = run(['bash', os.path.join(SOURCE, 'tools', 'test-bmcs.sh'), 'start', str(FLEET_SIZE),
                       cls.folder, BUILD], env=dict(os.environ, FRU_SIZE=str(FRU_SIZE)))
        if started.returncode != 0:
            raise RuntimeError('the test BMCs did not start: ' + started.stderr)
        cls.inventory = os.path.join(cls.folder, 'inventory.yml')
        cls.hosts = cls.read_addresses()
        cls.sdr_a = cls.sdr_set('sdr-a.sdr', {})
        cls.sdr_b = cls.sdr_set('sdr-b.sdr', {"'Inlet Temp'": "'Inlet Tmp2'"})
        cls.fru = os.path.join(cls.folder, 'board.fru.bin')
        with open(cls.fru, 'wb') as image:
            image.write(small_fru_image())
        tested = run([VALDRN, '-t', 'board.fru.bin', 'fruID=0'], cwd=cls.folder)
        if tested.returncode != 0:
            raise RuntimeError('board.fru.bin is no good FRU file: ' + tested.stdout + tested.stderr)

    @classmethod
    def tearDownClass(cls):
        run(['bash', os.path.join(SOURCE, 'tools', 'test-bmcs.sh'), 'stop', cls.folder, BUILD])
        shutil.rmtree(cls.folder, ignore_errors=True)

    @classmethod
    def read_addresses(cls):
        hosts = {}
        for name in sorted(os.listdir(cls.folder)):
            path = os.path.join(cls.folder, name, 'address')
            if name.startswith('bmc') and os.path.isfile(path):
                with open(path) as address:
                    hosts[name] = address.read().strip()
        if len(hosts) != FLEET_SIZE:
            raise RuntimeError('%d test BMCs, not %d' % (len(hosts), FLEET_SIZE))
        return hosts

    @classmethod
    def sdr_set(cls, name, replacements):
        """The first three records of the sample SDR file, with the
        replacements made: two SDR sets that differ in one sensor name."""
        with open(os.path.join(SOURCE, 'examples', 'ToBMC.sdr')) as sample:
            lines = sample.read().splitlines()[:31]
        text = '\n'.join(lines + [')', ''])
        for old, new in replacements.items():
            text = text.replace(old, new)
        path = os.path.join(cls.folder, name)
        with open(path, 'w') as sdr:
            sdr.write(text)
        tested = run([VALDRN, '-t', name], cwd=cls.folder)
        if tested.returncode != 0:
            raise RuntimeError('%s is no good SDR file: %s' % (name, tested.stdout + tested.stderr))
        return path

    def setUp(self):
        self.started = time.time()

    def tearDown(self):
        sys.stderr.write('[%.0f s] ' % (time.time() - self.started))

    # ----- helpers

    def lan(self, host, user='admin', password='secret'):
        return ['-n', 'lanplus', '-H', self.hosts[host], '-U', user, '-P', password, '-C', '3']

    def valdrn(self, host, args):
        """VALDRN itself, files named from the fleet folder."""
        return run([VALDRN] + args + self.lan(host), cwd=self.folder,
                   env=dict(os.environ, VALDRN_BACKUP_DIR=os.path.join(self.folder, 'backups')))

    def named(self, path):
        """PATH as VALDRN takes it from the fleet folder."""
        return os.path.relpath(path, self.folder)

    def holds(self, host, args):
        return self.valdrn(host, ['-v'] + args).returncode == 0

    def ipmitool(self, host, args):
        result = run(['ipmitool', '-I', 'lanplus', '-H', self.hosts[host], '-U', 'admin', '-P', 'secret',
                      '-C', '3'] + args)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result

    def knob(self, host, setting):
        self.ipmitool(host, ['raw', '0x30', '0x01'] + ['0x%02x' % ord(c) for c in setting])

    def playbook(self, *args):
        """ansible-playbook on the example, with Ansible's JSON report."""
        env = dict(os.environ, ANSIBLE_CONFIG=os.path.join(EXAMPLES, 'ansible.cfg'),
                   ANSIBLE_STDOUT_CALLBACK='json')
        result = run(['ansible-playbook', '-i', self.inventory, '--forks', str(FORKS),
                      os.path.join(EXAMPLES, 'site.yml')] + list(args), cwd=EXAMPLES, env=env)
        try:
            report = json.loads(result.stdout)
        except ValueError:
            self.fail('no JSON report from ansible-playbook: %s %s' % (result.stdout[-2000:], result.stderr[-2000:]))
        return result, report

    def task_results(self, report, task_name):
        """{host: result} of the task of that name (the first such)."""
        for play in report['plays']:
            for task in play['tasks']:
                if task['task']['name'] == task_name:
                    return task['hosts']
        self.fail('no task %r in the report' % task_name)

    def failures(self, report):
        """{host: message} of every failed task, for assertion messages."""
        failed = {}
        for play in report['plays']:
            for task in play['tasks']:
                for host, result in task['hosts'].items():
                    if result.get('failed') or result.get('unreachable'):
                        # The runs too: a run's status and lines tell more than its message.
                        failed[host] = '%s: %s %s' % (task['task']['name'], result.get('msg'), result.get('runs'))
        return failed

    def changed_hosts(self, report, task_name):
        return sorted(h for h, r in self.task_results(report, task_name).items() if r.get('changed'))

    def module(self, host, module, arguments, check=False):
        """One module on one BMC, as an ad-hoc command; its result."""
        env = dict(os.environ, ANSIBLE_CONFIG=os.path.join(EXAMPLES, 'ansible.cfg'),
                   ANSIBLE_STDOUT_CALLBACK='json', ANSIBLE_LOAD_CALLBACK_PLUGINS='1')
        arguments = dict(arguments, bmc_host=self.hosts[host], bmc_user='admin', bmc_password='secret',
                         valdrn_path=VALDRN, backup_dir=os.path.join(self.folder, 'backups'))
        result = run(['ansible', host, '-i', self.inventory, '-m', 'valdrn.bmc.' + module,
                      '-a', json.dumps(arguments)] + (['--check'] if check else []), cwd=EXAMPLES, env=env)
        try:
            return json.loads(result.stdout)['plays'][0]['tasks'][0]['hosts'][host]
        except (ValueError, KeyError, IndexError):
            self.fail('no result from ansible: %s %s' % (result.stdout[-2000:], result.stderr[-2000:]))

    def files(self, sdr):
        return ['-e', 'sdr_file=' + sdr, '-e', 'fru_file=' + self.fru]

    def each_bmc(self, function, hosts):
        with concurrent.futures.ThreadPoolExecutor(max_workers=4) as pool:
            return dict(zip(hosts, pool.map(function, hosts)))

    # ----- the fleet

    def test_1_a_first_run_writes_every_bmc(self):
        result, report = self.playbook('--tags', 'push', *self.files(self.sdr_a))
        failures = self.failures(report)
        self.assertEqual(result.returncode, 0, failures)
        self.assertEqual(self.changed_hosts(report, 'The SDR repository holds the SDR set'), sorted(self.hosts),
                         failures)
        self.assertEqual(self.changed_hosts(report, 'The FRU device holds the FRU image'), sorted(self.hosts),
                         failures)
        for host, stats in report['stats'].items():
            self.assertEqual((stats['changed'], stats['failures'], stats['ok']), (2, 0, 2), host)
        # Independently of the module: VALDRN verifies every BMC.
        held = self.each_bmc(lambda h: self.holds(h, ['sdr-a.sdr']) and self.holds(h, ['board.fru.bin', 'fruID=0']),
                             sorted(self.hosts))
        self.assertEqual([h for h, ok in held.items() if not ok], [])

    def test_2_a_second_run_changes_nothing_and_the_sweep_finds_every_bmc_right(self):
        result, report = self.playbook(*self.files(self.sdr_a))
        self.assertEqual(result.returncode, 0, self.failures(report))
        for task in ('The SDR repository is the SDR set', 'The FRU device is the FRU image'):
            self.assertEqual(sorted(self.task_results(report, task)), sorted(self.hosts))
        for host, stats in report['stats'].items():
            self.assertEqual((stats['changed'], stats['failures'], stats['ok']), (0, 0, 4), host)
        # Only verifications ran: no VALDRN -d in any result.
        for play in report['plays']:
            for task in play['tasks']:
                for host, result in task['hosts'].items():
                    self.assertEqual([r['args'][1] for r in result['runs']], ['-v'], host)

    def test_3_check_mode_reports_the_one_bmc_changed_behind_its_back_and_writes_nothing(self):
        self.assertEqual(self.valdrn('bmc07', ['-d', 'sdr-b.sdr']).returncode, 0)
        result, report = self.playbook('--check', '--tags', 'push', *self.files(self.sdr_a))
        self.assertEqual(result.returncode, 0, self.failures(report))
        self.assertEqual(self.changed_hosts(report, 'The SDR repository holds the SDR set'), ['bmc07'])
        self.assertEqual(self.changed_hosts(report, 'The FRU device holds the FRU image'), [])
        self.assertEqual(sum(stats['changed'] for stats in report['stats'].values()), 1)
        self.assertIn('would be written', self.task_results(report, 'The SDR repository holds the SDR set')
                      ['bmc07']['msg'])
        self.assertTrue(self.holds('bmc07', ['sdr-b.sdr']))

    def test_4_a_stopped_bmc_fails_with_valdrns_message_and_the_others_are_written(self):
        stopped = os.path.join(self.folder, 'bmc13')
        self.assertEqual(run([os.path.join(BUILD, 'tests', 'test_bmc_ctl'), 'stop', stopped]).returncode, 0)
        try:
            result, report = self.playbook('--tags', 'push', *self.files(self.sdr_b))
        finally:
            run([os.path.join(BUILD, 'tests', 'test_bmc_ctl'), 'restart', stopped])
        self.assertNotEqual(result.returncode, 0)
        sdr = self.task_results(report, 'The SDR repository holds the SDR set')
        self.assertTrue(sdr['bmc13']['failed'])
        self.assertEqual(sdr['bmc13']['msg'], 'Get Device ID failed. Please check LAN+ configuration.')
        self.assertEqual(report['stats']['bmc13']['failures'], 1)
        others = sorted(set(self.hosts) - {'bmc13'})
        self.assertEqual([h for h in others if report['stats'][h]['failures']], [])
        # bmc07 held set B already (test 3).
        self.assertEqual(self.changed_hosts(report, 'The SDR repository holds the SDR set'),
                         sorted(set(others) - {'bmc07'}))
        held = self.each_bmc(lambda h: self.holds(h, ['sdr-b.sdr']), others)
        self.assertEqual([h for h, ok in held.items() if not ok], [])
        self.assertTrue(self.holds('bmc13', ['sdr-a.sdr']))

    def test_5_credentials_with_shell_characters_reach_the_bmc_and_are_never_shown(self):
        for host in ('bmc01', 'bmc02'):
            self.ipmitool(host, ['user', 'set', 'name', '3', ODD_USER])
            self.ipmitool(host, ['user', 'set', 'password', '3', ODD_PASSWORD])
        extra = os.path.join(self.folder, 'odd.json')
        for password, expected in ((ODD_PASSWORD, 0), (ODD_PASSWORD[:-1], 2)):
            with open(extra, 'w') as variables:
                json.dump({'bmc_user': ODD_USER, 'bmc_password': password, 'sdr_file': self.sdr_b,
                           'fru_file': self.fru}, variables)
            # The default report, as verbose as it gets, and the JSON one.
            shown = run(['ansible-playbook', '-vvv', '-i', self.inventory, '--limit', 'bmc01,bmc02',
                         '--tags', 'verify', '-e', '@' + extra, os.path.join(EXAMPLES, 'site.yml')],
                        cwd=EXAMPLES, env=dict(os.environ, ANSIBLE_CONFIG=os.path.join(EXAMPLES, 'ansible.cfg')))
            self.assertEqual(shown.returncode, expected, shown.stdout[-3000:])
            self.assertIn('VALUE_SPECIFIED_IN_NO_LOG_PARAMETER', shown.stdout)
            result, report = self.playbook('--limit', 'bmc01,bmc02', '--tags', 'verify', '-e', '@' + extra)
            for output in (shown.stdout, shown.stderr, result.stdout, result.stderr):
                self.assertNotIn(password, output)
                self.assertNotIn(password[3:], output)
            sdr = self.task_results(report, 'The SDR repository is the SDR set')
            for host in ('bmc01', 'bmc02'):
                if expected == 0:
                    self.assertFalse(sdr[host].get('failed'), sdr[host])
                    self.assertIn(ODD_USER, sdr[host]['runs'][0]['args'])
                else:
                    self.assertTrue(sdr[host]['failed'])
                    self.assertIn('Get Device ID failed', sdr[host]['msg'])

    # ----- each module on one BMC

    def test_6_verified_fails_on_a_differing_bmc_and_writes_nothing(self):
        result = self.module('bmc04', 'sdr', {'src': self.sdr_a, 'state': 'verified'})
        self.assertTrue(result['failed'])
        self.assertTrue(result['differs'])
        self.assertEqual(result['runs'][-1]['stderr_lines'][-1], 'Failure to verify the SDR data! (different SDR)')
        self.assertIn('Failure to verify the SDR data! (different SDR)', result['msg'])
        self.assertTrue(self.holds('bmc04', ['sdr-b.sdr']))

    def test_7_a_field_update_writes_once_and_check_mode_writes_nothing(self):
        before = self.module('bmc03', 'upload', {'fru_id': 0, 'dest': os.path.join(self.folder, 'fru-a.txt')})
        self.assertTrue(before['changed'])
        self.assertIn("'BSN0001234'", self.read('fru-a.txt'))
        again = self.module('bmc03', 'upload', {'fru_id': 0, 'dest': os.path.join(self.folder, 'fru-a.txt')})
        self.assertFalse(again['changed'])

        same = self.module('bmc03', 'fru_field', dict(BOARD_SERIAL, value='BSN0001234'))
        self.assertEqual((same.get('failed', False), same['changed'], same['known']), (False, False, True))
        checked = self.module('bmc03', 'fru_field', dict(BOARD_SERIAL, value='BSN7'), check=True)
        self.assertEqual((checked['changed'], checked['known']), (True, True))
        self.assertTrue(self.holds('bmc03', ['board.fru.bin', 'fruID=0']))
        written = self.module('bmc03', 'fru_field', dict(BOARD_SERIAL, value='BSN7'))
        self.assertEqual((written.get('failed', False), written['changed']), (False, True), written)
        self.assertEqual([r['args'][1] for r in written['runs']], ['-u', '-updateFRU', '-u'])
        twice = self.module('bmc03', 'fru_field', dict(BOARD_SERIAL, value='BSN7'))
        self.assertEqual((twice.get('failed', False), twice['changed']), (False, False))

        after = self.module('bmc03', 'upload', {'fru_id': 0, 'dest': os.path.join(self.folder, 'fru-a.txt')})
        self.assertTrue(after['changed'])
        self.assertIn("'BSN7      '", self.read('fru-a.txt'))
        # ipmitool reads the device as a judge of its own.
        ipmitool = self.ipmitool('bmc03', ['fru', 'print', '0'])
        self.assertRegex(ipmitool.stdout, r'Board Serial\s*:\s*BSN7\s*\n')

    def test_8_a_failed_fru_write_fails_the_task_though_valdrn_ends_with_status_0(self):
        # bmc03 holds the image with board serial BSN7 (test 7); the write
        # of the sample image fails at its second request and cannot be
        # undone either.
        before = self.read('fru-a.txt')
        self.knob('bmc03', 'fail=0a:12:2:d5:0')
        try:
            result = self.module('bmc03', 'fru', {'src': self.fru, 'fru_id': 0})
        finally:
            self.knob('bmc03', 'nofaults')
        self.assertTrue(result['failed'])
        self.assertEqual(result['runs'][-1]['args'][1], '-d')
        self.assertEqual(result['runs'][-1]['rc'], 0)
        self.assertIn('Failure to download FRU data!', result['msg'])
        self.assertTrue(os.path.isfile(result['saved_copy']), result)
        self.assertTrue(result['saved_copy'].startswith(os.path.join(self.folder, 'backups') + '/'))
        self.assertIn(' -P ... ', result['restore_command'])
        # The command, as returned, with the password typed in.
        command = result['restore_command'].replace(' -P ... ', ' -P secret ')
        restored = run(['bash', '-c', command], cwd='/tmp')
        self.assertEqual(restored.returncode, 0, restored.stdout + restored.stderr)
        self.module('bmc03', 'upload', {'fru_id': 0, 'dest': os.path.join(self.folder, 'fru-b.txt')})
        self.assertEqual(self.read('fru-b.txt'), before)

    def read(self, name):
        with open(os.path.join(self.folder, name), encoding='latin-1') as text:
            return text.read()


if __name__ == '__main__':
    unittest.main(verbosity=2)
