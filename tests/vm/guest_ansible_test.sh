#!/bin/sh
# Runs inside the virtual machine, from /init: ansible-playbook on the
# managed host itself (connection local) with the collection's modules
# in-band, first through the OpenIPMI driver, then by direct KCS I/O with
# the driver unloaded. Each run's JSON report is framed for the host:
#   VMTEST-PLAY <name>   ...report...   VMTEST-PLAY-RC <status>
cd /work || exit 1
. /guest_lib.sh

# multiprocessing, which Ansible's workers use, needs /dev/shm.
mkdir -p /dev/shm /root /work/backups
mount -t tmpfs shm /dev/shm
echo 'root:x:0:0:root:/root:/bin/sh' > /etc/passwd
echo 'root:x:0:' > /etc/group
export LC_ALL=C.UTF-8 HOME=/root USER=root ANSIBLE_COLLECTIONS_PATH=/opt/ansible \
    ANSIBLE_STDOUT_CALLBACK=json ANSIBLE_NOCOLOR=1 ANSIBLE_RETRY_FILES_ENABLED=0

play() {  # name, then ansible-playbook's options
    name=$1
    shift
    echo "VMTEST-PLAY $name"
    ansible-playbook -i localhost, /work/inband_playbook.yml "$@" < /dev/null 2> /tmp/stderr
    status=$?
    echo "VMTEST-PLAY-STDERR"
    cat /tmp/stderr
    echo "VMTEST-PLAY-RC $status"
}

# The SDR set and FRU image into device 0 through the driver; by KCS I/O
# the binary files into device 1 and a serial number into device 0; then
# through the driver again a serial number into device 1.
OPENIPMI_IMAGE="-e interface=openipmi -e sdr_file=ToBMC.sdr -e fru_file=ServerBoard.fru -e fru_id=0
    --tags image"
KCSIO="-e interface=kcsio -e sdr_file=ToBMC.sdr.bin -e fru_file=ServerBoard.fru.bin -e fru_id=1
    -e field_fru_id=0 -e field=product_serial -e offset=0xa4 -e value=KCS000002"
OPENIPMI_FIELD="-e interface=openipmi -e fru_file=ServerBoard.fru
    -e field_fru_id=1 -e field=board_serial -e offset=0x58 -e value=INBAND0001 --tags field"

echo "VMTEST-PHASE openipmi"
load_ipmi_driver
# shellcheck disable=SC2086
play openipmi-first $OPENIPMI_IMAGE
# shellcheck disable=SC2086
play openipmi-again $OPENIPMI_IMAGE

unload_ipmi_driver
printf 'KCS\nCA2\nByteBoundary\n' > intf.ini
echo "VMTEST-PHASE kcsio"
# shellcheck disable=SC2086
play kcsio-check $KCSIO --check --skip-tags inventory
# shellcheck disable=SC2086
play kcsio-first $KCSIO
# shellcheck disable=SC2086
play kcsio-again $KCSIO

echo "VMTEST-PHASE openipmi again"
load_ipmi_driver
# shellcheck disable=SC2086
play openipmi-field $OPENIPMI_FIELD
# shellcheck disable=SC2086
play openipmi-field-again $OPENIPMI_FIELD
echo "VMTEST-DONE"
