#!/usr/bin/env bash
# Times the update run against a local FTP server (pyftpdlib) next to curl
# fetching the same files over one connection in active mode, in alternating
# pairs, and reports the medians, the median of the pairs' ratios and the
# run's peak memory, first without a manifest, then with a signed one (every
# file hashed and checked, the signature checked with the key).
#
#   bench/update_run_bench.sh [pairs]      (default 5)
#
# Cases: (a) 500 files of 16 KiB, (b) one file of 256 MiB. Builds what it
# needs in build-bench/ (or $BUILD).
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${BUILD:-$ROOT/build-bench}
REPS=${1:-5}

# DRIVER may name an already built driver; otherwise it is built here.
if [ -z "${DRIVER:-}" ]; then
  cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKAU_BUILD_TESTS=OFF >/dev/null
  ninja -C "$BUILD" kau_flows korautoupdate_cli >/dev/null
  DRIVER=$BUILD/update_run_bench
  g++ -std=c++20 -O2 -I"$ROOT/src" "$ROOT/bench/update_run_bench.cpp" -o "$DRIVER" \
    "$BUILD/src/flows/libkau_flows.a" "$BUILD/src/trust/libkau_trust.a" \
    "$BUILD/src/server/libkau_server.a" "$BUILD/src/catalogue/libkau_catalogue.a" \
    "$BUILD/src/reminder/libkau_settings.a" "$BUILD/src/textfile/libkau_textfile.a" \
    "$BUILD/src/platform/libkau_platform.a" -lcurl -lcrypto $(pkg-config --libs Qt6Core)
fi
KORAUTOUPDATE=${KORAUTOUPDATE:-$BUILD/cli/korautoupdate}

WORK=$(mktemp -d /tmp/kau-bench.XXXXXX)
SERVER_PID=
cleanup() {
  [ -n "$SERVER_PID" ] && kill "$SERVER_PID" 2>/dev/null || true
  rm -rf "$WORK"
}
trap cleanup EXIT

USER_NAME=bench
PASSWORD=bench
mkdir -p "$WORK/root/Bench500" "$WORK/root/Bench256"
for i in $(seq -w 0 499); do
  head -c 16384 /dev/urandom > "$WORK/root/Bench500/f$i.bin"
  printf 'f%s.bin; 1.00.00\r\n' "$i" >> "$WORK/root/Bench500/RelInfoRemote.rel"
done
head -c $((256 * 1024 * 1024)) /dev/urandom > "$WORK/root/Bench256/big.bin"
printf 'big.bin; 1.00.00\r\n' > "$WORK/root/Bench256/RelInfoRemote.rel"

/usr/bin/python3 - "$WORK/root" "$USER_NAME" "$PASSWORD" > "$WORK/port" 2>"$WORK/server.log" <<'PY' &
import sys
from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer
root, user, password = sys.argv[1:4]
auth = DummyAuthorizer()
auth.add_user(user, password, root, perm="elr")
FTPHandler.authorizer = auth
FTPHandler.auth_failed_timeout = 0
server = FTPServer(("127.0.0.1", 0), FTPHandler)
print(server.address[1], flush=True)
server.serve_forever()
PY
SERVER_PID=$!
for _ in $(seq 1 500); do [ -s "$WORK/port" ] && break; sleep 0.01; done
PORT=$(cat "$WORK/port")
export XDG_CONFIG_HOME=$WORK/config # the accepted release number goes here
export KORAUTOUPDATE_FTP_SERVER=127.0.0.1:$PORT KORAUTOUPDATE_FTP_USER=$USER_NAME \
       KORAUTOUPDATE_FTP_PASSWORD=$PASSWORD

now() { date +%s.%N; }

# curl: the revision file and every file, one control connection, active mode.
curl_case() {
  local key=$1 out=$2 cfg=$WORK/curl.cfg
  mkdir -p "$out"
  : > "$cfg"
  printf 'url = "ftp://127.0.0.1:%s/%s/RelInfoRemote.rel"\noutput = "%s/RelInfoRemote.rel"\n' \
    "$PORT" "$key" "$out" >> "$cfg"
  for f in "$WORK/root/$key"/*.bin; do
    local name=${f##*/}
    printf 'url = "ftp://127.0.0.1:%s/%s/%s"\noutput = "%s/%s"\n' "$PORT" "$key" "$name" "$out" "$name" >> "$cfg"
  done
  curl -s -S -P - -u "$USER_NAME:$PASSWORD" -K "$cfg"
}

run_case() {
  local key=$1 label=$2
  local runs=() curls=() ratios=() peak=0
  for rep in $(seq 1 "$REPS"); do
    rm -rf "$WORK/install" "$WORK/curl"
    mkdir -p "$WORK/install"
    local t0 t1 t2 t3 line
    t0=$(now)
    line=$("$DRIVER" "$key" "$WORK/install")
    [[ $line == *" failed=0 "* ]] || { echo "the run failed: $line"; exit 1; }
    t1=$(now)
    t2=$(now)
    curl_case "$key" "$WORK/curl"
    t3=$(now)
    local run_s curl_s
    run_s=$(echo "$t1 - $t0" | bc -l)
    curl_s=$(echo "$t3 - $t2" | bc -l)
    cmp -s "$WORK/install/$(ls "$WORK/root/$key" | grep '\.bin$' | head -1)" \
      "$WORK/root/$key/$(ls "$WORK/root/$key" | grep '\.bin$' | head -1)" || { echo "content differs"; exit 1; }
    local rss=${line##*peak_rss_kib=}
    [ "$rss" -gt "$peak" ] && peak=$rss
    runs+=("$run_s")
    curls+=("$curl_s")
    ratios+=("$(echo "$run_s / $curl_s" | bc -l)")
    printf '  %s pair %s: update run %.3f s (%s), curl %.3f s\n' "$label" "$rep" "$run_s" "$line" "$curl_s"
  done
  printf '%s: median of %s alternating pairs: update run %.3f s, curl %.3f s, ratio %.2f (pairs %s..%s), peak RSS %s KiB\n' \
    "$label" "$REPS" "$(median "${runs[@]}")" "$(median "${curls[@]}")" "$(median "${ratios[@]}")" \
    "$(printf '%s\n' "${ratios[@]}" | sort -g | head -1 | xargs printf '%.2f')" \
    "$(printf '%s\n' "${ratios[@]}" | sort -g | tail -1 | xargs printf '%.2f')" "$peak"
}

median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

run_case Bench500 "(a) 500 x 16 KiB, no manifest"
run_case Bench256 "(b) 1 x 256 MiB, no manifest"

# The same releases signed; the run checks signature, sizes and hashes.
"$KORAUTOUPDATE" keygen --key "$WORK/release.key" > "$WORK/public.key" 2>/dev/null
for key in Bench500 Bench256; do
  "$KORAUTOUPDATE" publish --dir "$WORK/root/$key" --version 1.00.00 --key "$WORK/release.key" >/dev/null
done
export KORAUTOUPDATE_PUBLIC_KEY=$(cat "$WORK/public.key")
run_case Bench500 "(a) 500 x 16 KiB, signed manifest"
run_case Bench256 "(b) 1 x 256 MiB, signed manifest"
