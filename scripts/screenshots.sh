#!/usr/bin/env bash
# Writes a PNG of each desktop window built so far into build/screenshots/, on the offscreen
# platform (no display needed; Japanese text rendered with the installed gothic face):
#   screenshots.sh [JPEG]
# Without a JPEG, the bundled roll is embedded into a copy of the bundled scans and the first
# scan is shown.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh release tavexon-cli tavexon-screenshots >/dev/null
out=build/screenshots
mkdir -p "$out"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TAVEXON_INI="$work/tvx1App.ini"
jpeg=${1:-}
if [ -z "$jpeg" ]; then
  cp samples/scans/*.jpg "$work/"
  chmod u+w "$work"/*.jpg
  build/release/cli/tavexon-cli embed --data samples/f6-detailed-film032-36frames.txt --type f6-detailed \
    --jpegs "$work" --maker Nikon --camera F6 >/dev/null 2>&1
  jpeg="$work/scan_0001.jpg"
fi
QT_QPA_PLATFORM=offscreen build/release/app/tavexon-screenshots "$out" "$jpeg" 2> >(grep -v -e propagateSizeHints -e XDG_RUNTIME_DIR >&2)
