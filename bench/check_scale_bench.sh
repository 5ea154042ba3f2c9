#!/usr/bin/env bash
# The update check at scale: a remote revision file of LINES lines (default
# 100,000, about 3 MB) against a local one of as many lines, half of the
# remote entries newer. Times the whole `korautoupdate check` (process start
# to exit) next to curl fetching the same list from the same server, in PAIRS
# alternating pairs (default 7), and reports both medians, their ratio, and
# the check's peak memory against the two lists' combined size: as measured,
# and above the floor of the same check over one-line lists (the process with
# its libraries loaded).
#
#   bench/check_scale_bench.sh [pairs]
#
# Builds korautoupdate in build-bench/ (or $BUILD); KORAUTOUPDATE may name one
# that is already built.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
PAIRS=${1:-7}
LINES=${LINES:-100000}
KEY=Bench

. "$ROOT/bench/bench_server.sh"
bench_program KORAUTOUPDATE korautoupdate_cli cli/korautoupdate
bench_workdir kau-check-scale
mkdir -p "$WORK/root/$KEY" "$WORK/install"
/usr/bin/python3 - "$WORK" "$KEY" "$LINES" <<'PY'
import os, sys
work, key, n = sys.argv[1], sys.argv[2], int(sys.argv[3])
remote, local = [], []
for i in range(n):
    name = "Modules\\Component%06d.so" % i
    remote.append("%s; 1.%02d.%02d\r\n" % (name, i % 90 + 10, 1 + i % 2))
    local.append("%s; 1.%02d.01\r\n" % (name, i % 90 + 10))
open(os.path.join(work, "root", key, "RelInfoRemote.rel"), "w", newline="").write("".join(remote))
open(os.path.join(work, "install", "RelInfoLocal.rel"), "w", newline="").write("".join(local))
PY
: > "$WORK/install/App"
mkdir -p "$WORK/root/Tiny" "$WORK/tiny"
printf 'a; 1.00.01\r\n' > "$WORK/root/Tiny/RelInfoRemote.rel"
printf 'a; 1.00.00\r\n' > "$WORK/tiny/RelInfoLocal.rel"
: > "$WORK/tiny/App"

bench_start_server

# One measured command: "<seconds> <peak KiB> <user s> <system s>" appended to the file $1.
measure() {
  local out=$1
  shift
  /usr/bin/time -f '%e %M %U %S' -o "$WORK/time" "$@" >/dev/null 2>"$WORK/stderr" || {
    local rc=$?
    # The check ends with 100 when it names newer files.
    [ "$1" = "$KORAUTOUPDATE" ] && [ $rc -eq 100 ] || { cat "$WORK/stderr" >&2; exit 1; }
  }
  tail -n 1 "$WORK/time" >> "$out"
}

# /usr/bin/time gives hundredths; the wall clock around it gives more.
timed() {
  local out=$1
  shift
  local t0 t1
  t0=$(date +%s%N)
  measure "$WORK/peaks.$out" "$@"
  t1=$(date +%s%N)
  echo "$(( (t1 - t0) / 1000 ))" >> "$WORK/times.$out"
}

for _ in $(seq 1 "$PAIRS"); do
  timed check "$KORAUTOUPDATE" check --product "$KEY" --app "$WORK/install/App" --no \
    --server "127.0.0.1:$PORT" --user bench --password bench
  measure "$WORK/peaks.floor" "$KORAUTOUPDATE" check --product Tiny --app "$WORK/tiny/App" --no \
    --server "127.0.0.1:$PORT" --user bench --password bench
  timed curl curl -s -S -P - -u bench:bench -o "$WORK/curl.rel" \
    "ftp://127.0.0.1:$PORT/$KEY/RelInfoRemote.rel"
done
cmp -s "$WORK/curl.rel" "$WORK/root/$KEY/RelInfoRemote.rel" || { echo "curl fetched other bytes" >&2; exit 1; }
cmp -s "$WORK/install/RelInfoRemote.rel" "$WORK/root/$KEY/RelInfoRemote.rel" \
  || { echo "the check fetched other bytes" >&2; exit 1; }

/usr/bin/python3 - "$WORK" "$PAIRS" "$LINES" "$(stat -c %s "$WORK/root/$KEY/RelInfoRemote.rel")" \
  "$(stat -c %s "$WORK/install/RelInfoLocal.rel")" <<'PY'
import statistics, sys
work, pairs, lines, remote, local = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5])
def column(name):
    return [int(l) / 1e6 for l in open("%s/times.%s" % (work, name))]
def peaks(name):
    return [int(l.split()[1]) for l in open("%s/peaks.%s" % (work, name))]
def cpu(name):
    return [float(l.split()[2]) + float(l.split()[3]) for l in open("%s/peaks.%s" % (work, name))]
check, curl = column("check"), column("curl")
ratios = [a / b for a, b in zip(check, curl)]
peak = max(peaks("check"))
floor = statistics.median(peaks("floor"))
lists = (remote + local) / 1024
print("update check, %d remote against %d local lines (%.1f MB + %.1f MB), %d alternating pairs"
      % (lines, lines, remote / 1e6, local / 1e6, pairs))
print("  korautoupdate check  median %.3f s (min %.3f, max %.3f)" % (statistics.median(check), min(check), max(check)))
print("  curl fetch of list   median %.3f s (min %.3f, max %.3f)" % (statistics.median(curl), min(curl), max(curl)))
print("  CPU (user + system): check median %.2f s, curl median %.2f s"
      % (statistics.median(cpu("check")), statistics.median(cpu("curl"))))
print("  ratio: median of the pairs %.2f (min %.2f, max %.2f); of the medians %.2f"
      % (statistics.median(ratios), min(ratios), max(ratios), statistics.median(check) / statistics.median(curl)))
print("  peak memory of the check %d KiB = %.2f x the two lists (%d KiB)" % (peak, peak / lists, lists))
print("  above the floor of %d KiB (one-line lists): %d KiB = %.2f x the two lists"
      % (floor, peak - floor, (peak - floor) / lists))
PY
