#!/usr/bin/env bash
# Writing Exif into a 30 MB JPEG, side by side: a plain `cp` of the file, Tavexon's in-place
# edit, Tavexon's full rebuild, and `exiftool -Artist=x`. The aim: each Tavexon road within
# 1.3 times the copy, and at least 10 times quicker than exiftool.
#
# Usage: bench/bench_write.sh            (builds build/release when the program is missing)
# Environment: TAVEXON_SHARED (the shared material), TAVEXON_CLI (another tavexon-cli), RUNS,
# BENCH_OUT (a markdown table of the results).
set -euo pipefail

source "$(dirname "$0")/bench_common.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A 30 MB photograph: a camera's JPEG (Exif and a Nikon MakerNote) followed by 30 MB of
# incompressible bytes, which stand for the image data every road has to copy.
source_jpeg=$shared/corpus/makers/nikon/exiftool_NikonD70.jpg
cp "$source_jpeg" "$work/big.jpg"
head -c $((30 * 1024 * 1024)) /dev/urandom >>"$work/big.jpg"
chmod u+w "$work/big.jpg"
ls -l "$work/big.jpg"

# Make (271) is "NIKON CORPORATION": a shorter text is patched in place. A new Artist of 300
# characters does not fit anywhere and forces the rebuild.
long_artist=$(printf 'A%.0s' $(seq 300))
hyperfine --warmup 2 --runs "${RUNS:-10}" ${BENCH_OUT:+--export-markdown "$BENCH_OUT"} \
  --prepare "cp '$work/big.jpg' '$work/edit.jpg'" \
  -n cp "cp '$work/big.jpg' '$work/copy.jpg'" \
  -n in-place "'$cli' set '$work/edit.jpg' --ifd 0th --tag 271 --type ASCII --value NIKON" \
  -n rebuild "'$cli' set '$work/edit.jpg' --ifd 0th --tag 315 --type ASCII --value '$long_artist' --makernote rebuild" \
  -n exiftool "exiftool -q -overwrite_original -Artist=x '$work/edit.jpg'"
