# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)
"""Runs VALDRN for the modules of this collection and judges its runs.

Nothing here reads or writes SDR or FRU data: every byte goes through
VALDRN. This file knows how VALDRN takes its arguments; what a run did it
reads from the result document VALDRN writes where VALDRN_RESULT names
(its schema is docs/result.schema.json in VALDRN's source), not from the
printed lines.
"""

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type

import json
import os
import re
import shutil
import tempfile

# Every module takes these; documented in doc_fragments/connection.py.
CONNECTION_ARGUMENT_SPEC = dict(
    interface=dict(type='str', default='lanplus', choices=['lanplus', 'openipmi', 'kcsio']),
    bmc_host=dict(type='str'),
    bmc_user=dict(type='str'),
    bmc_password=dict(type='str', no_log=True),
    cipher_suite=dict(type='int', default=3),
    valdrn_path=dict(type='path'),
    chdir=dict(type='path', default='/'),
    backup_dir=dict(type='path'),
    lan_session=dict(type='str', default='run', choices=['run', 'request']),
)
CONNECTION_REQUIRED_IF = [('interface', 'lanplus', ('bmc_host', 'bmc_user', 'bmc_password'))]

# VALDRN takes the first token of an argument: a blank, comma or tab ends it.
_TOKEN_ENDS = (' ', ',', '\t')
# The longest file name VALDRN takes.
_LONGEST_FILE_NAME = 255
# The LAN+ text fields hold at most 39 characters.
_LONGEST_LAN_TEXT = 39

_BANNER = re.compile(r'^(-{20,}|\s*Valdrin Utility\s*|\s*Copyright \(C\) .*VALDRN Project.*)$')

ENCODINGS = ('ascii', 'utf8', 'utf16')


def fru_id_argument(fru_id):
    """The fruID= argument VALDRN takes (hexadecimal)."""
    return 'fruID=0x%02X' % fru_id


def takes_as_file_name(name):
    """Whether VALDRN takes NAME, as given, whole as a file name."""
    return (0 < len(name) <= _LONGEST_FILE_NAME and not any(c in name for c in _TOKEN_ENDS)
            and name[0] not in ('-', '/'))


def takes_as_lan_text(text):
    return 0 < len(text) <= _LONGEST_LAN_TEXT and not any(c in text for c in _TOKEN_ENDS)


def quote_for_shell(text):
    return "'" + text.replace("'", "'\\''") + "'"


def output_lines(text):
    """VALDRN's lines without its banner and the blank lines."""
    return [line.rstrip() for line in text.splitlines() if line.strip() and not _BANNER.match(line)]


def read_result(path):
    """The result document VALDRN wrote at PATH, or None when it wrote none
    (it ended by a signal, or it is a VALDRN that writes none)."""
    try:
        with open(path, 'rb') as document:
            result = json.loads(document.read().decode('utf-8'))
    except (IOError, OSError, ValueError):
        return None
    return result if isinstance(result, dict) and result.get('format') == 'valdrn-result' else None


def restore_advice(result, chdir):
    """The saved copy and the command that restores it, when the run's
    RESULT document names them, VALDRN having run in CHDIR; else None,
    None. The copy comes back absolute, the command runnable from any
    folder."""
    if not result or not result.get('saved_copy') or not result.get('restore_command'):
        return None, None
    command = result['restore_command']
    # VALDRN's command is meant for the folder it ran in (a "cp intf.ini"
    # first, too); one that starts by going to the copy's folder runs
    # anywhere.
    if not command.startswith('cd '):
        command = 'cd %s && %s' % (quote_for_shell(chdir), command)
    return os.path.normpath(os.path.join(chdir, result['saved_copy'])), command


class Run(object):
    """One VALDRN run: its arguments as shown, status, lines and result
    document."""

    def __init__(self, shown_args, rc, stdout, stderr, result=None):
        self.args = shown_args
        self.rc = rc
        self.stdout_lines = output_lines(stdout)
        self.stderr_lines = output_lines(stderr)
        self.result = result or {}

    def outcome(self):
        """success, failure or refused; None without a result document."""
        return self.result.get('outcome')

    def comparison(self):
        """For -v: same or different; None when no comparison was made."""
        return self.result.get('comparison')

    def message(self):
        """What VALDRN said about its failure: its error lines, else its last line."""
        lines = self.stderr_lines or self.stdout_lines[-1:]
        return ' '.join(l.strip() for l in lines) or 'VALDRN ended with status %d and said nothing' % self.rc

    def as_result(self):
        return dict(args=self.args, rc=self.rc, stdout_lines=self.stdout_lines, stderr_lines=self.stderr_lines)


class Valdrn(object):
    """VALDRN for one module run: the connection options, the runs made and
    what they named (saved copy, restore command)."""

    def __init__(self, module):
        self.module = module
        self.params = module.params
        self.runs = []
        self.saved_copy = None
        self.restore_command = None
        self._temporary = []
        self._result_folder = None
        self.chdir = os.path.abspath(self.params['chdir'])
        self.program = self._program()
        self._check_connection()

    # ----- arguments

    def _program(self):
        path = self.params['valdrn_path']
        if path:
            if not (os.path.isfile(path) and os.access(path, os.X_OK)):
                self.module.fail_json(msg='valdrn_path %s is not an executable file' % path)
            return os.path.abspath(path)
        # An absolute path, so that a restore command VALDRN prints can be
        # run as it stands.
        return self.module.get_bin_path('VALDRN', required=True, opt_dirs=['/usr/sbin', '/usr/local/sbin'])

    def _check_connection(self):
        if not os.path.isdir(self.chdir):
            self.module.fail_json(msg='chdir %s is not a folder' % self.chdir)
        if self.params['interface'] != 'lanplus':
            return
        for name in ('bmc_user', 'bmc_password'):
            if not takes_as_lan_text(self.params[name]):
                # The value itself is never shown.
                self.module.fail_json(
                    msg='%s must be 1 to %d characters without blank, comma or tab: VALDRN would cut it there'
                    % (name, _LONGEST_LAN_TEXT))
        if not re.match(r'^\d{1,3}(\.\d{1,3}){3}$', self.params['bmc_host']):
            self.module.fail_json(msg='bmc_host must be a dotted IPv4 address; VALDRN takes no host name: %s'
                                  % self.params['bmc_host'])
        suite = self.params['cipher_suite']
        if not (0 <= suite <= 19 or 128 <= suite <= 191):
            self.module.fail_json(msg='cipher_suite must be 0 to 19 or 128 to 191, not %d' % suite)

    def connection_args(self):
        p = self.params
        if p['interface'] == 'lanplus':
            return ['-n', 'lanplus', '-H', p['bmc_host'], '-U', p['bmc_user'], '-P', p['bmc_password'],
                    '-C', str(p['cipher_suite'])]
        return ['-msgintf', p['interface']]

    def file_argument(self, path):
        """PATH as VALDRN takes it from chdir: relative (a name starting
        with "/" is an option to VALDRN). A path it cannot take is copied
        into a folder of our own first."""
        path = os.path.abspath(path)
        name = os.path.relpath(path, self.chdir)
        if takes_as_file_name(name):
            return name
        folder = self.temporary_folder()
        copy = os.path.join(folder, 'input' + os.path.splitext(path)[1][:8].replace(' ', '').replace(',', ''))
        shutil.copyfile(path, copy)
        name = os.path.relpath(copy, self.chdir)
        if not takes_as_file_name(name):
            self.fail('VALDRN cannot be given %s from %s: set chdir closer to the file' % (path, self.chdir))
        return name

    def temporary_folder(self):
        folder = tempfile.mkdtemp(prefix='valdrn-')
        self._temporary.append(folder)
        return folder

    def cleanup(self):
        for folder in self._temporary:
            shutil.rmtree(folder, ignore_errors=True)
        self._temporary = []
        self._result_folder = None

    # ----- running

    def run(self, operation_args):
        args = [self.program] + operation_args + self.connection_args()
        if self._result_folder is None:
            self._result_folder = self.temporary_folder()
        result_path = os.path.join(self._result_folder, 'result-%d.json' % len(self.runs))
        # One ipmitool session for the whole run, or one ipmitool per request.
        environ = {'VALDRN_LAN_SESSION': self.params['lan_session'], 'VALDRN_RESULT': result_path}
        if self.params['backup_dir']:
            environ['VALDRN_BACKUP_DIR'] = os.path.abspath(self.params['backup_dir'])
        # "n" to any question, so that nothing is overwritten unasked.
        rc, stdout, stderr = self.module.run_command(args, cwd=self.chdir, environ_update=environ, data='n')
        run = Run(self._shown(args), rc, stdout, stderr, read_result(result_path))
        self.runs.append(run)
        self._take_advice(run)
        return run

    def _shown(self, args):
        password = self.params['bmc_password']
        return ['********' if password and a == password else a for a in args]

    def _take_advice(self, run):
        saved_copy, command = restore_advice(run.result, self.chdir)
        if saved_copy:
            self.saved_copy, self.restore_command = saved_copy, command

    # ----- results

    def result(self, **fields):
        fields['runs'] = [run.as_result() for run in self.runs]
        last = self.runs[-1] if self.runs else None
        # Not "rc": Ansible takes a non-zero rc for a failed task, and a
        # verification that finds a difference ends VALDRN with status 1.
        fields['exit_status'] = last.rc if last else None
        fields['stdout_lines'] = last.stdout_lines if last else []
        fields['stderr_lines'] = last.stderr_lines if last else []
        if self.saved_copy:
            fields['saved_copy'] = self.saved_copy
            fields['restore_command'] = self.restore_command
        return fields

    def fail(self, msg, **fields):
        self.cleanup()
        self.module.fail_json(**self.result(msg=msg, **fields))

    def exit(self, **fields):
        self.cleanup()
        self.module.exit_json(**self.result(**fields))

    # ----- operations, judged by their result documents

    def verify(self, file_name, fru_id=None):
        """True when the BMC holds the file, False when it differs (an
        empty repository too); fails the task when VALDRN could not tell."""
        args = ['-v', file_name] + ([] if fru_id is None else [fru_id_argument(fru_id)])
        run = self.run(args)
        if run.comparison() == 'same' and run.rc == 0:
            return True
        if run.comparison() == 'different':
            return False
        self.fail(run.message())

    def download(self, file_name, fru_id=None):
        """Writes the file; fails the task unless VALDRN's result says it
        did. A failed FRU write ends VALDRN with status 0: its result tells."""
        args = ['-d', file_name] + ([] if fru_id is None else [fru_id_argument(fru_id)])
        run = self.run(args)
        if not (run.rc == 0 and run.outcome() == 'success'):
            self.fail(run.message(), changed=True)

    def upload(self, fru_id, encoding):
        """The BMC's data as VALDRN's text file: its bytes. A failed save
        ends VALDRN with status 0: its result tells."""
        folder = self.temporary_folder()
        path = os.path.join(folder, 'fru%d.txt' % fru_id if fru_id is not None else 'sdr.txt')
        name = os.path.relpath(path, self.chdir)
        if not takes_as_file_name(name):
            self.fail('VALDRN cannot be given %s from %s: set TMPDIR or chdir' % (path, self.chdir))
        args = ['-u', name, 'encoding=' + encoding]
        if fru_id is not None:
            args.append(fru_id_argument(fru_id))
        run = self.run(args)
        done = run.rc == 0 and run.outcome() == 'success' and os.path.isfile(path) and os.path.getsize(path) > 0
        if not done:
            self.fail(run.message())
        with open(path, 'rb') as uploaded:
            return uploaded.read()

    def update_field(self, parameters):
        run = self.run(['-updateFRU'] + parameters)
        if not (run.rc == 0 and run.outcome() == 'success'):
            self.fail(run.message())


def ensure_file_state(module, fru_id=None):
    """The sdr and fru modules: the BMC holds src (state present) or is
    checked against it (state verified)."""
    valdrn = Valdrn(module)
    src = module.params['src']
    if not os.path.isfile(src):
        valdrn.fail('src %s is not a file' % src)
    name = valdrn.file_argument(src)
    what = 'SDR repository' if fru_id is None else 'FRU device %d' % fru_id
    if valdrn.verify(name, fru_id):
        valdrn.exit(changed=False, msg='The %s holds %s.' % (what, src))
    if module.params['state'] == 'verified':
        valdrn.fail('The %s differs from %s: %s' % (what, src, valdrn.runs[-1].message()), differs=True)
    if module.check_mode:
        valdrn.exit(changed=True, msg='The %s differs from %s: it would be written.' % (what, src))
    valdrn.download(name, fru_id)
    # What VALDRN wrote is checked once more, as a run of its own.
    if not valdrn.verify(name, fru_id):
        valdrn.fail('The %s does not hold %s after the download.' % (what, src), changed=True)
    valdrn.exit(changed=True, msg='The %s was written from %s.' % (what, src))
