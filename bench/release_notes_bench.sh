#!/usr/bin/env bash
# Time until the release notes dialog shows its page, in each view: fresh
# processes, the median of the first opening (view start-up included) and of
# a second opening in the same process.
#
#   bench/release_notes_bench.sh [runs]      (default 7)
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build}
RUNS=${1:-7}
cmake -S "$ROOT" -B "$BUILD" -G Ninja >/dev/null
ninja -C "$BUILD" release_notes_bench >/dev/null
WORK=$(mktemp -d /tmp/kau-notes-bench.XXXXXX)
trap 'rm -rf "$WORK"' EXIT
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
[ "$(id -u)" -ne 0 ] || export QTWEBENGINE_DISABLE_SANDBOX=1   # as root the web view needs it
{
  echo '<html><head><title>Sampler 3.10.02</title><style>body{font-family:sans-serif} h1{color:#235}</style></head><body>'
  echo '<h1>Sampler 3.10.02</h1><p>Released 2 June 2014.</p><h2>Fixes</h2><ul>'
  for i in $(seq 60); do echo "<li>Fix $i: the filter keeps its settings after a restart.</li>"; done
  echo '</ul><table border="1"><tr><th>File</th><th>Version</th></tr>'
  for i in $(seq 40); do echo "<tr><td>module$i.dll</td><td>3.10.$i</td></tr>"; done
  echo '</table></body></html>'
} > "$WORK/LatestUpdate.html"
for view in web text; do
  for i in $(seq "$RUNS"); do
    if [ $view = text ]; then export KORAUTOUPDATE_NO_WEBENGINE=1; else unset KORAUTOUPDATE_NO_WEBENGINE; fi
    "$BUILD/bench/release_notes_bench" "$WORK/LatestUpdate.html" 2>/dev/null </dev/null
  done > "$WORK/$view"
  first=$(cut -d' ' -f1 "$WORK/$view" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }')
  second=$(cut -d' ' -f2 "$WORK/$view" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }')
  echo "$view view ($(cut -d' ' -f3 "$WORK/$view" | sort -u | paste -sd,)): first opening median $first ms," \
       "second opening median $second ms ($RUNS runs)"
done
