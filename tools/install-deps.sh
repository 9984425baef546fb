#!/usr/bin/env bash
# Installs the Debian packages VALDRN needs to build and test, skipping
# those already installed. Run as root on Debian bookworm.
set -euo pipefail

packages=(
  cmake g++ make
  libgtest-dev libgmock-dev libbenchmark-dev
  ipmitool freeipmi-tools openipmi libopenipmi-dev strace util-linux
  qemu-system-x86 busybox-static cpio kmod
  valgrind clang libclang-rt-14-dev
  dpkg-dev man-db groff-base binutils gzip lintian
  ansible-core python3-venv python3-voluptuous pylint python3-pycodestyle yamllint python3-jsonschema
  # The tests read Ansible's JSON reports: the json callback is in the
  # ansible.posix collection, which this package carries.
  ansible
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if [ "${#missing[@]}" -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
