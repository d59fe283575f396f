#!/usr/bin/env bash
# The main job: installs what is missing, builds, embeds the bundled sample roll (a real Nikon F6
# film of 36 frames) into a copy of the bundled sample scans, and shows one result.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh release tavexon-cli
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
