#!/usr/bin/env bash
# The shared library exports the public functions and nothing else.
set -euo pipefail
lib=$1
allowed='^(UpdateInfo|UpdateStartSchedule|UpdateFiles|RestoreFiles|ReleaseInfo|UpdateSetupScheduler)$'
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}' | sed 's/@.*//' | sort -u)
echo "$symbols" | grep -qx UpdateInfo || { echo "UpdateInfo is not exported"; exit 1; }
others=$(echo "$symbols" | grep -Evx "$allowed" || true)
if [ -n "$others" ]; then
  echo "internal symbols exported:"; echo "$others" | head -20; exit 1
fi
echo "exported: $(echo $symbols)"
