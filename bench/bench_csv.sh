#!/usr/bin/env bash
# CSV export and import over 2,000 JPEGs (the corpus copied round to that count), side by side
# with exiftool: export of 12 tags against `exiftool -csv` of the same tags (aim: at least 10
# times quicker), and import of 2,000 rows (a new caption each) against `exiftool -csv=FILE`.
#
# Usage: bench/bench_csv.sh            (builds build/release when the program is missing)
# Environment: TAVEXON_SHARED, TAVEXON_CLI, RUNS (default 3), PART (all, or import alone), BENCH_OUT (markdown tables, .export/.import).
set -euo pipefail
source "$(dirname "$0")/bench_common.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Only files with Exif: import needs a document to write into (a file without one would need
# a thumbnail made from its image), and exiftool is given the same files.
sources=()
while read -r src; do
  "$cli" dump "$src" >/dev/null 2>&1 && sources+=("$src")
done < <(find "$shared/corpus/makers" "$shared/corpus/jpeg" -type f \( -iname '*.jpg' -o -iname '*.jpeg' \) | sort)
mkdir -p "$work/pristine"
for ((i = 0; i < 2000; i++)); do
  src=${sources[$((i % ${#sources[@]}))]}
  cp "$src" "$work/pristine/$(printf '%04d' "$i").jpg"
done
chmod -R u+w "$work/pristine"
echo "2,000 files from ${#sources[@]} sources, $(du -sh "$work/pristine" | cut -f1)"
cat "$work/pristine"/* >/dev/null  # warm the cache

# The same twelve tags for both programs, as values (exiftool -n, Tavexon's raw cells).
ours=0th:0x010F,0th:Model,0th:Orientation,0th:DateTime,0th:ImageDescription,exif:ExposureTime,exif:FNumber
ours=$ours,exif:ISOSpeedRatings,exif:DateTimeOriginal,exif:ExposureBiasValue,exif:FocalLength,exif:PixelXDimension
theirs="-IFD0:Make -IFD0:Model -IFD0:Orientation -IFD0:ModifyDate -IFD0:ImageDescription -ExifIFD:ExposureTime"
theirs="$theirs -ExifIFD:FNumber -ExifIFD:ISO -ExifIFD:DateTimeOriginal -ExifIFD:ExposureCompensation"
theirs="$theirs -ExifIFD:FocalLength -ExifIFD:ExifImageWidth"
export TAVEXON_INI=$work/tvx1App.ini

[ "${PART:-all}" = import ] || hyperfine --warmup 0 --runs "${RUNS:-3}" ${BENCH_OUT:+--export-markdown "$BENCH_OUT.export"} \
  -n "tavexon csv-export" "'$cli' csv-export '$work/pristine' -o '$work/ours.csv' --tags $ours >/dev/null" \
  -n "exiftool -csv" "exiftool -q -n -csv $theirs '$work/pristine' >'$work/theirs.csv'" 2>&1 | grep -v '^ *$'
[ "${PART:-all}" = import ] || echo "rows: tavexon $(($(wc -l <"$work/ours.csv") - 2)), exiftool $(($(wc -l <"$work/theirs.csv") - 1))"

# Import: every row gets a new caption. Each run starts from fresh copies (not timed).
"$cli" csv-export "$work/pristine" -o "$work/caption.csv" --tags 0th:ImageDescription >/dev/null
python3 - "$work/caption.csv" "$work/edit.csv" "$work/exiftool.csv" <<'PY'
import csv, os, sys
rows = list(csv.reader(open(sys.argv[1], encoding='cp932', newline='')))
with open(sys.argv[2], 'w', encoding='cp932', newline='') as ours, open(sys.argv[3], 'w', newline='') as theirs:
    w, t = csv.writer(ours, lineterminator='\r\n'), csv.writer(theirs)
    t.writerow(['SourceFile', 'ImageDescription'])
    for i, row in enumerate(rows):
        if i >= 2:
            row[1] = 'caption %d' % i
            t.writerow([row[0].replace('/pristine/', '/copies/'), row[1]])
        w.writerow(row)
PY
sed -i "s|/pristine/|/copies/|" "$work/edit.csv"
hyperfine --warmup 0 --runs "${RUNS:-3}" --ignore-failure ${BENCH_OUT:+--export-markdown "$BENCH_OUT.import"} \
  --prepare "rm -rf '$work/copies' && cp -r '$work/pristine' '$work/copies'" \
  -n "tavexon csv-import" "'$cli' csv-import '$work/edit.csv' --overwrite --makernote keep >/dev/null" \
  -n "exiftool -csv=FILE" "exiftool -q -overwrite_original -csv='$work/exiftool.csv' '$work/copies'" 2>&1 | grep -v '^ *$'
