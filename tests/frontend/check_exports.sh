#!/usr/bin/env bash
# The shared library exports the public functions and nothing else.
set -euo pipefail
exported=$(nm -D --defined-only "$1" | awk '{print $3}' | sed 's/@.*//' | LC_ALL=C sort -u | paste -sd' ')
[ "$exported" = "ReleaseInfo RestoreFiles UpdateFiles UpdateInfo UpdateSetupScheduler UpdateStartSchedule" ] || { echo "exported: $exported"; exit 1; }
