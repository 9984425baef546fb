#!/bin/sh
# shellcheck shell=dash
# Runs inside the virtual machine, from /init: in-band runs whose requests
# each meet a fault in turn. Through the OpenIPMI driver (libopenraw.so),
# then by direct KCS I/O (libkcsio.so) with the driver unloaded: the
# download of an SDR file over a repository, and a FRU field update.
#
# The host (run_vm_fault_test.sh) arms the faults in the test BMC and judges
# over LAN+ what the BMC holds afterwards. The guest asks with a console
# line "VMTEST-ASK <action> <words>" and reads the host's answer, one line,
# from its second serial port. Each case ends with a line the host checks:
#   VMTEST-CASE <name> status=<exit status> outcome=<...> claimed=<yes|no>
# where outcome is "before" or "file" (the BMC holds exactly one of them),
# "restored" (neither, and the way back the run named, or for a killed
# run its newest saved copy, put the earlier content back) or "LOST".
cd /work || exit 1
. /guest_lib.sh
export VALDRN_BACKUP_DIR=/work/backups
stty -F /dev/ttyS1 raw -echo clocal
exec 3< /dev/ttyS1

ask() {
    echo "VMTEST-ASK $*"
    read -r ANSWER <&3
}

# The fault kinds, taken in turn by the requests of a run:
#   c0 ... ff   that occurrence of the command and the five after it get
#               that completion code (as six LAN+ attempts would)
#   bmc-frozen  the BMC stops for 7 s as the request arrives: longer than
#               the 5 s the KCS driver and libkcsio wait for its status
#   bmc-reset   the BMC dies as the request arrives; the host starts it again
#   sigint      VALDRN gets SIGINT while the BMC holds the request
#   sighup      ... SIGHUP (the ssh session closed)
#   sigkill     VALDRN is killed while the BMC holds the request
#   sigquit     ... SIGQUIT (Ctrl-backslash)
#   group-sigint, group-sigquit  ... to VALDRN's whole process group, as a
#               terminal sends Ctrl-C and Ctrl-backslash (VALDRN runs under
#               setsid); neither ends a run that has changed the BMC
KINDS="c0 c1 c3 c5 ca ff bmc-frozen bmc-reset sigint sighup sigkill sigquit group-sigint group-sigquit"

# VALDRN with the interface's options; output in run.out and run.err.
valdrn() {
    # shellcheck disable=SC2086
    VALDRN "$@" $INTERFACE < /dev/null > run.out 2> run.err
}

# The n-th word of a list (1-based).
word() {
    local n=$1
    # shellcheck disable=SC2086
    set -- $2
    eval "echo \${$n}"
}

# How often the k-th request (1-based) of the list occurred up to it.
occurrence() {
    local k=$1 list=$2 i=1 n=0 wanted
    wanted=$(word "$k" "$list")
    for request in $list; do
        [ "$request" = "$wanted" ] && n=$((n + 1))
        [ "$i" -eq "$k" ] && break
        i=$((i + 1))
    done
    echo "$n"
}

# Runs the operation ($OPERATION) with one fault at one request; sets STATUS.
run_with_fault() {  # kind, request ("0a:25"), occurrence
    local kind=$1 request=$2 nth=$3 pid
    STALLED=ok
    case $kind in
    bmc-frozen)
        ask knob "stall=$request:$nth:7000"
        # shellcheck disable=SC2086
        valdrn $OPERATION
        STATUS=$?
        ;;
    bmc-reset)
        ask knob "die=$request:$nth"
        # shellcheck disable=SC2086
        valdrn $OPERATION
        STATUS=$?
        ask revive
        ;;
    sig* | group-sig*)
        ask knob "stall=$request:$nth:4000"
        # shellcheck disable=SC2086
        case $kind in
        group-*) setsid VALDRN $OPERATION $INTERFACE < /dev/null > run.out 2> run.err & ;;
        *) VALDRN $OPERATION $INTERFACE < /dev/null > run.out 2> run.err & ;;
        esac
        pid=$!
        ask stalled
        STALLED=$ANSWER
        case $kind in
        sigint) kill -INT "$pid" ;;
        sighup) kill -HUP "$pid" ;;
        sigquit) kill -QUIT "$pid" ;;
        group-sigint) kill -INT "-$pid" ;;
        group-sigquit) kill -QUIT "-$pid" ;;
        *) kill -KILL "$pid" ;;
        esac
        wait "$pid"
        STATUS=$?
        ;;
    *)
        ask knob "fail=$request:$nth:$kind:6"
        # shellcheck disable=SC2086
        valdrn $OPERATION
        STATUS=$?
        ;;
    esac
    ask knob nofaults
}

# Judges the BMC after a case and prints the case's line.
judge() {  # case name
    local outcome claimed=no copy
    ask judge "$TARGET"
    outcome=$ANSWER
    if [ "$outcome" = neither ]; then
        outcome=LOST
        if grep -q '; to put it back, run:$' run.err; then
            # The command is the line after; the KCS note may follow it.
            sh -c "$(grep -A 1 '; to put it back, run:$' run.err | tail -n 1)" > restore.out 2>&1
            ask judge "$TARGET"
            [ "$ANSWER" = before ] && outcome=restored
        elif [ "$STATUS" -eq 137 ]; then
            copy=$(ls backups/* 2> /dev/null | tail -n 1)
            # shellcheck disable=SC2086
            [ -n "$copy" ] && VALDRN -d "$copy" $RESTORE_WORDS $INTERFACE < /dev/null > restore.out 2>&1
            ask judge "$TARGET"
            [ "$ANSWER" = before ] && outcome=restored
        fi
        [ "$outcome" = LOST ] && cat run.out run.err restore.out 2> /dev/null
    fi
    grep -q "$SUCCESS" run.out && claimed=yes
    # The signal must have met VALDRN while the BMC held the request.
    [ "$STALLED" = ok ] || outcome=no-stall
    case $1 in
    *-sigkill) ;;
    *-sig*)
        cat run.out run.err
        # Only SIGKILL ends a run that may have changed the BMC.
        [ "$STATUS" -gt 128 ] && [ "$outcome" != before ] && outcome=ended-by-signal
        ;;
    esac
    echo "VMTEST-CASE $1 status=$STATUS outcome=$outcome claimed=$claimed"
}

# The target as before the operation, checked by the host: a failed FRU
# download still ends with status 0. Tried again (the BMC given time to
# come back) before the case is reported as not prepared.
prepare() {  # case name
    local try
    for try in 1 2 3; do
        # shellcheck disable=SC2086
        valdrn $PREPARE
        ask judge "$TARGET"
        [ "$ANSWER" = before ] && return 0
        sleep 2
        ask revive
    done
    echo "VMTEST-CASE $1-prepare status=1 outcome=failed claimed=no"
    cat run.out run.err
}

# Every request of the operation in turn, each with the next kind of fault
# (starting from the kind numbered $2); with $1 = 2, every other request.
matrix() {  # step, first kind (1-based), name
    local step=$1 kind_at=$2 name=$3 requests k=1 count kind request
    # shellcheck disable=SC2086
    valdrn $PREPARE
    ask snapshot "$TARGET" before
    ask record
    # shellcheck disable=SC2086
    valdrn $OPERATION || echo "VMTEST-CASE $name-clean status=$? outcome=failed claimed=no"
    ask requests
    requests=$ANSWER
    ask snapshot "$TARGET" file
    count=$(echo "$requests" | wc -w)
    echo "VMTEST-MATRIX $name requests=$count: $requests"
    while [ "$k" -le "$count" ]; do
        kind=$(word $(((kind_at - 1) % $(echo "$KINDS" | wc -w) + 1)) "$KINDS")
        request=$(word "$k" "$requests")
        prepare "$name-$k"
        run_with_fault "$kind" "$request" "$(occurrence "$k" "$requests")"
        judge "$name-$k-$request-$kind"
        k=$((k + step))
        kind_at=$((kind_at + 1))
    done
}

sdr_matrix() {  # step, first kind, name
    TARGET=sdr PREPARE="-d before.sdr" OPERATION="-d in.sdr" RESTORE_WORDS="" \
        SUCCESS="Download SDR data Successful." matrix "$@"
}
fru_matrix() {  # step, first kind, name
    TARGET=fru0 PREPARE="-d ServerBoard.fru fruID=0" RESTORE_WORDS="fruID=0" SUCCESS="Update FRU data successful!" \
        OPERATION="-updateFRU fieldName=snBoard fruID=0 offset=58 strType=3 strLength=A strValue=INBAND0001" \
        matrix "$@"
}

echo "VMTEST-PHASE openipmi"
load_ipmi_driver
INTERFACE=""
sdr_matrix 1 1 openipmi-sdr
fru_matrix 2 4 openipmi-fru

unload_ipmi_driver
echo "VMTEST-PHASE kcsio"
printf 'KCS\nCA2\nByteBoundary\n' > intf.ini
INTERFACE="-msgintf kcsio"
fru_matrix 1 1 kcsio-fru
sdr_matrix 2 6 kcsio-sdr
echo "VMTEST-DONE"
