#!/bin/sh
# Runs in the benchmark VM (see inband_bench.sh): the per-request latency
# of VALDRN's in-band path next to ipmitool's, both through the OpenIPMI
# driver, on a repository of 50 records.
cd /work || exit 1
. /guest_lib.sh
load_ipmi_driver
VALDRN -d bench.sdr > /dev/null 2>&1 || echo "BENCH-ERROR download"
# Requests of one upload, counted in its trace.
requests=$(VALDRN -debugmsg -u count.sdr encoding=ascii 2>&1 | grep -c "NetFn=0x")
# As many requests through ipmitool in one process (Get SDR Repository
# Info: an answer of the size of a Get SDR chunk).
i=0
: > requests.txt
while [ "$i" -lt "$requests" ]; do
    echo "raw 0x0a 0x20" >> requests.txt
    i=$((i + 1))
done
valdrn_us=$(run_timed 7 --remove up.sdr VALDRN -u up.sdr encoding=ascii)
ipmitool_us=$(run_timed 7 ipmitool -I open exec requests.txt)
echo "BENCH-RESULT requests=$requests valdrn_us=$valdrn_us ipmitool_us=$ipmitool_us"
