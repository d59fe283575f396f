#!/usr/bin/env bash
# The batch tools on a folder of 2,000 JPEGs, side by side with ExifTool doing the same work:
# a capture date shift of one day and two hours (`exiftool -AllDates+=`), and a rename by
# capture date, as a dry run and for real (`exiftool '-FileName<DateTimeOriginal'`). The aim:
# each at least 10 times quicker than ExifTool.
#
# Usage: bench/bench_batch.sh            (builds build/release when the program is missing)
# Environment: TAVEXON_SHARED (the shared material), TAVEXON_CLI (another tavexon-cli), RUNS
# (default 3), FILES (default 2000), BENCH_OUT (a markdown table of the results).
set -euo pipefail

source "$(dirname "$0")/bench_common.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The small camera files of the corpus (each below 64 KiB, with a capture date), copied round
# until the folder holds FILES of them.
mkdir "$work/src"
mapfile -t camera < <(find "$shared/corpus/makers" -iname '*.jpg' -size -64k | sort)
count=${FILES:-2000}
for ((i = 0; i < count; i++)); do
  cp "${camera[i % ${#camera[@]}]}" "$(printf '%s/src/IMG_%05d.jpg' "$work" "$i")"
done
chmod u+w "$work"/src/*
echo "$count files from ${#camera[@]} camera files, $(du -sh "$work/src" | cut -f1)"

runs=${RUNS:-3}
fresh="rm -rf '$work/d' && cp -a '$work/src' '$work/d'"
shift_tags=original,digitized,modified
hyperfine -i --runs "$runs" ${BENCH_OUT:+--export-markdown "$BENCH_OUT"} --prepare "$fresh" \
  -n "date shift" "'$cli' date '$work/d' --shift +1:02:00:00 --tags $shift_tags >/dev/null 2>&1" \
  -n "exiftool -AllDates+=" "exiftool -q -q -overwrite_original '-AllDates+=0:0:1 2:0:0' '$work/d'" \
  -n "rename dry run" "'$cli' rename '$work/d' --by DateTimeOriginal --date-format 6 --number 0001 --dry-run >/dev/null" \
  -n "exiftool -testname" "exiftool -q -q -d '%Y%m%d%H%M%S%%-c.%%e' '-testname<DateTimeOriginal' '$work/d' >/dev/null" \
  -n "rename" "'$cli' rename '$work/d' --by DateTimeOriginal --date-format 6 --number 0001 >/dev/null 2>&1" \
  -n "exiftool -FileName<" "exiftool -q -q -d '%Y%m%d%H%M%S%%-c.%%e' '-FileName<DateTimeOriginal' '$work/d'"
