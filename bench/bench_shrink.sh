#!/usr/bin/env bash
# Shrinking 36 scans of 24 megapixels to 1,600 pixels wide: tavexon-cli shrink against
# ImageMagick's convert -resize over the same folder, side by side.
set -euo pipefail
source "$(dirname "$0")/bench_common.sh"
cd "$root"
command -v convert >/dev/null || apt-get install -y -qq imagemagick >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/in"
src=$(find "$shared/corpus/makers/nikon" -iname '*.jpg' | sort | head -1)
# One 6000x4000 scan with the camera's Exif, copied 36 times.
convert "$src" -resize '6000x4000!' -attenuate 0.3 +noise Gaussian -quality 92 "$work/big.jpg"
exiftool -q -overwrite_original -TagsFromFile "$src" -all:all "$work/big.jpg" >/dev/null 2>&1 || true
for i in $(seq -w 1 36); do cp "$work/big.jpg" "$work/in/scan$i.jpg"; done
export TAVEXON_INI="$work/tavexon.ini"
hyperfine --runs 3 --export-markdown "$work/result.md" \
  --prepare "rm -rf $work/out $work/im; mkdir -p $work/im" \
  -n "tavexon-cli shrink --size 1600x1600" "$cli shrink $work/in $work/out --size 1600x1600 --level 1" \
  -n "convert -resize 1600x" "sh -c 'for f in $work/in/*.jpg; do convert \"\$f\" -resize 1600x \"$work/im/\$(basename \"\$f\")\"; done'" \
  2>&1 | grep -v '^ *$'
cat "$work/result.md"
