# Sourced by the benchmark scripts that talk to the test FTP server
# (tests/support/ftp_server.py). Expects ROOT (the source tree) and BUILD.
#
#   bench_build TARGET          configures BUILD as Release and builds TARGET
#   bench_program VAR TARGET PATH
#                               keeps the program the variable VAR names, if
#                               any; else builds TARGET, VAR=BUILD/PATH
#   bench_workdir NAME          WORK=/tmp/NAME.XXXXXX with root/ and control/,
#                               removed on exit together with the server
#   bench_start_server          serves WORK/root to bench/bench on 127.0.0.1;
#                               sets PORT

bench_build() {
  cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKAU_BUILD_TESTS=OFF >/dev/null
  ninja -C "$BUILD" "$1" >/dev/null
}

bench_program() {
  if [ -z "${!1:-}" ]; then
    bench_build "$2"
    printf -v "$1" '%s' "$BUILD/$3"
  fi
}

bench_workdir() {
  WORK=$(mktemp -d "/tmp/$1.XXXXXX")
  SERVER_PID=
  trap bench_cleanup EXIT
  mkdir -p "$WORK/root" "$WORK/control"
}

bench_cleanup() {
  [ -n "$SERVER_PID" ] && kill "$SERVER_PID" 2>/dev/null || true
  rm -rf "$WORK"
}

bench_start_server() {
  local word
  mkfifo "$WORK/port.fifo"
  /usr/bin/python3 "$ROOT/tests/support/ftp_server.py" --root "$WORK/root" --port 0 \
    --user bench --password bench --control "$WORK/control" > "$WORK/port.fifo" 2>/dev/null &
  SERVER_PID=$!
  read -r -t 20 word PORT < "$WORK/port.fifo"
  [ "$word" = PORT ] || { echo "the FTP server did not start" >&2; exit 1; }
}
