#!/usr/bin/env bash
# Builds the libFuzzer targets and runs each of them, two at a time.
#   scripts/fuzz.sh [SECONDS=60]
# What a run finds stays in out/fuzz/found/<target>/; a reproducer belongs into tests/fuzz/corpus/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
seconds=${1:-60}
targets=(osb_fuzz ka_fuzz kb_fuzz command_fuzz image_fuzz)

cmake --preset fuzz > /dev/null
cmake --build --preset fuzz --target "${targets[@]}" -- --quiet

run() {
  local name=$1 seconds=$2 found=out/fuzz/found/$1
  mkdir -p "$found/corpus"
  if out/fuzz/bin/"$name" -max_total_time="$seconds" -rss_limit_mb=4096 -timeout=20 -print_final_stats=1 \
      -artifact_prefix="$found/" "$found/corpus" "tests/fuzz/corpus/${name%_fuzz}" > "$found/log" 2>&1; then
    printf '%-14s clean, %s executions\n' "$name" "$(sed -n 's/^stat::number_of_executed_units: *//p' "$found/log")"
  else
    printf '%-14s FAILED\n' "$name"
    tail -n 40 "$found/log"
    return 1
  fi
}
export -f run
printf '%s\n' "${targets[@]}" | xargs -P 2 -I '{}' bash -c "run {} $seconds"
