# -*- coding: utf-8 -*-
# Copyright (c) 2026, The VALDRN Project
# BSD 3-Clause License (see LICENSE in the VALDRN source)

from __future__ import (absolute_import, division, print_function)
__metaclass__ = type


class ModuleDocFragment(object):
    # How every module of the collection reaches the BMC and runs VALDRN.
    DOCUMENTATION = r'''
options:
  interface:
    description:
      - How VALDRN reaches the BMC.
      - "C(lanplus) runs C(ipmitool) over RMCP+ to C(bmc_host); run such tasks on the
        controller (C(delegate_to: localhost) or C(connection: local)), one task per BMC."
      - C(openipmi) uses the Linux OpenIPMI driver of the managed host itself
        (the host's own BMC); the task runs on that host and needs root.
      - C(kcsio) does direct KCS port I/O on the managed host; the IPMI kernel
        modules must not be loaded. VALDRN reads C(intf.ini) from C(chdir).
    type: str
    choices: [lanplus, openipmi, kcsio]
    default: lanplus
  bmc_host:
    description:
      - IPv4 address of the BMC. Required with C(interface=lanplus).
      - VALDRN takes dotted IPv4 addresses only, not host names.
    type: str
  bmc_user:
    description:
      - User name on the BMC, at most 39 characters, without blank, comma or tab.
        Required with C(interface=lanplus).
    type: str
  bmc_password:
    description:
      - Password of C(bmc_user), at most 39 characters, without blank, comma or tab
        (VALDRN ends a value at the first of them; the module refuses such a value
        rather than let it be cut). Shell characters are passed intact.
      - Never logged; it is shown as C(...) in a restore command.
        Required with C(interface=lanplus).
      - How it travels - VALDRN gets it as the value of C(-P) and blanks it in its own
        argument list as it starts (C(ps) shows C(xxxx)); C(ipmitool) gets it in its
        environment (C(IPMI_PASSWORD) with C(-E)), never in its arguments.
    type: str
  cipher_suite:
    description:
      - RMCP+ cipher suite ID, 0 to 19 or 128 to 191.
    type: int
    default: 3
  lan_session:
    description:
      - With C(interface=lanplus) - C(run) has VALDRN use one C(ipmitool) session for its
        whole run (environment variable C(VALDRN_LAN_SESSION=run)), many times faster;
        VALDRN falls back to one C(ipmitool) per request when the session keeps failing.
        C(request) starts one C(ipmitool) per request, as VALDRN does by default.
      - Either way VALDRN prints the same and makes the same requests.
    type: str
    choices: [run, request]
    default: run
  valdrn_path:
    description:
      - The VALDRN program to run. By default C(VALDRN) found on the PATH
        (and in C(/usr/sbin), C(/usr/local/sbin)).
    type: path
  chdir:
    description:
      - The folder VALDRN runs in. Files are given to VALDRN by their path relative
        to it, and a restore command names its copy relative to it.
      - With C(interface=kcsio), VALDRN reads C(intf.ini) from this folder.
    type: path
    default: /
  backup_dir:
    description:
      - The folder for the copies VALDRN saves of the BMC's data before it writes
        (environment variable C(VALDRN_BACKUP_DIR)). By default VALDRN's own choice,
        C(/var/lib/valdrn/backups) for root.
    type: path
notes:
  - The module runs VALDRN; it reads and writes no SDR or FRU data itself.
  - Results carry C(runs), each VALDRN run with its C(args) (the password shown as
    C(********)), C(rc), C(stdout_lines) and C(stderr_lines); C(exit_status),
    C(stdout_lines) and C(stderr_lines) repeat the last run's; C(msg) holds VALDRN's
    own message when a task fails. There is no top-level C(rc), since Ansible would
    take a verification that found a difference (status 1) for a failed task.
  - When VALDRN names a saved copy of the BMC's earlier data and the command that
    restores it (a failed write it could not undo), they are returned as
    C(saved_copy) and C(restore_command); the command can be run from any folder.
'''
