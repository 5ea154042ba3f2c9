#!/usr/bin/env bash
# Builds the Debian package from the built tree with CPack and checks what it
# holds, what it depends on (from dpkg-shlibdeps), and that its programs run
# from the unpacked tree.
#   deb_test.sh BUILD_DIR
set -euo pipefail
BUILD=$(cd "$1" && pwd)
TMP=$(mktemp -d)
trap 'rm -rf "$TMP"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

(cd "$TMP" && cpack -G DEB --config "$BUILD/CPackConfig.cmake" -B "$TMP/out" >"$TMP/cpack.log" 2>&1) \
  || { cat "$TMP/cpack.log"; fail "cpack"; }
DEB=$(ls "$TMP"/out/korautoupdate_*.deb)
dpkg-deb -I "$DEB" >/dev/null || fail "not a Debian package"
[ "$(dpkg-deb -f "$DEB" Package)" = korautoupdate ] || fail "package name"
[ "$(dpkg-deb -f "$DEB" Version)" = 3.0.0 ] || fail "version"

depends=$(dpkg-deb -f "$DEB" Depends)
echo "Depends: $depends"
names=$(tr ',|' '\n\n' <<<"$depends" | awk '{ print $1 }')
# Each library's package, whatever ABI suffix (t64, ...) the distribution gives it.
for lib in libc6 libstdc++6 libqt6core6 libqt6widgets6 libcurl4; do
  grep -qxF -e "$lib" -e "${lib}t64" <<<"$names" || fail "no dependency on $lib"
done
# The package's own library is no dependency of its own programs.
! grep -q korautoupdate <<<"$depends" || fail "depends on itself"

dpkg-deb -c "$DEB" | awk '{ print $6 }' | sed 's|^\./|/|' >"$TMP/files"
for f in /usr/bin/korautoupdate /usr/bin/KorAutoInstall /usr/bin/korautoupdate_example \
         /usr/include/korautoupdate.h /usr/share/man/man1/korautoupdate.1 \
         /usr/share/man/man1/KorAutoInstall.1 /usr/lib/cmake/KorAutoUpdate/KorAutoUpdateConfig.cmake \
         /usr/lib/pkgconfig/korautoupdate.pc; do
  grep -qx "$f" "$TMP/files" || fail "$f missing from the package"
done
grep -qE '^/usr/lib/(.*/)?libkorautoupdate\.so\.3\.0\.0$' "$TMP/files" || fail "library missing"
! grep -qE '/(tests?|bench|build)/' "$TMP/files" || fail "build or test files packaged"

# Unpacked, the programs run and find the package's library.
dpkg-deb -x "$DEB" "$TMP/root"
[ "$("$TMP/root/usr/bin/korautoupdate" --version)" = "korautoupdate 3.0.0" ] || fail "--version"
printf '<p>Packaged notes</p>' > "$TMP/notes.html"
[ "$("$TMP/root/usr/bin/korautoupdate" notes "$TMP/notes.html")" = "Packaged notes" ] || fail "notes"
env -u LD_LIBRARY_PATH "$TMP/root/usr/bin/KorAutoInstall" --help | grep -q '^usage: KorAutoInstall' \
  || fail "KorAutoInstall does not run"
echo "package test passed"
