# shellcheck shell=dash
# Sourced by the scripts that run inside the test VM (/guest_lib.sh there).

# Loads the OpenIPMI driver and waits up to 10 s for /dev/ipmi0.
load_ipmi_driver() {
    modprobe ipmi_si
    modprobe ipmi_devintf
    for i in 1 2 3 4 5 6 7 8 9 10; do
        [ -e /dev/ipmi0 ] && return 0
        sleep 1
    done
    return 1
}

# Unloads it again, for direct KCS I/O.
unload_ipmi_driver() {
    rmmod ipmi_devintf
    rmmod ipmi_si
    rmmod ipmi_msghandler
}
