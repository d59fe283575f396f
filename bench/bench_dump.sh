#!/usr/bin/env bash
# Reading Exif over a folder of 2,000 JPEGs, warm cache, each over all files in one process:
# the bare I/O floor (bench_head_read: open each file, read its first 64 KiB), tavexon-cli dump
# in its three forms, and exiv2 -pv. The aims: dump --json within 2 times the plain dump, both
# within 4 times the floor. The sizes of the outputs follow the timings.
#   bench/bench_dump.sh [all|nikon] [cold]   (all: every corpus JPEG; nikon: the Nikon files only)
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

# dump --raw over the 2,000 files through the read-ahead reader (the default) and one file after
# another (MULTIREADNUM=0), warm, and cold where asked (`bench_dump.sh all cold`: drops the whole
# machine's page cache, so only on a machine of one's own) and allowed (root).
printf '[OPTION]\nMULTIREADNUM=64\n' >"$work/ahead.ini"
printf '[OPTION]\nMULTIREADNUM=0\n' >"$work/single.ini"
cmp <(TAVEXON_INI=$work/ahead.ini "$cli" dump --raw $files 2>&1) <(TAVEXON_INI=$work/single.ini "$cli" dump --raw $files 2>&1) \
  && echo "read-ahead and one at a time print the same"
cat "$work"/* >/dev/null
hyperfine --warmup 2 --runs 10 -N --ignore-failure --export-markdown "$work/ahead.md" \
  -n "dump --raw, read-ahead (warm)" "env TAVEXON_INI=$work/ahead.ini $cli dump --raw $files" \
  -n "dump --raw, one at a time (warm)" "env TAVEXON_INI=$work/single.ini $cli dump --raw $files" 2>&1 | grep -v '^ *$'
cat "$work/ahead.md"
if [ "${2:-}" = cold ] && sync && echo 3 2>/dev/null >/proc/sys/vm/drop_caches; then
  hyperfine --runs 5 -N --ignore-failure --prepare "sh -c 'sync; echo 3 >/proc/sys/vm/drop_caches'" \
    --export-markdown "$work/ahead-cold.md" \
    -n "dump --raw, read-ahead (cold)" "env TAVEXON_INI=$work/ahead.ini $cli dump --raw $files" \
    -n "dump --raw, one at a time (cold)" "env TAVEXON_INI=$work/single.ini $cli dump --raw $files" 2>&1 | grep -v '^ *$'
  cat "$work/ahead-cold.md"
else
  echo "cold cache: not asked for (bench_dump.sh all cold), or not allowed here; warm figures only"
fi
