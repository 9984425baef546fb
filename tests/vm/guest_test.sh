#!/bin/sh
# Runs inside the virtual machine, from /init: VALDRN in-band against the
# test BMC behind QEMU's KCS interface, first through the OpenIPMI driver
# (libopenraw.so), then by direct KCS I/O (libkcsio.so) with the driver
# unloaded. Every run is framed by markers that the host script checks:
#   VMTEST-CMD <words>   ...its output...   VMTEST-RC <status>
cd /work || exit 1
. /guest_lib.sh

run() {
    echo "VMTEST-CMD $*"
    VALDRN "$@" < /dev/null 2>&1
    echo "VMTEST-RC $?"
}

echo "VMTEST-PHASE openipmi"
load_ipmi_driver
ls -l /dev/ipmi0
lsmod

run -d ToBMC.sdr
# RawIPMBRequest: Get Device ID to the BMC's own IPMB address.
echo "VMTEST-CMD ipmb_probe 20 06 01"
LD_LIBRARY_PATH=/opt/valdrn ipmb_probe 20 06 01
echo "VMTEST-RC $?"
run -u up-ascii.sdr encoding=ascii
run -u up-utf8.sdr encoding=utf8
run -u up-utf16.sdr encoding=utf16
run -v up-utf16.sdr
run -v ToBMC.sdr
run -d ServerBoard.fru fruID=0
run -u up-ascii.fru encoding=ascii fruID=0
run -u up-utf8.fru encoding=utf8 fruID=0
run -u up-utf16.fru encoding=utf16 fruID=0
run -v up-utf16.fru fruID=0
run -updateFRU fieldName=snBoard fruID=0 offset=58 strType=3 strLength=A strValue=INBAND0001
run -u missing.fru encoding=ascii fruID=9
# The host makes the test BMC answer Get SDR Repository Info with 0xC0
# while this runs, then clears the fault.
echo "VMTEST-FAULT-ON"
sleep 3
run -u fault.sdr encoding=ascii
echo "VMTEST-FAULT-OFF"
sleep 3
printf 'KCS\nCA2\nByteBoundary\n' > intf.ini
run -msgintf kcsio -u refused.sdr encoding=ascii

unload_ipmi_driver
echo "VMTEST-PHASE kcsio"
lsmod
run -msgintf kcsio -d ToBMC.sdr
run -msgintf kcsio -u kcs.sdr encoding=ascii
run -msgintf kcsio -u kcs-utf8.sdr encoding=utf8
run -msgintf kcsio -u kcs-utf16.sdr encoding=utf16
run -msgintf kcsio -v kcs-utf16.sdr
run -msgintf kcsio -v ToBMC.sdr
run -msgintf kcsio -d ServerBoard.fru.bin fruID=1
run -msgintf kcsio -v ServerBoard.fru.bin fruID=1
run -msgintf kcsio -u kcs-utf16.fru encoding=utf16 fruID=1
run -msgintf kcsio -v kcs-utf16.fru fruID=1
run -msgintf kcsio -updateFRU fieldName=snProduct fruID=0 offset=A4 strType=3 strLength=9 strValue=KCS000001
run -msgintf kcsio -u missing-kcs.fru encoding=ascii fruID=9

# The host stops the test BMC when it sees this line.
echo "VMTEST-STOP-BMC"
sleep 4
run -msgintf kcsio -u stopped.sdr encoding=ascii
echo "VMTEST-DONE"
