#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
# Usage: scripts/test.sh [release|debug|asan]   (default: release)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-release}"
bash scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
