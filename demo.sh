#!/usr/bin/env bash
# The update road of KorAutoUpdate on one machine, from the console:
# installs what is missing, builds korautoupdate, makes a sample product
# (an installation at release 1, release 2 on a local FTP server), then
# checks, updates, shows what changed, checks again, goes back to release 1,
# checks once more and sees a tampered file refused. Release 2 is signed with
# `korautoupdate publish`.
# With --gui the sample program is the example host application, and the
# road goes through the library's windows instead of the console.
# It can be run again and again; it leaves no server running.
set -euo pipefail
GUI=0
case "${1:-}" in
  --gui) GUI=1 ;;
  "") ;;
  *) echo "usage: $0 [--gui]" >&2; exit 2 ;;
esac
cd "$(dirname "$0")"
ROOT=$(pwd)
BUILD=${BUILD_DIR:-build}
DEMO=$ROOT/.demo
PRODUCT=Sampler
USER_NAME=demo
PASSWORD=demo-pass

if [ -t 1 ]; then B=$'\033[1m' N=$'\033[0m'; else B= N=; fi
step() { printf '\n%s==> %s%s\n' "$B" "$*" "$N"; }
show() { printf '$ %s\n' "$*"; }

step "Installing what is missing"
bash scripts/install-deps.sh

step "Building korautoupdate in $BUILD/"
cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
if [ "$GUI" = 1 ]; then
  cmake --build "$BUILD" --target korautoupdate_cli korautoupdate_example KorAutoInstall
else
  cmake --build "$BUILD" --target korautoupdate_cli
fi
KAU=$ROOT/$BUILD/cli/korautoupdate
EXAMPLE=$ROOT/$BUILD/examples/korautoupdate_example

# A text file with CR LF line ends, from lines given as arguments.
crlf() { local f=$1; shift; : >"$f"; for l in "$@"; do printf '%s\r\n' "$l" >>"$f"; done; }

step "Making the sample product in $DEMO"
rm -rf "$DEMO"
INSTALL=$DEMO/install
SERVER_ROOT=$DEMO/server
mkdir -p "$INSTALL/Plugins" "$SERVER_ROOT/$PRODUCT/Plugins"
# The program of a release: a script that says which release it is, or with
# --gui the example host, told its release and the path it was started by.
program() {
  if [ "$GUI" = 1 ]; then
    printf '#!/bin/sh\nexec "%s" --app "$0" --label "Sampler %s" "$@"\n' "$EXAMPLE" "$1"
  else
    printf '#!/bin/sh\necho "Sampler release %s"\n' "$2"
  fi
}
# Release 1, installed.
program 3.10.01 1 >"$INSTALL/Sampler.exe"
printf 'Sampler help, release 1\n' >"$INSTALL/sampler.chm"
printf 'Filter plugin 2.00.07\n' >"$INSTALL/Plugins/Filter.dll"
chmod +x "$INSTALL/Sampler.exe"
crlf "$INSTALL/RelInfoLocal.rel" \
  'Sampler.exe; 3.10.01' 'Plugins\Filter.dll; 2.00.07' 'sampler.chm; 1.03.00'
# Release 2, on the server.
S=$SERVER_ROOT/$PRODUCT
program 3.10.02 2 >"$S/Sampler.exe"
printf 'Sampler help, release 2\n' >"$S/sampler.chm"
printf 'Filter plugin 2.00.07\n' >"$S/Plugins/Filter.dll"
printf 'Sampler 3.10.02\n\nRead the update notes for what changed.\n' >"$S/Readme.txt"
cat >"$S/LatestUpdate.html" <<'HTML'
<html><head><title>Sampler release 3.10.02</title></head>
<body><h1>Sampler 3.10.02</h1>
<p>What is new in this release:</p>
<ul><li>Sampler.exe 3.10.02: faster start &amp; smaller memory use</li>
<li>sampler.chm 3.10.02: help pages for the new filters</li>
<li>Readme.txt: new</li></ul>
<p>Plugins/Filter.dll stays at 2.00.07.</p></body></html>
HTML
# The vendor signs release 2: a key pair, then the revision file (versions by
# content against release 1), the manifest and its signature.
mkdir -p "$DEMO/keys"
show "korautoupdate keygen --key $DEMO/keys/sampler.key"
PUBLIC_KEY=$("$KAU" keygen --key "$DEMO/keys/sampler.key" 2>/dev/null)
echo "  public key: $PUBLIC_KEY"
show "korautoupdate publish --dir $S --previous $INSTALL/RelInfoLocal.rel --version 3.10.02 --key ..."
"$KAU" publish --dir "$S" --previous "$INSTALL/RelInfoLocal.rel" --version 3.10.02 \
  --key "$DEMO/keys/sampler.key" | sed 's/^/  /'
sed 's/\r$//' "$S/RelInfoRemote.rel" | sed 's/^/  RelInfoRemote.rel: /'
# The library takes the key from the environment here instead of a build with
# -DKAU_PUBLIC_KEY; the number of the accepted release goes to the demo's store.
export KORAUTOUPDATE_PUBLIC_KEY=$PUBLIC_KEY XDG_CONFIG_HOME=$DEMO/config
echo "installation (release 1): $INSTALL"
echo "server files (release 2):  $S"

step "Starting a local FTP server"
SERVER_PID=
stop_server() {
  if [ -n "$SERVER_PID" ]; then
    kill "$SERVER_PID" 2>/dev/null || true
    wait "$SERVER_PID" 2>/dev/null || true
    SERVER_PID=
  fi
}
trap stop_server EXIT
trap 'exit 130' INT TERM
/usr/bin/python3 tests/support/ftp_server.py --root "$SERVER_ROOT" --user "$USER_NAME" \
  --password "$PASSWORD" >"$DEMO/ftp.out" 2>"$DEMO/ftp.log" &
SERVER_PID=$!
PORT=
for _ in $(seq 1 200); do  # until it says "PORT <n>" (at most 10 s)
  PORT=$(sed -n 's/^PORT \([0-9]*\)$/\1/p' "$DEMO/ftp.out")
  [ -n "$PORT" ] && break
  kill -0 "$SERVER_PID" 2>/dev/null || break
  sleep 0.05
done
[ -n "$PORT" ] || { echo "the FTP server did not start:"; cat "$DEMO/ftp.log"; exit 1; }
echo "serving $SERVER_ROOT on 127.0.0.1:$PORT (user $USER_NAME)"
export KORAUTOUPDATE_FTP_SERVER=127.0.0.1:$PORT KORAUTOUPDATE_FTP_USER=$USER_NAME KORAUTOUPDATE_FTP_PASSWORD=$PASSWORD

run() { # runs korautoupdate, prints its exit status, never stops the demo
  show "korautoupdate $*"
  local rc=0
  "$KAU" "$@" || rc=$?
  echo "(exit status $rc)"
}

APP=$INSTALL/Sampler.exe
if [ "$GUI" = 1 ]; then
  # A reminder store of the demo's own (XDG_CONFIG_HOME): the first start is a product's first
  # use, so it checks.
  export PATH=$ROOT/$BUILD/installer:$PATH
  step "The example host, release 3.10.01"
  cat <<'TEXT'
A second after the start the reminder asks about the new files: answer Yes.
The release notes open: press "Install new updates...", then OK. The program
ends, KorAutoInstall fetches release 3.10.02 in its dialog, and its last
question starts the updated program. Its Updates menu has the other windows.
TEXT
  show "$APP"
  "$APP" || true
  if [ -t 0 ]; then
    read -r -p "Press Enter when you are done (the server stops then). " _
  fi
  step "The installation now"
  (cd "$INSTALL" && find . -type f | sort | sed 's|^\./|  |')
  show "cat RelInfoLocal.rel"
  sed 's/\r$//' "$INSTALL/RelInfoLocal.rel" | sed 's/^/  /'
  step "Done"
  echo "The sample installation stays in $INSTALL; the server has been stopped."
  exit 0
fi

step "1. Check: which files are new? (--yes also shows the update notes)"
run check --product "$PRODUCT" --app "$APP" --yes

step "2. Update: fetch them, keep the old ones"
run update --product "$PRODUCT" --app "$APP" --no

step "3. The installation after the update"
(cd "$INSTALL" && find . -type f | sort | sed 's|^\./||' | while read -r f; do
  printf '  %-36s %6s bytes\n' "$f" "$(wc -c <"$f")"; done)
show "sh Sampler.exe"
sh "$INSTALL/Sampler.exe" | sed 's/^/  /'
show "cat RelInfoLocal.rel"
sed 's/\r$//' "$INSTALL/RelInfoLocal.rel" | sed 's/^/  /'

step "4. The restore directory of the run"
run restores --app "$APP"
STAMP=$("$KAU" restores --app "$APP" | tail -n 1 | cut -d' ' -f1)
run restores --app "$APP" --files "$STAMP"

step "5. Check again: up to date"
run check --product "$PRODUCT" --app "$APP" --no

step "6. Going back: the state before the update"
run restore --app "$APP" "$STAMP" --no
show "./Sampler.exe"
"$INSTALL/Sampler.exe" | sed 's/^/  /'
show "cat RelInfoLocal.rel"
sed 's/\r$//' "$INSTALL/RelInfoLocal.rel" | sed 's/^/  /'

step "7. Check once more: release 2 is offered again"
run check --product "$PRODUCT" --app "$APP" --no

step "8. A file changed on the server after signing is refused, the installed one stays"
printf 'tampered\n' >>"$S/sampler.chm"
run update --product "$PRODUCT" --app "$APP" --no
show "cat sampler.chm"
sed 's/^/  /' "$INSTALL/sampler.chm"

step "Done"
echo "The sample installation stays in $INSTALL; the server has been stopped."
