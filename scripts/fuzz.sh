#!/usr/bin/env bash
# Runs each fuzz target for the given seconds, seeded with the camera corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shared=${TAVEXON_SHARED:-$(cd .. && pwd)/shared}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
seeds="$work/seeds"
mkdir -p "$seeds"
if [ -d "$shared/corpus" ]; then
  find "$shared/corpus" -type f ! -name '*.md' -exec cp {} "$seeds/" \;
fi
status=0
for target in build/fuzz/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  name=$(basename "$target")
  mkdir -p "$work/$name"
  echo "-- $name for ${seconds}s"
  "$target" -max_total_time="$seconds" -max_len=262144 -rss_limit_mb=2048 -print_final_stats=1 \
    -dict=fuzz/exif.dict "$work/$name" "$seeds" 2>"$work/$name.log" || { status=1; tail -50 "$work/$name.log"; }
  grep -E '^stat::number_of_executed_units|^Done' "$work/$name.log" || true
done
exit $status
