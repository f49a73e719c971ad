#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
# Usage: scripts/test.sh [release|debug|asan|tsan|fuzz]   (default: release)
# The default run also builds the fuzz targets with clang++-14 and libFuzzer and runs each for
# a short fixed budget (the fuzz preset's ctest); ONDRIX_FUZZ_SMOKE=0 leaves that out.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-release}"
bash scripts/setup.sh

fuzz_toolchain() {
  command -v clang++-14 >/dev/null 2>&1 || return 1
  echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
    clang++-14 -fsanitize=fuzzer -x c++ - -o /dev/null >/dev/null 2>&1
}

run_preset() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1"
  ctest --preset "$1"
}

run_preset "$preset"
if [ "$preset" = release ] && [ "${ONDRIX_FUZZ_SMOKE:-1}" != 0 ]; then
  if fuzz_toolchain; then
    run_preset fuzz
  else
    echo "test.sh: clang++-14 with libFuzzer not found; the fuzz smoke runs were skipped" >&2
  fi
fi
