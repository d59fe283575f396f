#!/usr/bin/env bash
# Dump of the MakerNote families' corpus files against exiv2 -pv, in files per second: each
# family's files copied to 400, warm cache, all in one process per run. Shared by the family
# handlers; a family's line is one entry of `families`.
#   bench/bench_makernote.sh [FAMILY...]   (default: every family below)
set -euo pipefail
source "$(dirname "$0")/bench_common.sh"
cd "$root"

families=("${@:-nikon canon fujifilm olympus sony panasonic casio pentax}")
read -r -a families <<<"${families[*]}"
copies=400
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf '| family | files | tavexon dump files/s | exiv2 -pv files/s | ratio |\n|---|---:|---:|---:|---:|\n' >"$work/table.md"
for family in "${families[@]}"; do
  mapfile -t sources < <(find "$shared/corpus/makers/$family" -type f -iname '*.jpg' | sort)
  [ "${#sources[@]}" -gt 0 ] || continue
  mkdir -p "$work/$family"
  for ((i = 0; i < copies; i++)); do
    src=${sources[$((i % ${#sources[@]}))]}
    cp "$src" "$work/$family/$(printf '%04d' "$i")-$(basename "$src")"
  done
  cat "$work/$family"/* >/dev/null  # warm the cache
  files=$(printf '%s ' "$work/$family"/*)
  hyperfine --warmup 2 --runs 10 -N --ignore-failure --export-json "$work/$family.json" \
    -n "tavexon dump ($family)" "$cli dump $files" \
    -n "exiv2 -pv ($family)" "exiv2 -pv $files" >/dev/null 2>&1
  python3 - "$work/$family.json" "$family" "$copies" >>"$work/table.md" <<'PY'
import json, sys
results = json.load(open(sys.argv[1]))["results"]
ours, theirs = (results[0]["mean"], results[1]["mean"])
n = int(sys.argv[3])
print(f"| {sys.argv[2]} | {n} | {n / ours:,.0f} | {n / theirs:,.0f} | {theirs / ours:.1f}x |")
PY
done
cat "$work/table.md"
