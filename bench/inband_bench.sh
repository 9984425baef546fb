#!/usr/bin/env bash
# In-band latency per request, in the same QEMU guest as the in-band test:
# VALDRN -u of a 50-record repository through libopenraw.so, divided by its
# request count, next to Debian's ipmitool -I open running as many requests
# (one process, "exec" of a request file). Both figures include one
# process start; the guest is TCG-emulated, so absolute times are slow.
#
# Usage: inband_bench.sh BUILD-DIR SOURCE-DIR   (BUILD-DIR with the tests
# and the benchmarks built)
set -euo pipefail
BUILD=$(realpath "$1")
SOURCE=$(realpath "$2")
WORK=$(mktemp -d)
BMC_DIR=$WORK/bmc
QEMU_PID=
cleanup() {
    [ -n "$QEMU_PID" ] && kill "$QEMU_PID" 2>/dev/null || true
    "$BUILD/tests/test_bmc_ctl" stop "$BMC_DIR" 2>/dev/null || true
    rm -rf "$WORK"
}
trap cleanup EXIT

source "$SOURCE/tests/vm/vm_lib.sh"
vm_fetch_kernel "$BUILD/vm-cache"
ROOT=$WORK/root
vm_build_root "$ROOT" "$BUILD" "$SOURCE" "$BUILD/vm-cache" "$SOURCE/bench/inband_guest.sh"
vm_add_binary "$ROOT" /usr/bin/ipmitool
cp "$BUILD/bench/run_timed" "$ROOT/opt/valdrn/"
vm_add_libraries "$ROOT" "$BUILD/bench/run_timed"
"$BUILD/bench/make_sdr_file" 50 > "$ROOT/work/bench.sdr"
vm_pack "$ROOT" "$WORK/initrd.gz"

mkdir -p "$BMC_DIR"
"$BUILD/tests/test_bmc_ctl" start "$BMC_DIR" > /dev/null
vm_start "$WORK/initrd.gz" "$(cat "$BMC_DIR/serial_port")" "$WORK/console.log"
wait "$QEMU_PID" || true
QEMU_PID=
result=$(tr -d '\r' < "$WORK/console.log" | grep "^BENCH-" || true)
echo "$result"
line=$(grep "^BENCH-RESULT" <<< "$result") || { tr -d '\r' < "$WORK/console.log"; exit 1; }
requests=$(sed 's/.*requests=\([0-9]*\).*/\1/' <<< "$line")
valdrn=$(sed 's/.*valdrn_us=\([0-9]*\).*/\1/' <<< "$line")
ipmitool=$(sed 's/.*ipmitool_us=\([0-9]*\).*/\1/' <<< "$line")
awk -v r="$requests" -v v="$valdrn" -v i="$ipmitool" 'BEGIN {
    printf "requests per -u: %d\nVALDRN:   %.3f ms per request (%.1f ms per run)\n", r, v / r / 1000, v / 1000
    printf "ipmitool: %.3f ms per request (%.1f ms per run)\nratio %.3f\n", i / r / 1000, i / 1000, v / i }'
