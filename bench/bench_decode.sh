#!/usr/bin/env bash
# JPEG decoding, warm cache: tavexon-cli decode (DECODE_METHOD 2, and the single thread)
# against djpeg -dct int -nosmooth, on a generated 24-megapixel 4:2:0 baseline JPEG and on a
# folder of corpus JPEGs, in one hyperfine run.
#   bench/bench_decode.sh [runs]
set -euo pipefail
runs=${1:-10}
source "$(dirname "$0")/bench_common.sh"
cd "$root"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# 6000 x 4000 from a camera photograph, enlarged, with grain so the entropy data is that of a
# real picture, then cjpeg at quality 90 with 2x2 luminance sampling.
photo="$shared/corpus/makers/nikon/digicam_D90_DSC_0003.JPG"
convert "$photo" -resize '6000x4000!' -attenuate 0.6 +noise Gaussian ppm:"$work/big.ppm"
cjpeg -quality 90 -sample 2x2 -outfile "$work/big.jpg" "$work/big.ppm"
rm -f "$work/big.ppm"
echo "24-megapixel file: $(du -h "$work/big.jpg" | cut -f1), $("$cli" decode "$work/big.jpg" --json | tr -d '\n ' )"

# The corpus folder: every baseline JPEG the decoder takes.
mkdir -p "$work/corpus"
while IFS= read -r f; do
  "$cli" decode "$f" --method 0 >/dev/null 2>&1 && cp "$f" "$work/corpus/"
done < <(find "$shared/corpus/makers" "$shared/corpus/jpeg" -type f \( -iname '*.jpg' -o -iname '*.jpeg' \) | sort)
count=$(ls "$work/corpus" | wc -l)
echo "corpus folder: $count files, $(du -sh "$work/corpus" | cut -f1)"
cat "$work/big.jpg" "$work/corpus"/* >/dev/null  # warm the cache
printf '#!/bin/sh\nfor f in "$@"; do %s decode --method "$M" "$f" || exit 1; done\n' "$cli" >"$work/tavexon-all.sh"
printf '#!/bin/sh\nfor f in "$@"; do djpeg -dct int -nosmooth -outfile /dev/null "$f" || exit 1; done\n' >"$work/djpeg-all.sh"
files=$(printf '%s ' "$work/corpus"/*)

hyperfine --warmup 2 --runs "$runs" -N --export-json "$work/result.json" --export-markdown "$work/result.md" \
  -n "tavexon 24MP method 2" "$cli decode --method 2 $work/big.jpg" \
  -n "tavexon 24MP method 0" "$cli decode --method 0 $work/big.jpg" \
  -n "djpeg 24MP" "djpeg -dct int -nosmooth -outfile /dev/null $work/big.jpg" \
  -n "tavexon corpus method 2" "env M=2 sh $work/tavexon-all.sh $files" \
  -n "tavexon corpus method 0" "env M=0 sh $work/tavexon-all.sh $files" \
  -n "djpeg corpus" "sh $work/djpeg-all.sh $files" 2>&1 | grep -v '^ *$'
cat "$work/result.md"
python3 - "$work/result.json" <<'PY'
import json, sys
r = {x["command"]: x["mean"] for x in json.load(open(sys.argv[1]))["results"]}
dj = r["djpeg 24MP"]
for m in ("2", "0"):
    t = r["tavexon 24MP method " + m]
    print(f"24MP method {m}: {t*1000:.0f} ms, {24/t:.0f} MP/s, {t/dj:.2f}x djpeg ({dj*1000:.0f} ms, {24/dj:.0f} MP/s)")
for m in ("2", "0"):
    print(f"corpus method {m}: {r['tavexon corpus method ' + m]/r['djpeg corpus']:.2f}x djpeg")
PY
