#!/usr/bin/env bash
# Installs what is missing, builds the release tool, and runs its demonstration job.
# Extra arguments go to the tool (try: scripts/run.sh --help).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target ondrix
if [ $# -eq 0 ]; then set -- demo; fi
exec build/release/apps/ondrix/ondrix "$@"
