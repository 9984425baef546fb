#!/usr/bin/env bash
# Runs tests/fleet/fleet_test.py (arguments passed on) with Debian's
# python3, ipmitool reading the short vendor table
# (tools/short-vendor-table.sh: the fleet test runs thousands of ipmitool
# requests on two cores).
set -euo pipefail
here=$(dirname "$(realpath "$0")")
exec bash "$here/../../tools/short-vendor-table.sh" /usr/bin/python3 "$here/fleet_test.py" "$@"
