#!/usr/bin/env bash
# Times one update check against the local test FTP server (pyftpdlib,
# tests/support/ftp_server.py) for a product of FILES files, half of them
# newer on the server, repeated REPS times. Reports the median wall time of
# one check and the FTP commands the client sent for each check, taken from
# the server's command log.
#
#   bench/update_check_bench.sh [repetitions]     (default 20)
#
# FILES (default 1000) sets the product's size. BARE=1 leaves only the revision
# file in the product's directory on the server, which shows what the name
# listing of the existence test costs. Builds update_check_bench in
# build-bench/ (or $BUILD); DRIVER may name one that is already built.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
REPS=${1:-20}
FILES=${FILES:-1000}
KEY=Bench

. "$ROOT/bench/bench_server.sh"
bench_program DRIVER update_check_bench bench/update_check_bench
bench_workdir kau-check-bench

# The product: FILES small files on the server, every even one newer there.
mkdir -p "$WORK/root/$KEY" "$WORK/install"
/usr/bin/python3 - "$WORK" "$KEY" "$FILES" "${BARE:-0}" <<'PY'
import os, sys
work, key, n, bare = sys.argv[1], sys.argv[2], int(sys.argv[3]), sys.argv[4] == "1"
remote, local = [], []
for i in range(n):
    name = "file%05d.dat" % i
    if not bare:
        with open(os.path.join(work, "root", key, name), "wb") as f:
            f.write(b"x" * 100)
    remote.append("%s; 1.00.01\r\n" % name)
    local.append("%s; %s\r\n" % (name, "1.00.00" if i % 2 == 0 else "1.00.01"))
open(os.path.join(work, "root", key, "RelInfoRemote.rel"), "w", newline="").write("".join(remote))
open(os.path.join(work, "install", "RelInfoLocal.rel"), "w", newline="").write("".join(local))
PY

bench_start_server
export KORAUTOUPDATE_FTP_SERVER=127.0.0.1:$PORT KORAUTOUPDATE_FTP_USER=bench \
       KORAUTOUPDATE_FTP_PASSWORD=bench

"$DRIVER" --benchmark_repetitions="$REPS" --benchmark_format=json \
  --benchmark_out="$WORK/result.json" --benchmark_out_format=json "$KEY" "$WORK/install" >/dev/null
# QUIT of the last check may still be on its way into the log.
for _ in $(seq 1 100); do
  [ "$(grep -c '^QUIT' "$WORK/control/commands.log" || true)" -ge "$REPS" ] && break
  sleep 0.02
done

/usr/bin/python3 - "$WORK/result.json" "$WORK/control/commands.log" "$REPS" "$FILES" "${BARE:-0}" <<'PY'
import json, sys
result, log, reps, files = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
bare = sys.argv[5] == "1"
runs = json.load(open(result))["benchmarks"]
times = sorted(b["real_time"] for b in runs if b.get("run_type") == "iteration")
if any(b.get("error_occurred") for b in runs):
    sys.exit("a check failed: " + next(b["error_message"] for b in runs if b.get("error_occurred")))
median = next(b["real_time"] for b in runs if b.get("aggregate_name") == "median")
commands = [line.rstrip("\n") for line in open(log)]
checks, current = [], None
for c in commands:
    if c.startswith("USER "):
        current = []
        checks.append(current)
    current.append(c)
counts = sorted(set(len(c) for c in checks))
print("update check, %d files (%d new)%s, %d checks"
      % (files, (files + 1) // 2, ", only the revision file served" if bare else "", len(checks)))
print("  median %.2f ms, min %.2f ms, max %.2f ms" % (median, times[0], times[-1]))
print("  FTP commands per check: %s" % ", ".join(map(str, counts)))
print("  one check: " + " | ".join(checks[-1]))
PY
