#!/usr/bin/env bash
# The man page: groff and man-db find no fault in it, it has the sections
# an operator looks for, and it names every option the usage text lists.
#
#   man_page_test.sh VALDRN_BINARY MAN_PAGE
set -euo pipefail
valdrn=$(realpath "$1")
page=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$page" >"$work/page.txt" 2>"$work/warnings.txt" ||
  fail "man could not format the page: $(cat "$work/warnings.txt")"
[ ! -s "$work/warnings.txt" ] || fail "man --warnings: $(cat "$work/warnings.txt")"
[ "$(wc -l <"$work/page.txt")" -gt 100 ] || fail "the formatted page is short: $(cat "$work/page.txt")"

for section in NAME SYNOPSIS DESCRIPTION OPTIONS "FILE ARGUMENTS" PROMPTS "EXIT STATUS" "CONFIGURATION FILE" \
               FILES ENVIRONMENT EXAMPLES "SEE ALSO"; do
  grep -qx "$section" "$work/page.txt" || fail "no $section section"
done

# Every option of the usage text, and each -updateFRU parameter.
"$valdrn" -h >"$work/usage.txt" </dev/null
mapfile -t options < <(grep -oE '^ {4}-[A-Za-z]+' "$work/usage.txt" | tr -d ' ' | sort -u)
[ "${#options[@]}" -ge 13 ] || fail "only ${#options[@]} options found in the usage text"
for option in "${options[@]}"; do
  grep -qE -- "(^|[^A-Za-z])$option([^A-Za-z]|$)" "$work/page.txt" || fail "option $option is not in the man page"
done
for word in fieldName= offset= strType= strLength= strValue= fruID= encoding= datetime snChassis snBoard snProduct \
            ascii utf8 utf16 kcsio openipmi lanplus intf.ini; do
  grep -qF -- "$word" "$work/page.txt" || fail "$word is not in the man page"
done
# The exit statuses the program uses, and the prompts' exact questions.
for status in 0 1 3 4; do
  sed -n '/^EXIT STATUS/,/^[A-Z]/p' "$work/page.txt" | grep -qE "^ {7}$status\b" || fail "exit status $status is not described"
done
grep -qF "File exists, do you want to replace it, y/n?" "$work/page.txt" || fail "the overwrite prompt is missing"
grep -qF "Would you like to delete file? (y='YES')" "$work/page.txt" || fail "the disk-full prompt is missing"
echo "PASS: ${#options[@]} options, every section, no warnings"
