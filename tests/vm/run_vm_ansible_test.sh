#!/usr/bin/env bash
# The Ansible collection in-band, for real: boots Debian's kernel in QEMU
# (TCG) with an emulated KCS interface wired to the test BMC, and Debian's
# python3 and ansible-core in the guest; tests/vm/guest_ansible_test.sh
# runs tests/vm/inband_playbook.yml there with connection local, through
# the OpenIPMI driver, then by direct KCS I/O. The reports are checked by
# check_ansible_inband.py, and the BMC's state afterwards from the host
# over LAN+ (ipmitool and VALDRN).
#
# Usage: run_vm_ansible_test.sh BUILD-DIR SOURCE-DIR
set -euo pipefail

source "$(dirname "$0")/vm_lib.sh"
vm_test_setup "$1" "$2"
vm_fetch_kernel "$CACHE"
ROOT=$WORK/root
vm_build_root "$ROOT" "$BUILD" "$SOURCE" "$CACHE" "$SOURCE/tests/vm/guest_ansible_test.sh"
vm_add_ansible "$ROOT"
COLLECTION=$ROOT/opt/ansible/ansible_collections/valdrn/bmc
mkdir -p "$COLLECTION" "$ROOT/opt/ansible/ansible_collections/ansible"
cp -r "$SOURCE"/ansible/ansible_collections/valdrn/bmc/{galaxy.yml,meta,plugins} "$COLLECTION/"
# The json callback, for reports the host can check.
cp -r /usr/lib/python3/dist-packages/ansible_collections/ansible/posix "$ROOT/opt/ansible/ansible_collections/ansible/"
cp "$SOURCE/tests/vm/inband_playbook.yml" "$SOURCE/examples/ToBMC.sdr.bin" "$ROOT/work/"
vm_pack "$ROOT" "$WORK/initrd.gz"

mkdir -p "$BMC_DIR"
ADDRESS=$("$BUILD/tests/test_bmc_ctl" start "$BMC_DIR")
PORT=$(cat "$BMC_DIR/serial_port")
LOG=$WORK/console.log
# The initramfs holds python3 and Ansible, unpacked in the guest's memory.
VM_MEMORY=768 vm_start "$WORK/initrd.gz" "$PORT" "$LOG"

vm_wait_and_check_console 900
python3 "$SOURCE/tests/vm/check_ansible_inband.py" "$WORK/console.txt" || fail "the playbook runs"

# --- the BMC's state, seen from the host over LAN+ ---------------------------------
LAN=(-n lanplus -H "$ADDRESS" -U admin -P secret -C 3)
cp "$SOURCE"/examples/ToBMC.sdr "$WORK/"
cd "$WORK"
"$BUILD/VALDRN" -v ToBMC.sdr "${LAN[@]}" > host-v-sdr.txt 2>&1 ||
    fail "host: the repository differs from ToBMC.sdr: $(cat host-v-sdr.txt)"
for device in 0 1; do
    ipmitool -I lanplus -H "$ADDRESS" -U admin -P secret -C 3 fru print "$device" > "fru$device.txt" 2>&1 || true
done
# Device 0: the image written through the driver, then a product serial
# number by KCS I/O; device 1: the image by KCS I/O, then a board serial
# number through the driver.
grep -q "Product Serial        : KCS000002" fru0.txt || fail "host: product serial of FRU 0 not written: $(cat fru0.txt)"
grep -q "Board Serial          : INBAND0001" fru1.txt || fail "host: board serial of FRU 1 not written: $(cat fru1.txt)"
for device in 0 1; do
    grep -q "Board Product         : X99 Server Board" "fru$device.txt" || fail "host: FRU $device does not hold the image: $(cat "fru$device.txt")"
done

if [ "$failures" -gt 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "all in-band Ansible checks passed"
