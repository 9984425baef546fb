#!/usr/bin/env bash
# Runs a command with Debian's ipmitool reading a short copy of the IANA
# enterprise-number table: the tests' way to run ipmitool thousands of
# times on two cores.
#
#   tools/short-vendor-table.sh COMMAND [ARGUMENT...]
#
# ipmitool reads and parses the whole table (4.7 MB) at every start, to
# name vendors; VALDRN's raw requests never print a vendor, and no test
# reads a vendor name from ipmitool. That parse is over half the time of an
# end-to-end test. In a mount namespace of the command's own, the table's
# first 400 entries stand in for it; the rest of the machine keeps the
# full table. Where no namespace can be made, the command runs with the
# full table, only slower.
set -euo pipefail
table=/usr/share/misc/enterprise-numbers.txt
[ -f "$table" ] || { echo "no $table: is ipmitool installed?" >&2; exit 1; }
short=$(mktemp)
trap 'rm -f "$short"' EXIT
head -c 200000 "$table" | awk '/^[0-9]+$/ { n++ } n <= 400' > "$short"
# Readable by all, as the table is: a test runs VALDRN (and ipmitool) as nobody.
chmod 644 "$short"
if unshare -m true 2> /dev/null; then
  # Not exec'd: the trap removes the copy once the command has ended.
  # shellcheck disable=SC2016  # expanded by the inner shell
  unshare -m bash -c 'mount --bind "$1" "$2" && shift 2 && exec "$@"' bash "$short" "$table" "$@"
else
  echo "no mount namespace here: ipmitool reads the full vendor table" >&2
  "$@"
fi
