#!/usr/bin/env bash
# Reading Exif over a folder of 2,000 JPEGs, warm cache, each over all files in one process:
# the bare I/O floor (bench_head_read: open each file, read its first 64 KiB), tavexon-cli dump
# in its three forms, and exiv2 -pv. The aims: dump --json within 2 times the plain dump, both
# within 4 times the floor. The sizes of the outputs follow the timings.
#   bench/bench_dump.sh [all|nikon]   (all: every corpus JPEG; nikon: the Nikon files only)
set -euo pipefail
set_name=${1:-all}
source "$(dirname "$0")/bench_common.sh"
cd "$root"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
case "$set_name" in
  all) mapfile -t sources < <(find "$shared/corpus/makers" "$shared/corpus/jpeg" -type f \( -iname '*.jpg' -o -iname '*.jpeg' \) | sort) ;;
  nikon) mapfile -t sources < <(find "$shared/corpus/makers/nikon" -type f \( -iname '*.jpg' -o -iname '*.nef' \) | sort) ;;
  *) echo "usage: bench_dump.sh [all|nikon]" >&2; exit 2 ;;
esac
for ((i = 0; i < 2000; i++)); do
  src=${sources[$((i % ${#sources[@]}))]}
  cp "$src" "$work/$(printf '%04d' "$i")-$(basename "$src")"
done
echo "2,000 files from ${#sources[@]} sources, $(du -sh "$work" | cut -f1)"
cat "$work"/* >/dev/null  # warm the cache
files=$(printf '%s ' "$work"/*)
floor=$root/build/release/bench/bench_head_read
[ -x "$floor" ] || bash "$root/scripts/build.sh" release bench_head_read >/dev/null

hyperfine --warmup 2 --runs 10 -N --ignore-failure --export-markdown "$work/result.md" \
  -n "I/O floor (64 KiB heads)" "$floor $files" \
  -n "tavexon dump --raw" "$cli dump --raw $files" \
  -n "tavexon dump (names and texts)" "$cli dump $files" \
  -n "tavexon dump --json" "$cli dump --json $files" \
  -n "exiv2 -pv" "exiv2 -pv $files" 2>&1 | grep -v '^ *$'
cat "$work/result.md"
for form in "" "--json" "--json --binary"; do
  printf 'output of dump %-16s %s bytes\n' "$form" "$("$cli" dump $form $files 2>/dev/null | wc -c)"
done
