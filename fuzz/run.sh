#!/usr/bin/env bash
# Runs the fuzz targets of a fuzz build, each for the given time, two at a
# time, on a corpus that starts from the seeds and keeps what the fuzzer
# finds (BUILD/fuzz-corpus/<target>). Crashes land in
# BUILD/fuzz-artifacts/<target>/ and make the script fail. The inputs of
# earlier findings (fuzz/regressions/<target>/) are run first. A summary
# line per target gives the executions.
#
#   fuzz/run.sh BUILD SECONDS [MAX_RUNS] [TARGET...]
#
# MAX_RUNS (0 = no limit) stops a target earlier once it has run that often.
set -uo pipefail
build=$(realpath "$1")
seconds=$2
max_runs=${3:-0}
shift $(( $# >= 3 ? 3 : $# ))
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(fuzz_sdr_binary_reader fuzz_sdr_exact_copy fuzz_sdr_text_reader fuzz_fru_text_reader fuzz_fru_validation
           fuzz_fru_text_writer fuzz_sdr_text_writer fuzz_command_line fuzz_ipmitool_output)
fi

regressions=$(dirname "$(realpath "$0")")/regressions
corpus=$build/fuzz-corpus
seeds=$build/fuzz-seeds
logs=$build/fuzz-logs
rm -rf "$seeds"
mkdir -p "$corpus" "$logs"
"$build/fuzz/make_fuzz_corpus" "$seeds" || exit 1

# The targets write their files into a scratch directory: memory is faster.
[ -d /dev/shm ] && [ -w /dev/shm ] && export TMPDIR=/dev/shm
# The in-band libraries must not be reachable from a fuzz run.
unset LD_LIBRARY_PATH
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

run_one() {
  local target=$1
  local artifacts=$build/fuzz-artifacts/$target
  mkdir -p "$corpus/$target" "$artifacts"
  cp -n "$seeds/$target"/* "$corpus/$target"/ 2>/dev/null
  # The inputs of earlier findings first: each must pass.
  if [ -d "$regressions/$target" ]; then
    if ! "$build/fuzz/$target" -timeout=20 "$regressions/$target"/* > "$logs/$target.regressions.log" 2>&1; then
      echo "FAIL $target: an earlier finding is back; see $logs/$target.regressions.log"
      return 1
    fi
  fi
  local runs=()
  [ "$max_runs" -gt 0 ] && runs=(-runs="$max_runs")
  "$build/fuzz/$target" -max_total_time="$seconds" "${runs[@]}" -timeout=20 -rss_limit_mb=2560 \
      -max_len=8192 -close_fd_mask=3 -print_final_stats=1 \
      -artifact_prefix="$artifacts/" "$corpus/$target" > "$logs/$target.log" 2>&1
  local status=$?
  local done_line execs
  done_line=$(grep -E '^Done [0-9]+ runs' "$logs/$target.log" | tail -1)
  execs=$(grep -E '^stat::number_of_executed_units' "$logs/$target.log" | awk '{print $2}')
  if [ $status -eq 0 ]; then
    echo "PASS $target: ${execs:-?} executions; ${done_line:-}; corpus $(ls "$corpus/$target" | wc -l)"
  else
    echo "FAIL $target (status $status): see $logs/$target.log and $artifacts"
    grep -E 'ERROR|FINDING|runtime error|SUMMARY' "$logs/$target.log" | head -5
  fi
  return $status
}

status=0
pids=()
names=()
for target in "${targets[@]}"; do
  run_one "$target" > "$logs/$target.summary" &
  pids+=($!)
  names+=("$target")
  if [ ${#pids[@]} -ge 2 ]; then
    wait "${pids[0]}" || status=1
    cat "$logs/${names[0]}.summary"
    pids=("${pids[@]:1}")
    names=("${names[@]:1}")
  fi
done
for i in "${!pids[@]}"; do
  wait "${pids[$i]}" || status=1
  cat "$logs/${names[$i]}.summary"
done
echo "=== Fuzzing: $([ $status -eq 0 ] && echo 'no findings' || echo 'FINDINGS')"
exit $status
