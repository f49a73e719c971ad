#!/bin/sh
# Runs one fuzz target on a scratch copy of its seed corpus, so that the committed seeds are
# never touched, and prints its executions and crashes.
# Usage: fuzz/run.sh TARGET SEEDS WORKDIR [libFuzzer flags...]
# WORKDIR is emptied; new inputs go to WORKDIR/corpus, a crashing input to WORKDIR/crash-*.
set -eu
target=$1 seeds=$2 work=$3
shift 3
rm -rf "$work"
mkdir -p "$work/corpus"
cp "$seeds"/* "$work/corpus/"
status=0
"$target" -print_final_stats=1 -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=256 -max_len=16384 \
  -artifact_prefix="$work/" "$@" "$work/corpus" >"$work/log" 2>&1 || status=$?
runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log" | tail -n 1)
crashes=$(find "$work" -maxdepth 1 \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \) | wc -l)
echo "$(basename "$target"): ${runs:-?} executions, $crashes crashes (exit $status)"
if [ "$status" -ne 0 ]; then
  tail -n 60 "$work/log"
  find "$work" -maxdepth 1 \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \)
fi
exit "$status"
