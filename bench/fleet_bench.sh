#!/usr/bin/env bash
# Fleet throughput: the wall time for the example playbook's push play
# (ansible/examples/site.yml --tags push) to bring 20 blank test BMCs to an
# SDR set and a FRU image, with forks 1, 5, 10 and 20. A fresh fleet for
# each figure, so that every run writes all 20. Prints BMCs per minute and
# the speed-up over forks 1.
#
# Usage: fleet_bench.sh BUILD-DIR [FORKS...]   (BUILD-DIR with the tests built)
set -euo pipefail
BUILD=$(realpath "$1")
shift
SOURCE=$(realpath "$(dirname "$0")/..")
COUNT=20
[ $# -gt 0 ] || set -- 1 5 10 20
FORKS=("$@")
WORK=$(mktemp -d)
cleanup() {
  [ -d "$WORK/fleet" ] && bash "$SOURCE/tools/test-bmcs.sh" stop "$WORK/fleet" "$BUILD" || true
  rm -rf "$WORK"
}
trap cleanup EXIT

echo "fleet: $COUNT BMCs, SDR set $SOURCE/examples/ToBMC.sdr (9 records), FRU image $SOURCE/examples/ServerBoard.fru.bin (229 bytes) into a 256-byte device; $(nproc) cores"
printf '%-6s %10s %12s %9s\n' forks seconds BMCs/min speed-up
first=
for forks in "${FORKS[@]}"; do
  bash "$SOURCE/tools/test-bmcs.sh" start "$COUNT" "$WORK/fleet" "$BUILD" > /dev/null
  start=$(date +%s.%N)
  ANSIBLE_CONFIG="$SOURCE/ansible/examples/ansible.cfg" ANSIBLE_STDOUT_CALLBACK=json \
    ansible-playbook -i "$WORK/fleet/inventory.yml" --forks "$forks" --tags push \
    "$SOURCE/ansible/examples/site.yml" > "$WORK/report.json"
  end=$(date +%s.%N)
  # Every BMC written, both tasks changed, none failed.
  /usr/bin/python3 - "$WORK/report.json" "$COUNT" <<'PY'
import json, sys
stats = json.load(open(sys.argv[1]))['stats']
bad = {h: s for h, s in stats.items() if s['changed'] != 2 or s['failures'] or s['unreachable']}
if len(stats) != int(sys.argv[2]) or bad:
    sys.exit('not every BMC was written: %s' % bad)
PY
  bash "$SOURCE/tools/test-bmcs.sh" stop "$WORK/fleet" "$BUILD"
  rm -rf "$WORK/fleet"
  seconds=$(awk "BEGIN { print $end - $start }")
  first=${first:-$seconds}
  awk "BEGIN { printf \"%-6s %10.1f %12.1f %9.2f\\n\", $forks, $seconds, $COUNT * 60 / $seconds, $first / $seconds }"
done
