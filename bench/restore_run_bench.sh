#!/usr/bin/env bash
# Times the restore run (korautoupdate restore) next to `cp -a` of the same
# files over the same installed files, in alternating pairs, and reports the
# median of each and their ratio, with the run's peak memory. `cp -a` into an
# empty directory is timed too: overwriting in place costs ext4 a flush of
# each truncated file, which the restore (write beside, rename) avoids.
#
#   bench/restore_run_bench.sh [pairs]      (default 5)
#
# Cases: (a) a restore directory of 10,000 files of 16 KiB, (b) one file of
# 1 GiB. Uses the korautoupdate of $BUILD (default build/), built if missing.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build}
PAIRS=${1:-5}
CLI=$BUILD/cli/korautoupdate
[ -x "$CLI" ] || cmake --build "$BUILD" --target korautoupdate_cli >/dev/null

WORK=$(mktemp -d /tmp/kau-restore-bench.XXXXXX)
trap 'rm -rf "$WORK"' EXIT
STAMP=202601010000

# An installation with one restore directory; $1 name, then the files are made by the caller.
make_case() {
  mkdir -p "$WORK/$1/install/$STAMP" "$WORK/$1/cp-target"
}

make_case small
( cd "$WORK/small/install/$STAMP"
  head -c $((10000 * 16384)) /dev/urandom | split -b 16384 -a 4 -d - f )
cp -a "$WORK/small/install/$STAMP/." "$WORK/small/install/"
cp -a "$WORK/small/install/$STAMP/." "$WORK/small/cp-target/"

make_case big
head -c $((1024 * 1024 * 1024)) /dev/urandom > "$WORK/big/install/$STAMP/big.bin"
cp -a "$WORK/big/install/$STAMP/big.bin" "$WORK/big/install/"
cp -a "$WORK/big/install/$STAMP/big.bin" "$WORK/big/cp-target/"

# Seconds and peak KiB of one command. Each starts with nothing left to write
# back from the one before, so that none pays for another's writes.
timed() {
  sync
  /usr/bin/time -f '%e %M' -o "$WORK/time" "$@" >/dev/null 2>&1 || true
  cat "$WORK/time"
}

median() { sort -g | awk '{ a[NR] = $1 } END { print (NR % 2) ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2 }'; }

for case in small big; do
  : > "$WORK/restore.s"; : > "$WORK/cp.s"; : > "$WORK/ratio"; : > "$WORK/rss"; : > "$WORK/fresh.s"; : > "$WORK/fratio"
  for _ in $(seq 1 "$PAIRS"); do
    read -r rs rk < <(timed "$CLI" restore --app "$WORK/$case/install/" "$STAMP")
    read -r cs _ < <(timed cp -a "$WORK/$case/install/$STAMP/." "$WORK/$case/cp-target/")
    rm -rf "$WORK/$case/fresh"
    read -r fs _ < <(timed cp -a "$WORK/$case/install/$STAMP" "$WORK/$case/fresh")
    echo "$rs" >> "$WORK/restore.s"; echo "$cs" >> "$WORK/cp.s"; echo "$rk" >> "$WORK/rss"; echo "$fs" >> "$WORK/fresh.s"
    awk -v a="$rs" -v b="$cs" 'BEGIN { print (b > 0) ? a / b : 0 }' >> "$WORK/ratio"
    awk -v a="$rs" -v b="$fs" 'BEGIN { print (b > 0) ? a / b : 0 }' >> "$WORK/fratio"
  done
  printf '%-6s restore %.3f s | cp -a over %.3f s, ratio %.2f | cp -a fresh %.3f s, ratio %.2f | median of %d | restore peak RSS %d KiB\n' \
    "$case" "$(median < "$WORK/restore.s")" "$(median < "$WORK/cp.s")" "$(median < "$WORK/ratio")" \
    "$(median < "$WORK/fresh.s")" "$(median < "$WORK/fratio")" "$PAIRS" "$(median < "$WORK/rss")"
done
