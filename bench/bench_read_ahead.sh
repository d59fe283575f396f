#!/usr/bin/env bash
# Reading the Exif of a folder of 2,000 JPEGs: one file at a time against the read-ahead reader
# (asynchronous heads, and the worker pool), warm cache side by side in one hyperfine run, then
# cold when asked (`bench_read_ahead.sh cold`: drops the whole machine's page cache, so only on a
# machine of one's own) and the system lets it (root, /proc/sys/vm/drop_caches).
set -euo pipefail
source "$(dirname "$0")/bench_common.sh"
cd "$root"
bash scripts/build.sh release bench_read_ahead >/dev/null
reader=build/release/bench/bench_read_ahead
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mapfile -t sources < <(find "$shared/corpus/makers" "$shared/corpus/jpeg" -type f \( -iname '*.jpg' -o -iname '*.jpeg' \) | sort)
for ((i = 0; i < 2000; i++)); do
  src=${sources[$((i % ${#sources[@]}))]}
  cp "$src" "$work/$(printf '%04d' "$i").jpg"
done
echo "2,000 files from ${#sources[@]} sources, $(du -sh "$work" | cut -f1); $("$reader" "$work" 0)"
cat "$work"/*.jpg >/dev/null
hyperfine --warmup 2 --runs 10 -N --export-markdown "$work/warm.md" \
  -n "one at a time (warm)" "$reader $work 0" \
  -n "read-ahead, asynchronous heads (warm)" "$reader $work 1" \
  -n "read-ahead, worker pool (warm)" "$reader $work 2" 2>&1 | grep -v '^ *$'
cat "$work/warm.md"
if [ "${1:-}" = cold ] && sync && echo 3 2>/dev/null >/proc/sys/vm/drop_caches; then
  hyperfine --runs 5 -N --prepare "sh -c 'sync; echo 3 >/proc/sys/vm/drop_caches'" --export-markdown "$work/cold.md" \
    -n "one at a time (cold)" "$reader $work 0" \
    -n "read-ahead, asynchronous heads (cold)" "$reader $work 1" \
    -n "read-ahead, worker pool (cold)" "$reader $work 2" 2>&1 | grep -v '^ *$'
  cat "$work/cold.md"
else
  echo "cold cache: not asked for (bench_read_ahead.sh cold), or not allowed here; warm figures only"
fi
