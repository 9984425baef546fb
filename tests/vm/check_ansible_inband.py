#!/usr/bin/python3
"""Checks the JSON reports of the in-band playbook runs in the test VM's
console (guest_ansible_test.sh): for each run, its status, and for each
task whether it changed or failed and which VALDRN operations it ran, all
in-band through the interface of the run.

Usage: check_ansible_inband.py CONSOLE-TEXT
"""
import json
import sys

WRITE = ['-v', '-d', '-v']
FIELD_WRITE = ['-u', '-updateFRU', '-u']

# For each run: the interface, and per task run (in the playbook's order,
# but the last, the device the BMC does not have) whether it changed and
# the operations it ran: exactly these, so check mode ran no -d and no
# -updateFRU.
EXPECTED = {
    'openipmi-first': ('openipmi', [(True, WRITE), (True, WRITE), (True, ['-u'])]),
    'openipmi-again': ('openipmi', [(False, ['-v']), (False, ['-v']), (False, ['-u'])]),
    'kcsio-check': ('kcsio', [(False, ['-v']), (True, ['-v']), (True, ['-u'])]),
    'kcsio-first': ('kcsio', [(False, ['-v']), (True, WRITE), (True, FIELD_WRITE), (True, ['-u'])]),
    'kcsio-again': ('kcsio', [(False, ['-v']), (False, ['-v']), (False, ['-u']), (False, ['-u'])]),
    'openipmi-field': ('openipmi', [(True, FIELD_WRITE)]),
    'openipmi-field-again': ('openipmi', [(False, ['-u'])]),
}


def plays(console):
    """{name: (report text, stderr text, status)} of the framed runs."""
    found, name, part, parts = {}, None, None, None
    for line in console.splitlines():
        if line.startswith('VMTEST-PLAY-RC '):
            found[name] = ('\n'.join(parts['report']), '\n'.join(parts['stderr']), int(line.split()[1]))
            name = None
        elif line == 'VMTEST-PLAY-STDERR' and name:
            part = 'stderr'
        elif line.startswith('VMTEST-PLAY '):
            name, part, parts = line.split()[1], 'report', {'report': [], 'stderr': []}
        elif name:
            parts[part].append(line)
    return found


def check_runs(where, runs, interface):
    problems = []
    for run in runs:
        args = run['args']
        if args[0] != '/opt/valdrn/VALDRN' or args[-2:] != ['-msgintf', interface] or 'lanplus' in args:
            problems.append('%s: not run in-band through %s: %s' % (where, interface, args))
    return problems


def check_play(name, report, stderr, status):
    interface, tasks = EXPECTED[name]
    if status != 0:
        return ['%s: ansible-playbook ended with status %d\n%s\n%s' % (name, status, report, stderr)]
    data = json.loads(report)
    results = [task['hosts']['localhost'] for task in data['plays'][0]['tasks']]
    if len(results) != len(tasks) + 1:
        return ['%s: %d task results, not %d' % (name, len(results), len(tasks) + 1)]
    problems = []
    for (changed, operations), result in zip(tasks, results):
        where = '%s, %s' % (name, result.get('invocation', {}).get('module_args', {}).get('src', result.get('msg')))
        ran = [run['args'][1] for run in result['runs']]
        if result.get('failed') or result['changed'] != changed:
            problems.append('%s: changed %s (wanted %s), failed %s: %s'
                            % (where, result['changed'], changed, result.get('failed'), result.get('msg')))
        if ran != operations:
            problems.append('%s: ran %s, wanted %s' % (where, ran, operations))
        problems += check_runs(where, result['runs'], interface)
    # The device the BMC does not have: the task fails with VALDRN's message.
    missing = results[-1]
    printed = [line for run in missing['runs'] for line in run['stdout_lines'] + run['stderr_lines']]
    if not (missing.get('failed') and 'FRU Device 0x9 error or not exist.' in printed
            and 'FRU Device 0x9 error or not exist.' in missing.get('msg', '')):
        problems.append('%s: FRU device 9 did not fail with VALDRN\'s message: %s' % (name, missing))
    problems += check_runs('%s, FRU device 9' % name, missing['runs'], interface)
    stats = data['stats']['localhost']
    wanted = sum(1 for changed, _ in tasks if changed)
    if stats['changed'] != wanted or stats['failures'] != 0 or stats['ignored'] != 1:
        problems.append('%s: stats %s, wanted changed=%d failures=0 ignored=1' % (name, stats, wanted))
    return problems


def main():
    with open(sys.argv[1], encoding='utf-8', errors='replace') as console:
        found = plays(console.read())
    problems = []
    for name in EXPECTED:
        if name not in found:
            problems.append('%s: the run is not in the console' % name)
            continue
        try:
            problems += check_play(name, *found[name])
        except (ValueError, KeyError, IndexError, TypeError) as error:
            problems.append('%s: report not as expected (%r):\n%s' % (name, error, found[name][0]))
    for problem in problems:
        print('FAIL: ' + problem)
    if problems:
        sys.exit(1)
    print('all %d in-band playbook runs as expected' % len(EXPECTED))


if __name__ == '__main__':
    main()
