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
# One target a core at a time: each writes its own log and leaves a mark when it fails.
fuzz_one() {
  local target=$1 name
  name=$(basename "$target")
  mkdir -p "$work/$name"
  "$target" -max_total_time="$seconds" -max_len=262144 -rss_limit_mb=2048 -print_final_stats=1 \
    -dict=fuzz/exif.dict "$work/$name" "$seeds" 2>"$work/$name.log" || touch "$work/$name.failed"
}
for target in build/sanitize/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do wait -n || true; done
  echo "-- $(basename "$target") for ${seconds}s"
  fuzz_one "$target" &
done
wait
status=0
for log in "$work"/fuzz_*.log; do
  name=$(basename "$log" .log)
  if [ -e "$work/$name.failed" ]; then status=1; echo "-- $name failed:"; tail -50 "$log"; fi
  echo "-- $name: $(grep -E '^stat::number_of_executed_units' "$log" || echo 'no stats')"
done
exit $status
