#!/usr/bin/env bash
# Installs the built project into a temporary prefix and uses it from outside:
# the installed files and programs, a consumer built with find_package and one
# built with pkg-config, both checking a product on the test FTP server, and
# the installer the library starts (the one beside it before one on PATH).
#   install_test.sh BUILD_DIR SOURCE_DIR LIBDIR
set -euo pipefail
BUILD=$1 SOURCE=$2 LIBDIR=$3
TMP=$(mktemp -d)
SERVER_PID=
cleanup() {
  local status=$?
  if [ -n "$SERVER_PID" ]; then
    kill "$SERVER_PID" 2>/dev/null || true
    wait "$SERVER_PID" 2>/dev/null || true
  fi
  [ -n "${KEEP_TMP:-}" ] || rm -rf "$TMP"
  exit "$status"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
export QT_QPA_PLATFORM=offscreen KORAUTOUPDATE_NO_WEBENGINE=1 XDG_CONFIG_HOME=$TMP/config
unset QT_LOGGING_RULES

echo "== install into $TMP/prefix"
P=$TMP/prefix
cmake --install "$BUILD" --prefix "$P" >"$TMP/install.log"
for f in "$LIBDIR/libkorautoupdate.so.3" "$LIBDIR/libkorautoupdate.so" include/korautoupdate.h \
         bin/korautoupdate bin/KorAutoInstall bin/korautoupdate_example \
         share/man/man1/korautoupdate.1 share/man/man1/KorAutoInstall.1 \
         "$LIBDIR/cmake/KorAutoUpdate/KorAutoUpdateConfig.cmake" \
         "$LIBDIR/cmake/KorAutoUpdate/KorAutoUpdateConfigVersion.cmake" \
         "$LIBDIR/pkgconfig/korautoupdate.pc"; do
  [ -e "$P/$f" ] || fail "not installed: $f"
done
soname=$(objdump -p "$P/$LIBDIR/libkorautoupdate.so.3" | awk '$1 == "SONAME" { print $2 }')
[ "$soname" = libkorautoupdate.so.3 ] || fail "SONAME is '$soname'"
[ "$("$P/bin/korautoupdate" --version)" = "korautoupdate 3.0.0" ] || fail "korautoupdate --version"
# The release notes reader is a module the installed program finds beside its library.
printf '<html><body><p>Installed notes</p></body></html>' > "$TMP/notes.html"
[ "$("$P/bin/korautoupdate" notes "$TMP/notes.html")" = "Installed notes" ] || fail "korautoupdate notes"
# The installed installer finds the installed library without help.
"$P/bin/KorAutoInstall" --help | grep -q '^usage: KorAutoInstall' || fail "KorAutoInstall --help"

echo "== a product on the test FTP server"
INSTALL=$TMP/install SERVER=$TMP/server/Sampler
mkdir -p "$INSTALL" "$SERVER"
printf '#!/bin/sh\n' >"$INSTALL/Sampler.exe"
printf 'Sampler.exe; 3.10.01\r\n' >"$INSTALL/RelInfoLocal.rel"
printf 'Sampler.exe; 3.10.02\r\n' >"$SERVER/RelInfoRemote.rel"
printf '#!/bin/sh\n# release 2\n' >"$SERVER/Sampler.exe"
printf '<html><body><h1>Sampler 3.10.02</h1></body></html>\n' >"$SERVER/LatestUpdate.html"
/usr/bin/python3 "$SOURCE/tests/support/ftp_server.py" --root "$TMP/server" --user svcfeed \
  --password s3cret-word >"$TMP/ftp.out" 2>"$TMP/ftp.log" &
SERVER_PID=$!
PORT=
for _ in $(seq 1 200); do # until it says "PORT <n>", at most 10 s
  PORT=$(sed -n 's/^PORT \([0-9]*\)$/\1/p' "$TMP/ftp.out")
  [ -n "$PORT" ] && break
  kill -0 "$SERVER_PID" 2>/dev/null || break
  sleep 0.05
done
[ -n "$PORT" ] || { cat "$TMP/ftp.log"; fail "the FTP server did not start"; }
export KORAUTOUPDATE_FTP_SERVER=127.0.0.1:$PORT KORAUTOUPDATE_FTP_USER=svcfeed
export KORAUTOUPDATE_FTP_PASSWORD=s3cret-word

# The box of a check that finds Sampler.exe 3.10.02 on the server.
expect_new_files_box() {
  local out=$1
  grep -q '^BOX>>$' "$out" || fail "no box: $(cat "$out")"
  grep -q 'There are some newer files on the server' "$out" || fail "wrong box: $(cat "$out")"
  grep -qP '3\.10\.02\t\t->> Sampler\.exe' "$out" || fail "file not named: $(cat "$out")"
  grep -q '^UpdateInfo returned$' "$out" || fail "UpdateInfo did not return"
}

echo "== consumer through find_package"
cmake -S "$SOURCE/tests/packaging/consumer" -B "$TMP/cmake-consumer" -G Ninja \
  -DCMAKE_PREFIX_PATH="$P" -DCMAKE_BUILD_TYPE=Release >"$TMP/consumer.log"
cmake --build "$TMP/cmake-consumer" >>"$TMP/consumer.log"
# The diagnostic log on: it tells of the logon and never shows the password.
QT_LOGGING_RULES='korautoupdate.*=true' "$TMP/cmake-consumer/consumer" Sampler \
  "$INSTALL/Sampler.exe" check >"$TMP/out1" 2>"$TMP/err1" || fail "consumer: $(cat "$TMP/err1")"
expect_new_files_box "$TMP/out1"
grep -q "korautoupdate.ftp: logon to ftp://127.0.0.1:$PORT as svcfeed" "$TMP/err1" \
  || fail "no logon in the diagnostic log: $(cat "$TMP/err1")"
grep -q "korautoupdate.check: newer files on the server" "$TMP/err1" || fail "no check outcome logged"
! grep -q s3cret-word "$TMP/err1" || fail "the password is in the diagnostic log"
# A major version the package is not.
mkdir -p "$TMP/v4"
printf 'cmake_minimum_required(VERSION 3.16)\nproject(V4 NONE)\nfind_package(KorAutoUpdate 4 REQUIRED)\n' \
  >"$TMP/v4/CMakeLists.txt"
if cmake -S "$TMP/v4" -B "$TMP/v4/build" -DCMAKE_PREFIX_PATH="$P" >"$TMP/v4.log" 2>&1; then
  fail "find_package(KorAutoUpdate 4) succeeded"
fi

echo "== consumer through pkg-config"
export PKG_CONFIG_PATH=$P/$LIBDIR/pkgconfig
[ "$(pkg-config --modversion korautoupdate)" = 3.0.0 ] || fail "pkg-config --modversion"
[ "$(pkg-config --variable=libdir korautoupdate)" -ef "$P/$LIBDIR" ] || fail "pkg-config libdir"
# Like the CMake consumer, with the compiler and linker flags of the environment (a sanitizer
# build of the library needs its runtime in the program too).
# shellcheck disable=SC2046,SC2086
c++ -std=c++17 -fPIC ${CXXFLAGS:-} "$SOURCE/tests/packaging/consumer/main.cpp" -o "$TMP/pc-consumer" \
  $(pkg-config --cflags --libs korautoupdate) -Wl,-rpath,"$P/$LIBDIR" ${LDFLAGS:-}
# Silent by default: nothing of the diagnostic log on stderr.
"$TMP/pc-consumer" Sampler "$INSTALL/Sampler.exe" check >"$TMP/out2" 2>"$TMP/err2" \
  || fail "consumer: $(cat "$TMP/err2")"
expect_new_files_box "$TMP/out2"
! grep -q 'korautoupdate\.' "$TMP/err2" || fail "diagnostic log without being asked: $(cat "$TMP/err2")"

echo "== the installer beside the library comes before the one on PATH"
# A moved copy of the installation, its installer replaced by a stand-in.
MOVED=$TMP/moved
cp -a "$P" "$MOVED"
stand_in() { printf '#!/bin/sh\necho "%s $*" >"%s.tmp"; mv "%s.tmp" "%s"\n' "$2" "$3" "$3" "$3" >"$1"; chmod +x "$1"; }
mkdir -p "$TMP/path"
stand_in "$MOVED/bin/KorAutoInstall" beside "$TMP/started"
stand_in "$TMP/path/KorAutoInstall" path "$TMP/started"
hand_off() { # runs the hand-off, then waits (10 s at most) for the stand-in's record
  rm -f "$TMP/started"
  PATH=$TMP/path:$PATH LD_LIBRARY_PATH=$MOVED/$LIBDIR "$TMP/pc-consumer" Sampler \
    "$INSTALL/Sampler.exe" install >"$TMP/out3" 2>"$TMP/err3" || fail "consumer: $(cat "$TMP/err3")"
  grep -q '^DIALOG Install new updates' "$TMP/out3" || fail "no notes dialog: $(cat "$TMP/out3")"
  for _ in $(seq 1 200); do
    [ -e "$TMP/started" ] && return 0
    sleep 0.05
  done
  fail "no installer started: $(cat "$TMP/err3")"
}
hand_off
[ "$(cat "$TMP/started")" = "beside Sampler $INSTALL/Sampler.exe" ] || fail "started: $(cat "$TMP/started")"
rm "$MOVED/bin/KorAutoInstall"
hand_off
[ "$(cat "$TMP/started")" = "path Sampler $INSTALL/Sampler.exe" ] || fail "started: $(cat "$TMP/started")"
echo "install test passed"
