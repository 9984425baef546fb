#!/usr/bin/env bash
# The quick test: sets up a fresh Debian machine (as root), builds VALDRN
# once and runs every test of that build: unit, command line, end to end
# against the test BMC, the documentation's examples, the in-band test in
# a virtual machine, the installed tree and the Debian package.
#
#   tools/quick-test.sh [BUILD_DIR] [CMAKE_OPTION...]    (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
shift $(( $# > 0 ? 1 : 0 ))

bash tools/install-deps.sh
cmake -S . -B "$build" -DVALDRN_BUILD_TESTS=ON "$@"
cmake --build "$build" -j2
root=$PWD
cd "$build"
# ipmitool with the short vendor table: see that script.
bash "$root/tools/short-vendor-table.sh" ctest --output-on-failure -j2
