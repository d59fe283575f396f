#!/usr/bin/env bash
# The image viewer on 24-megapixel scans: from a key press on "next" to the next scan painted,
# beside tavexon-cli decode of the same file alone; then the key held through 36 scans.
#   bench/bench_viewer.sh [runs]
# The window runs on Xvfb with a 3840x2160 screen, where a 6000x4000 scan is decoded at full
# size (on a screen less than half its size in both directions it would be decoded at half
# size), and on the offscreen platform (800x600: half size) for comparison. Each press is
# preceded by tavexon-cli decode of the same file alone, so the ratio compares runs made side by
# side under the same load; the medians give it.
set -euo pipefail
runs=${1:-10}
source "$(dirname "$0")/bench_common.sh"
cd "$root"
measure=$root/build/release/app/tavexon-measure
[ -x "$measure" ] || bash "$root/scripts/build.sh" release tavexon-measure >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TAVEXON_INI="$work/tvx1App.ini"
# 6000 x 4000 from a camera photograph, enlarged, with grain so the entropy data is that of a
# real scan, then cjpeg at quality 90 with 2x2 luminance sampling (as bench_decode.sh makes it).
photo="$shared/corpus/makers/nikon/digicam_D90_DSC_0003.JPG"
convert "$photo" -resize '6000x4000!' -attenuate 0.6 +noise Gaussian ppm:"$work/big.ppm"
cjpeg -quality 90 -sample 2x2 -outfile "$work/big.jpg" "$work/big.ppm"
rm -f "$work/big.ppm"
echo "24-megapixel scan: $(du -h "$work/big.jpg" | cut -f1)"
# A folder of scans: links to the one file under 36 names (no disk space, the same bytes).
mkdir -p "$work/roll"
for i in $(seq -w 1 36); do ln "$work/big.jpg" "$work/roll/scan_00$i.jpg"; done
mkdir -p "$work/five"
for i in $(seq 1 $((runs + 1))); do ln "$work/big.jpg" "$work/five/scan_$(printf %03d "$i").jpg"; done
cat "$work/big.jpg" >/dev/null  # warm the cache

hyperfine --warmup 2 --runs "$runs" -N --export-markdown "$work/cli.md" \
  -n "tavexon-cli decode" "$cli decode $work/big.jpg" \
  -n "tavexon-cli decode --half" "$cli decode --half $work/big.jpg" 2>&1 | grep -v '^ *$'
cat "$work/cli.md"
echo "decode alone, in the process: $("$cli" decode "$work/big.jpg" --json | tr -d '\n ')"

filter() { grep -v -e propagateSizeHints -e XDG_RUNTIME_DIR -e 'does not support' || true; }
echo "== viewer, Xvfb 3840x2160 (full-size decode)"
xvfb-run -a -s "-screen 0 3840x2160x24" "$measure" viewer-next "$work/five" "$cli" 2>&1 | filter
echo "== viewer, Xvfb 3840x2160, the window as large as the screen (most of the scan shown)"
TAVEXON_MEASURE_WINDOW=3840x2100 xvfb-run -a -s "-screen 0 3840x2160x24" "$measure" viewer-next "$work/five" "$cli" 2>&1 | filter
xvfb-run -a -s "-screen 0 3840x2160x24" "$measure" viewer-hold "$work/roll" 2>&1 | filter
echo "== viewer, offscreen 800x600 (half-size decode)"
QT_QPA_PLATFORM=offscreen "$measure" viewer-next "$work/five" "$cli" 2>&1 | filter
QT_QPA_PLATFORM=offscreen "$measure" viewer-hold "$work/roll" 2>&1 | filter
