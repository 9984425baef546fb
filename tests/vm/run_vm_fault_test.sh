#!/usr/bin/env bash
# In-band faults, for real: boots Debian's kernel in QEMU with the KCS
# interface wired to the test BMC and runs tests/vm/guest_fault_test.sh,
# whose runs meet a fault at each request in turn. This side arms the
# faults in the BMC (over LAN+), starts it again when it died, and judges
# what it holds after each case, answering the guest through its second
# serial port. Every case must leave the BMC as it was or as the file, or
# name the way back that restores it; no case may claim success for work
# that was not done.
#
# Usage: run_vm_fault_test.sh BUILD-DIR SOURCE-DIR
set -euo pipefail

source "$(dirname "$0")/vm_lib.sh"
vm_test_setup "$1" "$2"
vm_fetch_kernel "$CACHE"
ROOT=$WORK/root
vm_build_root "$ROOT" "$BUILD" "$SOURCE" "$CACHE" "$SOURCE/tests/vm/guest_fault_test.sh"

# The repository before the download (three records of the example file)
# and the file downloaded over it (two others, one of two partial adds).
{
    echo "_SDR ("
    awk '/^\/\/ Processors 1 and 2/,/^$/' "$SOURCE/examples/ToBMC.sdr"
    awk '/^\/\/ The board.s FRU inventory/,/^$/' "$SOURCE/examples/ToBMC.sdr"
    awk '/^\/\/ Vendor data/,/^\)$/' "$SOURCE/examples/ToBMC.sdr"
} > "$ROOT/work/before.sdr"
{
    echo "_SDR ("
    awk '/^\/\/ Processor 1 temperature/,/^$/' "$SOURCE/examples/ToBMC.sdr"
    awk '/^\/\/ The BMC /,/^$/' "$SOURCE/examples/ToBMC.sdr"
    echo ")"
} > "$ROOT/work/in.sdr"
vm_pack "$ROOT" "$WORK/initrd.gz"

mkdir -p "$BMC_DIR"
# Two status polls after the erase and after the initialization agent.
ADDRESS=$("$BUILD/tests/test_bmc_ctl" start "$BMC_DIR" "erase_polls=2 init_polls=2")
PORT=$(cat "$BMC_DIR/serial_port")
LAN=(-I lanplus -H "$ADDRESS" -U admin -P secret -C 3)
LOG=$WORK/console.log
vm_start "$WORK/initrd.gz" "$PORT" "$LOG" "$WORK/control"
# Held open, so that QEMU never sees the answers' side closed.
exec 7<> "$WORK/control.in"
exec 8<> "$WORK/control.out"

answer() {
    printf '%s\n' "$1" >&7
}

knob() {
    vm_knob "$ADDRESS" "$1"
}

bmc_alive() {
    local pid state
    pid=$(cat "$BMC_DIR/pid")
    state=$(awk '{print $3}' "/proc/$pid/stat" 2> /dev/null || true)
    [ -n "$state" ] && [ "$state" != Z ]
}

# The BMC started again when it died: on its address, port and state.
restart_if_dead() {
    if ! bmc_alive; then
        "$BUILD/tests/test_bmc_ctl" restart "$BMC_DIR" > /dev/null
        restarts=$((restarts + 1))
    fi
}

# ...and QEMU's KCS interface connected to it again (QEMU tries every
# second): an established connection on the BMC's serial port.
revive() {
    local i local_port
    restart_if_dead
    local_port=$(printf ':%04X' "$PORT")
    for i in $(seq 100); do
        if awk -v port="$local_port" '$2 ~ port"$" && $4 == "01" { found = 1 } END { exit !found }' /proc/net/tcp; then
            return 0
        fi
        sleep 0.1
    done
    fail "QEMU did not connect to the restarted BMC within 10 s"
    return 1
}

# What a target holds, as hexadecimal text: the repository's records
# without their IDs (the BMC chooses them), or FRU device 0's whole area.
content() {
    local dump=$WORK/dump
    rm -f "$dump"
    case $1 in
    sdr)
        # An empty repository is an empty dump, and a complaint.
        ipmitool "${LAN[@]}" sdr dump "$dump" > /dev/null 2>&1 || true
        local bytes i=0 length out=""
        read -ra bytes <<< "$(od -An -v -tx1 "$dump" | tr -s ' \n' ' ')"
        while [ $((i + 5)) -le "${#bytes[@]}" ]; do
            length=$((16#${bytes[i + 4]} + 5))
            out+="$(IFS= && echo "${bytes[*]:i+2:length-2}")|"
            i=$((i + length))
        done
        echo "$out"
        ;;
    fru0)
        ipmitool "${LAN[@]}" fru read 0 "$dump" > /dev/null
        od -An -v -tx1 "$dump" | tr -d ' \n'
        echo
        ;;
    esac
}

# Waits up to 60 s for the BMC to hold a request (the stall's marker).
stalled() {
    local i
    for i in $(seq 600); do
        if [ -e "$BMC_DIR/bmc.state.stalled" ]; then
            rm -f "$BMC_DIR/bmc.state.stalled"
            return 0
        fi
        sleep 0.1
    done
    return 1
}

handle() {  # the words after VMTEST-ASK
    local action=$1 now
    shift
    case $action in
    knob) if knob "$*"; then answer ok; else answer refused; fi ;;
    revive) if revive; then answer ok; else answer failed; fi ;;
    stalled) if stalled; then answer ok; else answer timeout; fi ;;
    record)
        : > "$WORK/commands"
        knob "cmdlog=$WORK/commands" && answer ok
        ;;
    requests)
        knob "cmdlog="
        # The storage requests only: not this side's knobs.
        answer "$(grep '^0a:' "$WORK/commands" | tr '\n' ' ')"
        ;;
    snapshot)
        content "$1" > "$WORK/$1-$2"
        answer ok
        ;;
    judge)
        now=$(content "$1")
        if [ "$now" = "$(cat "$WORK/$1-before")" ]; then
            answer before
        elif [ "$now" = "$(cat "$WORK/$1-file")" ]; then
            answer file
        else
            answer neither
        fi
        ;;
    *) answer unknown ;;
    esac
}

restarts=0
asked=0
deadline=$((SECONDS + 1500))
while kill -0 "$QEMU_PID" 2> /dev/null; do
    restart_if_dead
    mapfile -t asks < <(tr -d '\r' < "$LOG" | sed -n 's/^VMTEST-ASK //p')
    while [ "$asked" -lt "${#asks[@]}" ]; do
        # shellcheck disable=SC2086
        handle ${asks[$asked]}
        asked=$((asked + 1))
    done
    if [ "$SECONDS" -gt "$deadline" ]; then
        fail "the VM did not finish within 1500 s"
        kill "$QEMU_PID"
        break
    fi
    sleep 0.05
done
QEMU_PID=
tr -d '\r' < "$LOG" > "$WORK/console.txt"
grep -v '^VMTEST-ASK ' "$WORK/console.txt"
echo "=== checks"

grep -q "VMTEST-BOOTED" "$WORK/console.txt" || fail "the guest did not boot"
grep -q "VMTEST-DONE" "$WORK/console.txt" || fail "the guest test did not run to its end"
for matrix in openipmi-sdr openipmi-fru kcsio-fru kcsio-sdr; do
    grep -q "^VMTEST-MATRIX $matrix requests=[1-9]" "$WORK/console.txt" || fail "$matrix: no requests recorded"
done
cases=0
while read -r _ name status outcome claimed; do
    cases=$((cases + 1))
    case $outcome in
    outcome=before | outcome=file | outcome=restored) ;;
    *) fail "$name: $status $outcome" ;;
    esac
    if [ "$claimed" = claimed=yes ] && [ "$outcome" != outcome=file ]; then
        fail "$name: success claimed, but the BMC does not hold the file ($outcome)"
    fi
done < <(grep '^VMTEST-CASE ' "$WORK/console.txt")
echo "$cases in-band fault cases, $restarts BMC restart(s)"
[ "$cases" -ge 40 ] || fail "only $cases cases ran"

if [ "$failures" -gt 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "all in-band fault cases kept the BMC's data"
