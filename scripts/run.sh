#!/usr/bin/env bash
# Installs what is missing, builds the release tool, and runs its demonstration job.
# Extra arguments go to the tool (try: scripts/run.sh --help).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
log=build/run-build.log
mkdir -p build
# The build speaks only when it fails, so that the tool's output stands alone.
if ! { cmake --preset release && cmake --build --preset release --target ondrix; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "run.sh: the build failed (log: $log)" >&2
  exit 1
fi
if [ $# -eq 0 ]; then set -- demo; fi
exec build/release/apps/ondrix/ondrix "$@"
