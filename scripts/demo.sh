#!/usr/bin/env bash
# Installs what is missing, builds, and shows Tavexon's reading of the bundled sample scans.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh release
cli=build/release/cli/tavexon-cli
for f in samples/*.jpg; do
  "$cli" dump "$f"
done
