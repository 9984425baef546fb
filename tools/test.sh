#!/usr/bin/env bash
# Sets up a fresh Debian machine (as root), builds VALDRN twice (plain, and
# with AddressSanitizer + UndefinedBehaviorSanitizer) and runs every test
# in both builds.
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh

cmake -S . -B build -DVALDRN_BUILD_TESTS=ON -DVALDRN_BUILD_BENCH=ON
cmake --build build -j2
cmake -S . -B build-asan -DVALDRN_BUILD_TESTS=ON -DVALDRN_SANITIZE=ON
cmake --build build-asan -j2

status=0
echo "=== Tests: plain build"
(cd build && ctest --output-on-failure -j2) || status=1
echo "=== Tests: sanitizer build"
(cd build-asan && ctest --output-on-failure -j2) || status=1
exit "$status"
