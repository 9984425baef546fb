#!/usr/bin/env bash
# Runs the command-line cases and the end-to-end tests of a plain build with
# every VALDRN run under valgrind memcheck. A memory error or a definite
# leak makes valgrind end the run with status 97, which no test expects;
# the reports are printed at the end.
#
#   tools/valgrind-suite.sh [BUILD [CTEST_OPTION...]]      (default: build)
set -uo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build}")
shift $(( $# > 0 ? 1 : 0 ))
logs=$build/valgrind-logs
rm -rf "$logs"
mkdir -p "$logs"
chmod 1777 "$logs"  # a test runs VALDRN as nobody, and valgrind writes its log here
export VALDRN_TEST_WRAPPER="valgrind --quiet --error-exitcode=97 --leak-check=full --show-leak-kinds=definite
  --errors-for-leak-kinds=definite --track-fds=no --log-file=$logs/valdrn.%p.log"
(cd "$build" && ctest --output-on-failure -j2 -L '^(cli|e2e)$' "$@")
status=$?
runs=$(ls "$logs" | wc -l)
if [ "$runs" -eq 0 ]; then
  echo "=== valgrind: no VALDRN run went through valgrind"
  status=1
fi
reports=$(find "$logs" -type f -size +0 | sort)
if [ -n "$reports" ]; then
  echo "=== valgrind reports"
  for report in $reports; do
    echo "--- $report"
    cat "$report"
  done
  status=1
fi
echo "=== valgrind: $runs processes checked (VALDRN runs and the forks they start for ipmitool), $([ $status -eq 0 ] && echo 'no errors, no definite leaks' || echo 'FAILED')"
exit $status
