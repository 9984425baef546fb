#!/usr/bin/env bash
# Sets up a fresh Debian machine (as root), builds VALDRN twice (plain, and
# with AddressSanitizer + UndefinedBehaviorSanitizer) and runs every test
# in both builds; then the command-line and end-to-end tests again with
# VALDRN under valgrind, and every fuzz target for FUZZ_SECONDS (60).
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install-deps.sh

cmake -S . -B build -DVALDRN_BUILD_TESTS=ON -DVALDRN_BUILD_BENCH=ON
cmake --build build -j2
cmake -S . -B build-asan -DVALDRN_BUILD_TESTS=ON -DVALDRN_SANITIZE=ON
cmake --build build-asan -j2
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DVALDRN_BUILD_TESTS=OFF -DVALDRN_BUILD_FUZZ=ON
cmake --build build-fuzz -j2

status=0
echo "=== Tests: plain build"
(cd build && ctest --output-on-failure -j2) || status=1
echo "=== Tests: sanitizer build"
(cd build-asan && ctest --output-on-failure -j2) || status=1
echo "=== Tests: command line and end to end under valgrind"
bash tools/valgrind-suite.sh build || status=1
echo "=== Fuzzing: ${FUZZ_SECONDS:-60} s per target"
bash fuzz/run.sh build-fuzz "${FUZZ_SECONDS:-60}" || status=1
exit "$status"
