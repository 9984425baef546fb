# Shared by the in-band VM test and the in-band benchmark: Debian's kernel,
# an initramfs around busybox with the IPMI modules and VALDRN, and QEMU
# with an emulated KCS interface wired to the test BMC. Sourced by bash.

# Fetches the kernel package once into $1; sets VMLINUZ and KVER. The VM
# tests run side by side: one fetches under a lock while the others wait,
# and the tree appears whole (renamed into place) or not at all.
vm_fetch_kernel() {
    local cache=$1
    mkdir -p "$cache"
    (
        flock 9
        if ! ls "$cache"/kernel/boot/vmlinuz-* > /dev/null 2>&1; then
            package=$(apt-cache depends linux-image-amd64 |
                sed -n 's/.*Depends: \(linux-image-6\.1\.[^ ]*-amd64\)$/\1/p' | head -1)
            [ -n "$package" ] || { echo "no linux-image-6.1 package known to apt"; exit 1; }
            (cd "$cache" && rm -f ./*.deb && apt-get download "$package" > /dev/null)
            rm -rf "$cache/kernel" "$cache/kernel.new"
            dpkg -x "$cache"/linux-image-*.deb "$cache/kernel.new"
            mv "$cache/kernel.new" "$cache/kernel"
        fi
    ) 9> "$cache/lock" || return 1
    VMLINUZ=$(ls "$cache"/kernel/boot/vmlinuz-* | head -1)
    KVER=${VMLINUZ##*/vmlinuz-}
}

# Copies the shared libraries the program or library $2 needs into the
# tree $1, each at its own path.
vm_add_libraries() {
    local root=$1 binary=$2 library
    # A library may need none (grep finds nothing then).
    ldd "$binary" | { grep -o '/[^ ]*' || true; } | while read -r library; do
        mkdir -p "$root$(dirname "$library")"
        cp -L "$library" "$root$library"
    done
}

# Copies a program into the tree $1 at its own path, with its libraries.
vm_add_binary() {
    local root=$1 binary=$2
    mkdir -p "$root$(dirname "$binary")"
    cp -L "$binary" "$root$binary"
    vm_add_libraries "$root" "$binary"
}

# The guest's tree in $1: busybox, the three IPMI modules, VALDRN and our
# libraries in /opt/valdrn, glibc's UTF-16 converters, the sample files in
# /work, and an /init that runs the guest script $5 (build dir $2, source
# dir $3, kernel cache $4).
vm_build_root() {
    local root=$1 build=$2 source=$3 cache=$4 guest=$5 module found gconv
    mkdir -p "$root"/{bin,sbin,usr/bin,usr/sbin,proc,sys,dev,tmp,run/lock,work,opt/valdrn,etc}
    cp /bin/busybox "$root/bin/busybox"
    local module_dir=$root/lib/modules/$KVER/kernel/drivers/char/ipmi
    mkdir -p "$module_dir"
    for module in ipmi_msghandler ipmi_si ipmi_devintf; do
        found=$(find "$cache/kernel/lib/modules/$KVER" -name "$module.ko*" | head -1)
        [ -n "$found" ] || { echo "module $module not in the kernel package"; return 1; }
        cp "$found" "$module_dir/"
    done
    cp "$cache/kernel/lib/modules/$KVER"/modules.{order,builtin,builtin.modinfo} "$root/lib/modules/$KVER/"
    depmod -b "$root" "$KVER"
    cp "$build/VALDRN" "$build/libopenraw.so" "$build/libkcsio.so" "$root/opt/valdrn/"
    for binary in "$build/VALDRN" "$build/libopenraw.so" "$build/libkcsio.so"; do
        vm_add_libraries "$root" "$binary"
    done
    # iconv needs these for the UTF-16 files.
    gconv=$(dirname "$(find /usr/lib -name UTF-16.so -path '*gconv*' | head -1)")
    mkdir -p "$root$gconv"
    cp -a "$gconv"/gconv-modules* "$gconv"/UTF-16.so "$gconv"/ISO8859-1.so "$root$gconv/"
    cp "$source"/examples/{ToBMC.sdr,ServerBoard.fru,ServerBoard.fru.bin} "$root/work/"
    cp "$guest" "$root/guest.sh"
    cp "$source/tests/vm/guest_lib.sh" "$root/guest_lib.sh"
    cat > "$root/init" <<'INIT'
#!/bin/busybox sh
/bin/busybox --install -s
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
export PATH=/opt/valdrn:/bin:/sbin:/usr/bin:/usr/sbin
echo "VMTEST-BOOTED"
sh /guest.sh
poweroff -f
INIT
    chmod +x "$root/init" "$root/guest.sh"
}

# Debian's python3 and ansible-core, with the packages ansible-playbook
# imports, into the tree $1 at their own paths; their byte code too, since
# compiling it under emulation would take minutes. Also the C.UTF-8 locale
# Ansible insists on.
vm_add_ansible() {
    local root=$1 version list library file
    version=$(readlink -f /usr/bin/python3)
    version=${version##*/python}
    list=$(mktemp)
    dpkg -L "python$version-minimal" "libpython$version-minimal" "libpython$version-stdlib" \
        python3-minimal ansible-core python3-jinja2 python3-markupsafe python3-yaml \
        python3-packaging python3-resolvelib |
        grep -v -e '^/usr/share/\(doc\|man\|lintian\)/' -e '/ansible_test/' | while read -r file; do
            if [ -f "$file" ] || [ -L "$file" ]; then
                echo "$file"
            elif [ -d "$file/__pycache__" ]; then
                find "$file/__pycache__" -maxdepth 1 -name '*.pyc'
            fi
        done | sort -u > "$list"
    tar -cf - --no-recursion -T "$list" 2> /dev/null | tar -xf - -C "$root"
    mkdir -p "$root/usr/lib/locale"
    cp -a /usr/lib/locale/C.utf8 "$root/usr/lib/locale/"
    grep '\.so' "$list" | while read -r library; do
        vm_add_libraries "$root" "$library"
    done
    vm_add_binary "$root" "/usr/bin/python$version"
    rm -f "$list"
}

# Packs the tree $1 into the gzip'd cpio archive $2.
vm_pack() {
    (cd "$1" && find . | cpio -o -H newc 2> /dev/null | gzip -1 > "$2")
}

# Boots the kernel with the initramfs $1, the KCS interface connected to
# TCP port $2 of the test BMC, console into $3; sets QEMU_PID. With $4, the
# guest's second serial port (ttyS1) reads what the host writes into the
# FIFO $4.in (and writes into $4.out, which is made too).
vm_start() {
    local control=()
    if [ -n "${4:-}" ]; then
        mkfifo "$4.in" "$4.out"
        # The console stays the first serial port.
        control=(-serial mon:stdio -chardev "pipe,id=control,path=$4" -serial chardev:control)
    fi
    qemu-system-x86_64 -accel tcg -M pc -m "${VM_MEMORY:-256}" -smp 1 -kernel "$VMLINUZ" -initrd "$1" \
        -append "console=ttyS0 quiet" -nographic -no-reboot \
        -chardev socket,id=ipmi0,host=127.0.0.1,port="$2",reconnect=1 \
        -device ipmi-bmc-extern,id=bmc0,chardev=ipmi0 -device isa-ipmi-kcs,bmc=bmc0 \
        "${control[@]}" < /dev/null > "$3" 2>&1 &
    QEMU_PID=$!
}

# The start of a VM test (build dir $1, source dir $2): sets BUILD, SOURCE,
# CACHE, WORK (a new temporary folder) and BMC_DIR; on exit QEMU and the
# test BMC are stopped and WORK removed. fail() reports a failed check and
# counts it in $failures.
vm_test_setup() {
    BUILD=$(realpath "$1")
    SOURCE=$(realpath "$2")
    CACHE=$BUILD/vm-cache
    WORK=$(mktemp -d)
    BMC_DIR=$WORK/bmc
    QEMU_PID=
    failures=0
    trap vm_test_cleanup EXIT
}

vm_test_cleanup() {
    if [ -n "$QEMU_PID" ]; then
        kill "$QEMU_PID" 2> /dev/null || true
    fi
    "$BUILD/tests/test_bmc_ctl" stop "$BMC_DIR" 2> /dev/null || true
    rm -rf "$WORK"
}

# Waits for QEMU to end, at most $1 seconds, calling the function $2 (when
# given) every 0.2 s meanwhile; then shows the console, without carriage
# returns, as $WORK/console.txt, and checks that the guest booted and its
# script ran to its end.
vm_wait_and_check_console() {
    local limit=$1 poll=${2:-} deadline=$((SECONDS + $1))
    while kill -0 "$QEMU_PID" 2>/dev/null; do
        [ -z "$poll" ] || "$poll"
        if [ "$SECONDS" -gt "$deadline" ]; then
            fail "the VM did not finish within $limit s"
            kill "$QEMU_PID"
            break
        fi
        sleep 0.2
    done
    QEMU_PID=
    tr -d '\r' < "$WORK/console.log" > "$WORK/console.txt"
    cat "$WORK/console.txt"
    echo "=== checks"
    grep -q "VMTEST-BOOTED" "$WORK/console.txt" || fail "the guest did not boot"
    grep -q "VMTEST-DONE" "$WORK/console.txt" || fail "the guest test did not run to its end"
}

fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# Sends the test BMC at address $1 its OEM knob request, the setting $2
# carried as ASCII.
vm_knob() {
    local bytes
    bytes=$(printf '%s' "$2" | od -An -tx1 | tr -s ' \n' ' ' | sed 's/ \([0-9a-f]\)/ 0x\1/g')
    # shellcheck disable=SC2086
    ipmitool -I lanplus -H "$1" -U admin -P secret -C 3 raw 0x30 0x01 $bytes > /dev/null
}
