#!/usr/bin/env bash
# tools/check-includes.sh passes on the tree as it is, and fails on a copy
# of it with one include pointing up, naming the file and the edge.
#
#   include_check_test.sh SOURCE_DIR
set -uo pipefail
source_dir=$(realpath "$1")
check=$source_dir/tools/check-includes.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

out=$(bash "$check" "$source_dir") || fail "the tree as it is: $out"
echo "$out"

# One wrong include at a time, each in a fresh copy of the product folders.
expect_refused() {  # file, include line, the message's start
  local file=$1 include=$2 message=$3
  rm -rf "$work/tree" && mkdir "$work/tree"
  for folder in base encoding sdr fru bmc operations cli openraw kcsio tools; do
    [ -d "$source_dir/$folder" ] && cp -r "$source_dir/$folder" "$work/tree/"
  done
  printf '%s\n' "$include" >> "$work/tree/$file"
  local refused
  if refused=$(bash "$work/tree/tools/check-includes.sh" "$work/tree"); then
    fail "'$include' in $file was not refused: $refused"
  fi
  grep -qF "$message" <<<"$refused" || fail "'$include' in $file: expected '$message', got: $refused"
  echo "refused: $file $include"
}
expect_refused sdr/sdr_record.cpp '#include "cli/diagnostics.h"' \
  "sdr/sdr_record.cpp: includes cli/diagnostics.h, but sdr/ may include only: base encoding"
expect_refused base/trace.cpp '#include "encoding/text_tokens.h"' \
  "base/trace.cpp: includes encoding/text_tokens.h, but base/ may include only: nothing below it"
expect_refused fru/fru_image.h '  #  include "sdr/sdr_record.h"' \
  "fru/fru_image.h: includes sdr/sdr_record.h"
expect_refused bmc/ipmi_command.cpp '#include "cli/diagnostics.h"' \
  "bmc/ipmi_command.cpp: includes cli/diagnostics.h"
expect_refused bmc/fru_field_update.cpp '#include "operations/bmc_session.h"' \
  "bmc/fru_field_update.cpp: includes operations/bmc_session.h, but bmc/ may include only: base encoding sdr fru"
expect_refused operations/transfer_operations.cpp '#include "cli/file_arguments.h"' \
  "operations/transfer_operations.cpp: includes cli/file_arguments.h, but operations/ may include only: base encoding sdr fru bmc"
expect_refused kcsio/kcsio.cpp '#include "cli/entry_point.h"' \
  "kcsio/kcsio.cpp: includes cli/entry_point.h, but kcsio/ may include only: base bmc"
echo "PASS: the include check holds the layers"
