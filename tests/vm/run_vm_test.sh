#!/usr/bin/env bash
# VALDRN in-band, for real: boots Debian's kernel in QEMU (TCG) with an
# emulated KCS interface wired to the test BMC, runs tests/vm/guest_test.sh
# in the guest, and checks its output and, afterwards, the BMC's state from
# the host over LAN+ (ipmitool and VALDRN).
#
# Usage: run_vm_test.sh BUILD-DIR SOURCE-DIR
set -euo pipefail

source "$(dirname "$0")/vm_lib.sh"
vm_test_setup "$1" "$2"
vm_fetch_kernel "$CACHE"
ROOT=$WORK/root
vm_build_root "$ROOT" "$BUILD" "$SOURCE" "$CACHE" "$SOURCE/tests/vm/guest_test.sh"
cp "$BUILD/tests/ipmb_probe" "$ROOT/opt/valdrn/"
vm_pack "$ROOT" "$WORK/initrd.gz"

# --- the test BMC, then the VM --------------------------------------------------------
mkdir -p "$BMC_DIR"
ADDRESS=$("$BUILD/tests/test_bmc_ctl" start "$BMC_DIR")
PORT=$(cat "$BMC_DIR/serial_port")
LOG=$WORK/console.log
vm_start "$WORK/initrd.gz" "$PORT" "$LOG"

stopped=no
fault=none
# The host's side of the guest's script: faults on and off, the BMC stopped.
follow_guest() {
    if [ "$fault" = none ] && grep -q "VMTEST-FAULT-ON" "$LOG"; then
        vm_knob "$ADDRESS" "fail=0a:20:1:c0:0"
        fault=on
    fi
    if [ "$fault" = on ] && grep -q "VMTEST-FAULT-OFF" "$LOG"; then
        vm_knob "$ADDRESS" "nofaults"
        fault=off
    fi
    if [ "$stopped" = no ] && grep -q "VMTEST-STOP-BMC" "$LOG"; then
        "$BUILD/tests/test_bmc_ctl" stop "$BMC_DIR"
        stopped=yes
    fi
}
vm_wait_and_check_console 600 follow_guest

# The output of the run whose words are exactly these, and its status.
output_of() {
    awk -v want="VMTEST-CMD $1" '
        $0 == want { inside = 1; next }
        inside && /^VMTEST-RC / { print; exit }
        inside { print }' "$WORK/console.txt"
}
expect() {  # words, status, a line the output must hold
    local words=$1 status=$2 line=$3 text
    text=$(output_of "$words")
    if ! grep -qx "VMTEST-RC $status" <<< "$text"; then
        fail "'$words' did not end with status $status:"$'\n'"$text"
    elif ! grep -qF -- "$line" <<< "$text"; then
        fail "'$words' did not print '$line':"$'\n'"$text"
    fi
}

expect "-d ToBMC.sdr" 0 "Download SDR data Successful. (9h SDR records downloaded!) "
expect "ipmb_probe 20 06 01" 0 "IPMB-PROBE status=0 cc=00 length=15 "
expect "-u up-ascii.sdr encoding=ascii" 0 "The SDR data has been saved in file up-ascii.sdr! "
expect "-u up-utf8.sdr encoding=utf8" 0 "The SDR data has been saved in file up-utf8.sdr! "
expect "-u up-utf16.sdr encoding=utf16" 0 "The SDR data has been saved in file up-utf16.sdr! "
expect "-v up-utf16.sdr" 0 "Verify SDR file up-utf16.sdr with SDR repository successful! "
expect "-v ToBMC.sdr" 0 "Verify SDR file ToBMC.sdr with SDR repository successful! "
expect "-d ServerBoard.fru fruID=0" 0 "Download FRU data successful. "
expect "-u up-ascii.fru encoding=ascii fruID=0" 0 "Upload FRU data successful. "
expect "-u up-utf8.fru encoding=utf8 fruID=0" 0 "Upload FRU data successful. "
expect "-u up-utf16.fru encoding=utf16 fruID=0" 0 "Upload FRU data successful. "
expect "-v up-utf16.fru fruID=0" 0 "Verify FRU file up-utf16.fru with FRU inventory successful! "
expect "-updateFRU fieldName=snBoard fruID=0 offset=58 strType=3 strLength=A strValue=INBAND0001" 0 \
    "Update FRU data successful!"
expect "-u missing.fru encoding=ascii fruID=9" 1 "cc = CB "
expect "-u fault.sdr encoding=ascii" 1 "cc = C0 "
expect "-msgintf kcsio -u refused.sdr encoding=ascii" 1 "make sure KCS driver modules are not loaded!"
expect "-msgintf kcsio -d ToBMC.sdr" 0 "Download SDR data Successful. (9h SDR records downloaded!) "
expect "-msgintf kcsio -u kcs.sdr encoding=ascii" 0 "The SDR data has been saved in file kcs.sdr! "
expect "-msgintf kcsio -u kcs-utf8.sdr encoding=utf8" 0 "The SDR data has been saved in file kcs-utf8.sdr! "
expect "-msgintf kcsio -u kcs-utf16.sdr encoding=utf16" 0 "The SDR data has been saved in file kcs-utf16.sdr! "
expect "-msgintf kcsio -v kcs-utf16.sdr" 0 "Verify SDR file kcs-utf16.sdr with SDR repository successful! "
expect "-msgintf kcsio -v ToBMC.sdr" 0 "Verify SDR file ToBMC.sdr with SDR repository successful! "
expect "-msgintf kcsio -d ServerBoard.fru.bin fruID=1" 0 "Download FRU data successful. "
expect "-msgintf kcsio -v ServerBoard.fru.bin fruID=1" 0 \
    "Verify FRU file ServerBoard.fru.bin with FRU inventory successful! "
expect "-msgintf kcsio -u kcs-utf16.fru encoding=utf16 fruID=1" 0 "Upload FRU data successful. "
expect "-msgintf kcsio -v kcs-utf16.fru fruID=1" 0 "Verify FRU file kcs-utf16.fru with FRU inventory successful! "
expect "-msgintf kcsio -updateFRU fieldName=snProduct fruID=0 offset=A4 strType=3 strLength=9 strValue=KCS000001" 0 \
    "Update FRU data successful!"
expect "-msgintf kcsio -u missing-kcs.fru encoding=ascii fruID=9" 1 "cc = CB "
expect "-msgintf kcsio -u stopped.sdr encoding=ascii" 1 ""

# --- the BMC's state, seen from the host over LAN+ ------------------------------------------
ADDRESS=$("$BUILD/tests/test_bmc_ctl" start "$BMC_DIR")
LAN=(-n lanplus -H "$ADDRESS" -U admin -P secret -C 3)
cp "$SOURCE"/examples/{ToBMC.sdr,ServerBoard.fru.bin} "$WORK/"
cd "$WORK"
"$BUILD/VALDRN" -v ToBMC.sdr "${LAN[@]}" > host-v-sdr.txt 2>&1 || fail "host: the repository differs from ToBMC.sdr: $(cat host-v-sdr.txt)"
"$BUILD/VALDRN" -v ServerBoard.fru.bin fruID=1 "${LAN[@]}" > host-v-fru.txt 2>&1 ||
    fail "host: FRU device 1 differs from ServerBoard.fru.bin: $(cat host-v-fru.txt)"
fru=$(ipmitool -I lanplus -H "$ADDRESS" -U admin -P secret -C 3 fru print 0 2>&1 || true)
grep -q "Board Serial          : INBAND0001" <<< "$fru" || fail "host: board serial not updated: $fru"
grep -q "Product Serial        : KCS000001" <<< "$fru" || fail "host: product serial not updated: $fru"

if [ "$failures" -gt 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "all in-band checks passed"
