#!/usr/bin/env bash
# run_fuzzer.sh FUZZER SEEDS SECONDS ARTIFACTS [libFuzzer options...]
# Runs FUZZER for SECONDS on a scratch copy of the seed corpus SEEDS, so that
# the inputs it finds stay out of the source tree. A crash, a sanitizer
# report, a leak or a slow input fails the run; the input that did it is kept
# in ARTIFACTS.
set -euo pipefail
fuzzer=$1 seeds=$2 seconds=$3 artifacts=$4
shift 4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r "$seeds"/. "$work"/
mkdir -p "$artifacts"
name=$(basename "$fuzzer")
"$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
  -artifact_prefix="$artifacts/$name-" "$@" "$work" 2>"$work.log" || {
  status=$?
  tail -n 80 "$work.log"
  rm -f "$work.log"
  echo "$name failed (exit $status); the input is under $artifacts" >&2
  exit "$status"
}
# The closing figures: executions, their rate, the corpus reached.
grep -E '^(stat::number_of_executed_units|stat::average_exec_per_sec|stat::peak_rss_mb|#[0-9]+ +DONE)' "$work.log" || true
rm -f "$work.log"
