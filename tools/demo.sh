#!/usr/bin/env bash
# Sets up a fresh Debian machine (as root), builds VALDRN and runs its main
# job on the sample files: -t tests each one without a BMC.
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh
cmake -S . -B build
cmake --build build -j2 --target VALDRN

cd examples
../build/VALDRN -t ToBMC.sdr
../build/VALDRN -t ToBMC.sdr.bin
../build/VALDRN -t ServerBoard.fru fruID=0
../build/VALDRN -t ServerBoard.fru.bin fruID=0
