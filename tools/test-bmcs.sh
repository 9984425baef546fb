#!/usr/bin/env bash
# A fleet of test BMCs for the Ansible collection (ansible/), each on a
# loopback address of its own, and an inventory that names them:
#
#   tools/test-bmcs.sh start COUNT DIR [BUILD_DIR]  starts COUNT BMCs under
#                                                   DIR, writes DIR/inventory.yml
#   tools/test-bmcs.sh stop DIR                     stops them
#
# BUILD_DIR (default: build) holds VALDRN and tests/test_bmc_ctl. Each BMC
# has an empty SDR repository and FRU device 0 of FRU_SIZE bytes (default
# 256), blank; its user "admin" has the password "secret".
set -euo pipefail

usage() { echo "usage: $0 start COUNT DIR [BUILD_DIR] | stop DIR" >&2; exit 2; }

start() {
  local count=$1 dir build i name address
  dir=$(realpath -m "$2")
  build=$(realpath "${3:-build}")
  [ -x "$build/tests/test_bmc_ctl" ] || { echo "no $build/tests/test_bmc_ctl: build with -DVALDRN_BUILD_TESTS=ON" >&2; exit 1; }
  mkdir -p "$dir/backups"
  {
    echo "# $count test BMCs, written by tools/test-bmcs.sh"
    echo "bmcs:"
    echo "  vars:"
    echo "    ansible_connection: local"
    echo "    ansible_python_interpreter: \"{{ ansible_playbook_python }}\""
    echo "    bmc_user: admin"
    echo "    bmc_password: secret"
    echo "    valdrn_path: $build/VALDRN"
    echo "    valdrn_backup_dir: $dir/backups"
    echo "  hosts:"
  } > "$dir/inventory.yml.new"
  for i in $(seq 1 "$count"); do
    name=$(printf 'bmc%02d' "$i")
    mkdir -p "$dir/$name"
    address=$("$build/tests/test_bmc_ctl" start "$dir/$name" "fru=0:${FRU_SIZE:-256}")
    printf '    %s:\n      bmc_address: %s\n' "$name" "$address" >> "$dir/inventory.yml.new"
  done
  mv "$dir/inventory.yml.new" "$dir/inventory.yml"
  echo "$count test BMCs started; inventory: $dir/inventory.yml"
}

stop() {
  local dir=$1 bmc build
  build=$(realpath "${2:-build}")
  for bmc in "$dir"/bmc*/; do
    [ -f "$bmc/pid" ] && "$build/tests/test_bmc_ctl" stop "$bmc" || true
  done
}

case "${1:-}" in
  start) [ $# -ge 3 ] || usage; start "$2" "$3" "${4:-}" ;;
  stop) [ $# -ge 2 ] || usage; stop "$2" "${3:-}" ;;
  *) usage ;;
esac
