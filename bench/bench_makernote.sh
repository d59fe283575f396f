#!/usr/bin/env bash
# Dump of every corpus file of one MakerNote family, notes decoded, against exiv2 -pv on the
# same files: each file copied to make 500, all in one process, warm cache; files per second.
# The Nikon line is the yardstick: another family's dump is to be no slower per file.
#   bench/bench_makernote.sh [family...]   (default: every family below)
set -euo pipefail
source "$(dirname "$0")/bench_common.sh"
cd "$root"

# One line per family: its name and its corpus folder.
declare -A folders=(
  [nikon]=makers/nikon
  [canon]=makers/canon
  [fujifilm]=makers/fujifilm
)
families=("$@")
[ ${#families[@]} -gt 0 ] || families=(nikon canon fujifilm)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
copies=500
for family in "${families[@]}"; do
  mapfile -t sources < <(find "$shared/corpus/${folders[$family]}" -type f \( -iname '*.jpg' -o -iname '*.thm' \) | sort)
  mkdir -p "$work/$family"
  for ((i = 0; i < copies; i++)); do
    src=${sources[$((i % ${#sources[@]}))]}
    cp "$src" "$work/$family/$(printf '%04d' "$i")-$(basename "$src")"
  done
  cat "$work/$family"/* >/dev/null
  files=$(printf '%s ' "$work/$family"/*)
  hyperfine --warmup 1 --runs 5 -N --ignore-failure --export-json "$work/$family.json" \
    -n "$family tavexon dump" "$cli dump $files" -n "$family exiv2 -pv" "exiv2 -pv $files" >/dev/null 2>&1
  python3 - "$work/$family.json" "$copies" "$family" "${#sources[@]}" <<'PY'
import json, sys
results = json.load(open(sys.argv[1]))["results"]
copies = int(sys.argv[2])
rate = {r["command"].split(" ", 1)[1]: copies / r["mean"] for r in results}
ours, peer = rate["tavexon dump"], rate["exiv2 -pv"]
print(f"{sys.argv[3]:10s} {sys.argv[4]:3s} sources  tavexon {ours:8.0f} files/s  exiv2 {peer:8.0f} files/s  ratio {ours / peer:5.2f}")
PY
done
