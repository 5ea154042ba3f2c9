#!/usr/bin/env bash
# Installs what the build needs (Debian packages), configures, builds and runs every test.
set -euo pipefail
cd "$(dirname "$0")"
bash scripts/install-deps.sh
BUILD=${BUILD_DIR:-build}
cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$BUILD"
export QT_QPA_PLATFORM=offscreen
ctest --test-dir "$BUILD" --output-on-failure -j2 --timeout 120
