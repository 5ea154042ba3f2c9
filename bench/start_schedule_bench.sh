#!/usr/bin/env bash
# Return time of UpdateStartSchedule, first use of the product included:
# runs the driver in fresh processes with a fresh settings store each time
# and reports the median and worst first call, and the best later call.
#
#   bench/start_schedule_bench.sh [runs]      (default 20)
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build}
RUNS=${1:-20}
cmake -S "$ROOT" -B "$BUILD" -G Ninja >/dev/null
ninja -C "$BUILD" start_schedule_bench >/dev/null
WORK=$(mktemp -d /tmp/kau-schedule-bench.XXXXXX)
trap 'rm -rf "$WORK"' EXIT
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
export KORAUTOUPDATE_FTP_SERVER=127.0.0.1:9   # never reached: the worker waits a second first
for i in $(seq "$RUNS"); do
  XDG_CONFIG_HOME="$WORK/config$i" "$BUILD/bench/start_schedule_bench" 2> >(grep -v XDG_RUNTIME_DIR >&2)
done | sort -n | awk '
  { first[NR] = $1; if (NR == 1 || $2 < later) later = $2; if ($1 > worst) worst = $1 }
  END { printf "UpdateStartSchedule, first call with first use: median %.2f ms, worst %.2f ms (%d runs); later calls: best %.3f ms\n",
               first[int((NR + 1) / 2)], worst, NR, later }'
