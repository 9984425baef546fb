#!/usr/bin/env bash
# An in-band library's entry point that drifts from the header VALDRN
# loads it by does not compile: each library includes that header.
#
#   entry_points_test.sh CXX_COMPILER SOURCE_DIR
set -uo pipefail
cxx=$1
source_dir=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

for library in openraw/openraw.cpp kcsio/kcsio.cpp; do
  grep -q '#include "bmc/system_interface_api.h"' "$source_dir/$library" ||
    fail "$library does not include bmc/system_interface_api.h"
done

compiles() {  # a definition after the header
  printf '#include "bmc/system_interface_api.h"\nextern "C" {\n%s\n}\n' "$1" > "$work/entry.cpp"
  "$cxx" -std=c++17 -fsyntax-only -I "$source_dir" "$work/entry.cpp" 2>"$work/errors"
}
compiles 'void* InitKCSIO(unsigned short, RegisterSpacing) { return nullptr; }' ||
  fail "the declared signature does not compile: $(cat "$work/errors")"
for drifted in 'void* InitKCSIO(unsigned short, int) { return nullptr; }' \
               'int KCSIOSetIOTimeOut(void*, unsigned short) { return 0; }' \
               'void* RawOpen(int) { return nullptr; }'; do
  if compiles "$drifted"; then
    fail "a drifted entry point compiled: $drifted"
  fi
  echo "refused: $drifted"
done
echo "PASS: entry points are checked against the header"
