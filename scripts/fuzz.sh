#!/usr/bin/env bash
# Builds the fuzz targets and runs each for SECONDS (default 600) on a scratch copy of its
# seed corpus, then prints executions and crashes per target. A crash does not end the
# target's turn: the run restarts from the corpus grown so far until its time is spent.
# Usage: scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]   (targets: fuzz_binary_records ...)
# Inputs that crash stay in build/fuzz/long/<target>/crashes/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-600}"
shift || true
bash scripts/setup.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for t in build/fuzz/fuzz/fuzz_*; do targets+=("$(basename "$t")"); done
fi

summary=()
for name in "${targets[@]}"; do
  work="build/fuzz/long/$name"
  rm -rf "$work"
  mkdir -p "$work/corpus" "$work/crashes"
  cp fuzz/corpus/"$name"/* "$work/corpus/"
  executions=0 crashes=0 round=0
  end=$((SECONDS + seconds))
  while [ $SECONDS -lt "$end" ] && [ $crashes -lt 10 ]; do
    round=$((round + 1))
    log="$work/log.$round"
    status=0
    "build/fuzz/fuzz/$name" -print_final_stats=1 -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=256 -max_len=16384 \
      -max_total_time=$((end - SECONDS)) -artifact_prefix="$work/crashes/" "$work/corpus" >"$log" 2>&1 || status=$?
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    executions=$((executions + ${runs:-0}))
    if [ "$status" -ne 0 ]; then
      crashes=$((crashes + 1))
      echo "$name: crash (log: $log)"
      grep -E 'check failed|^  [^ #]|ERROR:|SUMMARY:|Test unit written' "$log" | head -n 6 || true
    fi
  done
  summary+=("$(printf '%-22s %12d executions %4d crashes' "$name" "$executions" "$crashes")")
done
printf '%s\n' "${summary[@]}"
