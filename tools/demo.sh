#!/usr/bin/env bash
# Sets up a fresh Debian machine (as root), builds VALDRN and runs its main
# job.
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh
cmake -S . -B build -DVALDRN_BUILD_TESTS=OFF
cmake --build build -j2

build/VALDRN -h
