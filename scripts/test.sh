#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
# Usage: scripts/test.sh [all|release|debug|asan|tsan|fuzz]   (default: all)
# "all" runs the suite in the release build (static libraries), then again under
# AddressSanitizer + UndefinedBehaviorSanitizer (shared libraries), then builds the fuzz
# targets with clang++-14 and libFuzzer and runs each for a short fixed budget. ONDRIX_ASAN=0 or ONDRIX_FUZZ_SMOKE=0 leaves a pass out.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-all}"
bash scripts/setup.sh

fuzz_toolchain() {
  command -v clang++-14 >/dev/null 2>&1 || return 1
  echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
    clang++-14 -fsanitize=fuzzer -x c++ - -o /dev/null >/dev/null 2>&1
}

# run_preset PRESET [ctest options]
run_preset() {
  local start=$SECONDS preset=$1
  shift
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset" "$@"
  echo "test.sh: $preset built and passed in $((SECONDS - start)) s"
}

if [ "$preset" != all ]; then
  run_preset "$preset"
  exit 0
fi
if [ "${ONDRIX_ASAN:-1}" != 0 ]; then
  # The sanitizer pass builds shared libraries and checks their install: the release pass
  # need not build them again for that.
  run_preset release -E '^packaging[.]shared$'
  run_preset asan
else
  run_preset release
fi
if [ "${ONDRIX_FUZZ_SMOKE:-1}" != 0 ]; then
  if fuzz_toolchain; then
    run_preset fuzz
  else
    echo "test.sh: clang++-14 with libFuzzer not found; the fuzz smoke runs were skipped" >&2
  fi
fi
