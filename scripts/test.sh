#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
# Usage: scripts/test.sh [all|release|debug|asan|tsan|fuzz]   (default: all)
# "all" runs the suite in the release build (static libraries), then again in the asan build:
# clang-14 with AddressSanitizer + UndefinedBehaviorSanitizer (shared libraries), whose ctest
# also runs each libFuzzer target for a short fixed budget. ONDRIX_ASAN=0 leaves that pass out.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-all}"
bash scripts/setup.sh

fuzz_toolchain() {
  command -v clang++-14 >/dev/null 2>&1 || return 1
  echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
    clang++-14 -fsanitize=fuzzer,address,undefined -x c++ - -o /dev/null >/dev/null 2>&1
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
if [ "${ONDRIX_ASAN:-1}" = 0 ]; then
  run_preset release
  exit 0
fi
if ! fuzz_toolchain; then
  echo "test.sh: clang++-14 with libFuzzer and the sanitizers is missing (scripts/setup.sh installs it)" >&2
  exit 1
fi
# The sanitizer pass builds shared libraries and checks their install: the release pass
# need not build them again for that.
run_preset release -E '^packaging[.]shared$'
run_preset asan
