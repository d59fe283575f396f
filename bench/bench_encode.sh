#!/usr/bin/env bash
# Encoding a 24-megapixel picture: Tavexon's encoder at its levels against cjpeg, side by side,
# with the file sizes and the PSNR of each against the source (ImageMagick's compare).
set -euo pipefail
source "$(dirname "$0")/bench_common.sh"
cd "$root"
command -v cjpeg >/dev/null || apt-get install -y -qq libjpeg-turbo-progs >/dev/null
command -v compare >/dev/null || apt-get install -y -qq imagemagick >/dev/null
bash scripts/build.sh release bench_encode >/dev/null
encode=build/release/bench/bench_encode
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# A photograph-like 6000x4000 picture: a corpus photo enlarged, so it has real detail.
src=$(find "$shared/corpus/jpeg" -iname '*.jpg' | sort | head -1)
convert "$src" -resize '6000x4000!' -attenuate 0.3 +noise Gaussian "$work/src.ppm"
hyperfine -N --warmup 1 --runs 5 --export-markdown "$work/result.md" \
  -n "tavexon level 5" "$encode $work/src.ppm $work/t5.jpg 5" \
  -n "tavexon level 3" "$encode $work/src.ppm $work/t3.jpg 3" \
  -n "cjpeg -quality 90" "cjpeg -quality 90 -outfile $work/c90.jpg $work/src.ppm" \
  -n "cjpeg -quality 94" "cjpeg -quality 94 -outfile $work/c94.jpg $work/src.ppm" \
  -n "cjpeg -quality 75" "cjpeg -quality 75 -outfile $work/c75.jpg $work/src.ppm" 2>&1 | grep -v '^ *$'
cat "$work/result.md"
# Level 5 lands between cjpeg's qualities 93 and 94 in size, level 3 on quality 75.
for f in t5 t3 c90 c94 c75; do
  psnr=$(compare -metric PSNR "$work/src.ppm" "$work/$f.jpg" null: 2>&1 || true)
  echo "$f: $(stat -c %s "$work/$f.jpg") bytes, PSNR $psnr dB"
done
