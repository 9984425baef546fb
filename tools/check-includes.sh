#!/usr/bin/env bash
# The source tree's layers, bottom to top: a folder includes only itself
# and the folders this table allows it. Reads every #include "FOLDER/..."
# of the product's folders and fails on an edge the table does not list.
#
#   tools/check-includes.sh [SOURCE_DIR]      (default: the tree it is in)
set -uo pipefail
root=$(realpath "${1:-$(dirname "$0")/..}")

declare -A allowed=(
  [base]=""
  [encoding]="base"
  [sdr]="base encoding"
  [fru]="base encoding"
  [bmc]="base encoding sdr fru"
  [operations]="base encoding sdr fru bmc"
  [cli]="base encoding sdr fru bmc operations"
  [openraw]="base bmc"
  [kcsio]="base bmc"
)

status=0
edges=0
for folder in "${!allowed[@]}"; do
  [ -d "$root/$folder" ] || continue
  while IFS= read -r -d '' file; do
    relative=${file#"$root/"}
    while IFS= read -r target; do
      [[ "$target" == */* ]] || continue
      edges=$((edges + 1))
      to=${target%%/*}
      [ "$to" = "$folder" ] && continue
      [[ " ${allowed[$folder]} " == *" $to "* ]] && continue
      echo "$relative: includes $target, but $folder/ may include only: ${allowed[$folder]:-nothing below it}"
      status=1
    done < <(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$file")
  done < <(find "$root/$folder" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0)
done
if [ "$status" -eq 0 ]; then
  echo "include layers: $edges includes checked, none points up"
fi
exit "$status"
