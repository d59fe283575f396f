#!/usr/bin/env bash
# The main job: installs what is missing, builds, embeds the bundled sample roll (a real Nikon F6
# film of 36 frames) into a copy of the bundled sample scans, and shows one result: with a display
# the desktop program opens the Exif list on the first embedded scan; without one, screenshots of
# the windows are written and their place printed.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh release tavexon-cli tavexon tavexon-screenshots
cli=build/release/cli/tavexon-cli
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp samples/scans/*.jpg "$work/"
chmod u+w "$work"/*.jpg
export TAVEXON_INI="$work/tvx1App.ini"  # the run's settings stay with the copy
"$cli" embed --data samples/f6-detailed-film032-36frames.txt --type f6-detailed --jpegs "$work" --dry-run | sed -n "1,4p;\$p"
"$cli" embed --data samples/f6-detailed-film032-36frames.txt --type f6-detailed --jpegs "$work" \
  --maker Nikon --camera F6 --film "Kodak Portra 400" --private-tags
"$cli" dump "$work/scan_0031.jpg"
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  # FIRSTVIEW 1: the Exif list window on the path.
  printf '[OPTION]\r\nFIRSTVIEW=1\r\n' >>"$TAVEXON_INI"
  build/release/app/tavexon "$work/scan_0001.jpg"
else
  bash scripts/screenshots.sh "$work/scan_0001.jpg"
  echo "No display: screenshots of the desktop windows are in $(pwd)/build/screenshots/"
fi
