#!/usr/bin/env bash
# The build itself holds the layers: compiled with a layer's include
# directory (BUILD_DIR/layers/<library>), a file reaches the headers of its
# own layer and those below it, and an include that points up does not
# compile.
#
#   layer_build_test.sh CXX BUILD_DIR
set -uo pipefail
cxx=$1
layers=$(realpath "$2")/layers
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

compiles() {  # library, header
  printf '#include "%s"\nint main() { return 0; }\n' "$2" > "$work/probe.cpp"
  "$cxx" -std=c++17 -fsyntax-only -I "$layers/$1" "$work/probe.cpp" 2> "$work/errors"
}
expect_compiles() {
  compiles "$1" "$2" || fail "$1 cannot include $2: $(cat "$work/errors")"
  echo "compiles: $1 includes $2"
}
expect_refused() {
  compiles "$1" "$2" && fail "$1 includes $2, a layer above it, and it compiled"
  grep -q "No such file or directory" "$work/errors" || fail "$1 including $2: $(cat "$work/errors")"
  echo "refused: $1 includes $2"
}

expect_compiles valdrn_base base/trace.h
expect_refused valdrn_base encoding/checksum.h
expect_compiles valdrn_encoding encoding/text_tokens.h
expect_refused valdrn_encoding sdr/sdr_record.h
expect_compiles valdrn_formats fru/fru_image.h
expect_compiles valdrn_formats sdr/sdr_record.h
expect_refused valdrn_formats bmc/ipmi_command.h
expect_compiles valdrn_bmc bmc/fru_field_update.h
expect_refused valdrn_bmc operations/bmc_session.h
expect_refused valdrn_bmc cli/diagnostics.h
expect_compiles valdrn_operations operations/transfer_operations.h
expect_refused valdrn_operations cli/file_arguments.h
expect_compiles valdrn_core cli/entry_point.h
expect_compiles kcsio bmc/system_interface_api.h
expect_refused kcsio cli/entry_point.h
expect_refused openraw operations/bmc_session.h
echo "PASS: no layer compiles an include of a layer above it"
