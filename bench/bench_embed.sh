#!/usr/bin/env bash
# Embedding a roll, side by side: 36 frames of the real F6 roll into 36 scans of about 30 MB.
# Embedding is copying the scans once, so the aim is at most 1.3 times a `cp -r` of the same
# folder, and at least 10 times quicker than exiftool writing the same Exif tags into the same
# files in one process (the frames turned into an exiftool argument file, one -execute a file).
#
# Usage: bench/bench_embed.sh            (builds build/release when the program is missing)
# Environment: TAVEXON_SHARED (the shared material), TAVEXON_CLI (another tavexon-cli), RUNS,
# BENCH_OUT (a markdown table of the results).
set -euo pipefail

source "$(dirname "$0")/bench_common.sh"
command -v exiftool >/dev/null || { echo "exiftool is needed" >&2; exit 1; }

data=$root/samples/f6-detailed-film032-36frames.txt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TAVEXON_INI=$work/tvx1App.ini

# A scan of about 30 MB: a camera's JPEG (Exif and a Canon MakerNote, which the run replaces)
# followed by 30 MB of incompressible bytes, standing for the image data every road copies.
mkdir "$work/roll"
cp "$shared/corpus/makers/canon/exiftool_Canon1DmkIII.jpg" "$work/big.jpg"
head -c $((30 * 1024 * 1024)) /dev/urandom >>"$work/big.jpg"
for i in $(seq -f %04g 1 36); do cp "$work/big.jpg" "$work/roll/scan_$i.jpg"; done
chmod u+w "$work"/roll/*.jpg
du -sh "$work/roll"

# The same tags for exiftool: each frame line becomes the arguments of its file.
awk -F, -v roll="$work/run" 'NR > 3 {
  n++; split($16, d, "/")
  printf "-overwrite_original\n-Make=Nikon\n-Model=F6\n-Software=Tavexon Version 0.9.0b\n"
  printf "-ExposureTime=1/%s\n-FNumber=%s\n-FocalLength=%s\n-MaxApertureValue=%s\n", $2, substr($3, 2), $4, substr($5, 2)
  printf "-ExposureProgram#=3\n-MeteringMode#=5\n-ISO=400\n-ExposureCompensation=%s\n", $9
  printf "-DateTimeOriginal=%s:%s:%s %s:00\n", d[1], d[2], d[3], $17
  printf "%s/scan_%04d.jpg\n-execute\n", roll, n
}' "$data" >"$work/exiftool.args"

embed="'$cli' embed --data '$data' --type f6-detailed --jpegs '$work/run' --maker Nikon --camera F6 >/dev/null"
hyperfine --warmup 1 --runs "${RUNS:-5}" ${BENCH_OUT:+--export-markdown "$BENCH_OUT"} \
  --prepare "rm -rf '$work/run' '$work/copy' && cp -r '$work/roll' '$work/run'" \
  -n "cp -r" "cp -r '$work/roll' '$work/copy'" \
  -n tavexon "$embed" \
  -n exiftool "exiftool -q -@ '$work/exiftool.args'"
