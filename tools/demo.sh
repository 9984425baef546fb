#!/usr/bin/env bash
# Sets up a fresh Debian machine (as root), builds VALDRN and runs its main
# job against the test BMC (OpenIPMI's ipmi_sim with our module, reached
# over RMCP+ on a loopback address): the sample SDR and FRU files are
# tested, downloaded into the BMC, uploaded back into text files, verified,
# one FRU serial number is updated in place, and ipmitool shows the result.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD

bash tools/install-deps.sh
cmake -S . -B build
cmake --build build -j2 --target VALDRN valdrn_test_bmc test_bmc_ctl

WORK=$(mktemp -d)
BMC_DIR=$WORK/bmc
mkdir -p "$BMC_DIR"
stop_bmc() {
    "$ROOT/build/tests/test_bmc_ctl" stop "$BMC_DIR" 2>/dev/null || true
    rm -rf "$WORK"
}
trap stop_bmc EXIT

ADDRESS=$("$ROOT/build/tests/test_bmc_ctl" start "$BMC_DIR")
echo "Test BMC listening on $ADDRESS (UDP 623), user admin, password secret"
LAN=(-n lanplus -H "$ADDRESS" -U admin -P secret -C 3)

cp examples/ToBMC.sdr examples/ServerBoard.fru "$WORK"/
cd "$WORK"
run() {
    echo
    echo "\$ VALDRN $*"
    "$ROOT/build/VALDRN" "$@"
}

run -t ToBMC.sdr
run -t ServerBoard.fru fruID=0
run -d ToBMC.sdr "${LAN[@]}"
run -u FromBMC.sdr encoding=ascii "${LAN[@]}"
run -v FromBMC.sdr "${LAN[@]}"
run -d ServerBoard.fru fruID=0 "${LAN[@]}"
run -u FromBMC.fru encoding=utf8 fruID=0 "${LAN[@]}"
run -v FromBMC.fru fruID=0 "${LAN[@]}"
# The board serial number "BSN0001234" starts at byte 0x58 of the image.
run -updateFRU fieldName=snBoard fruID=0 offset=58 strType=3 strLength=A strValue=BSN0009999 "${LAN[@]}"

echo
echo "\$ ipmitool fru print 0"
ipmitool -I lanplus -H "$ADDRESS" -U admin -P secret -C 3 fru print 0
echo
echo "\$ ipmitool sdr elist all"
ipmitool -I lanplus -H "$ADDRESS" -U admin -P secret -C 3 sdr elist all || true
