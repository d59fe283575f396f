#!/usr/bin/env bash
# Counts what a rebuild-forcing edit (a long new Artist) does to every JPEG of a folder tree:
# preserved (the save succeeded and an independent reader sees every other value as before),
# refused (the save failed and the file is byte for byte as it was) and changed (anything else).
#   preservation_count.sh [FOLDER] [keep|rebuild] [II|MM]
# FOLDER defaults to the shared corpus; the second argument answers the MakerNote questions;
# the third, when given, also asks for that byte order. Files are copied first, never edited.
# Set VERBOSE=1 to see each file's verdict and the first differing value.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=${1:-${TAVEXON_SHARED:-../shared}/corpus}
answer=${2:-keep}
order=${3:-}
cli=${TAVEXON_CLI:-build/release/cli/tavexon-cli}
[ -x "$cli" ] || bash scripts/build.sh release tavexon-cli >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
artist="Preservation check: an Artist long enough that no file's old value can hold it in place ($(printf 'x%.0s' {1..64}))"
extra=()
[ -n "$order" ] && extra=(--byte-order "$order")

# Tags a rebuild may rightly change: the edited one, where directories and blocks stand, and
# the record of a note's move. Everything else must read the same.
compare() {
  python3 - "$1" "$2" <<'EOF'
import json, re, sys
skip = re.compile(r'^(SourceFile|System:.*|File:.*|Composite:.*|MPImage\d+:MPImageStart|IFD0:Artist|ExifIFD:OffsetSchema|.*:ExifOffset|'
                  r'.*:GPSInfo|.*:InteropOffset|.*:ThumbnailOffset|.*:PreviewImageStart|.*Warning)$')
with open(sys.argv[1]) as a, open(sys.argv[2]) as b:
    before, after = json.load(a)[0], json.load(b)[0]
for key in sorted(set(before) | set(after)):
    if skip.match(key):
        continue
    if before.get(key) != after.get(key):
        print(f"{key}: {str(before.get(key))[:60]!r} -> {str(after.get(key))[:60]!r}")
        sys.exit(1)
EOF
}

preserved=0 refused=0 changed=0 index=0
while IFS= read -r -d '' file; do
  index=$((index + 1))
  copy="$work/$index.jpg"
  cp "$file" "$copy"
  chmod u+w "$copy"
  cp "$copy" "$work/original"
  exiftool -j -G1 -a -u -n "$copy" >"$work/before.json" 2>/dev/null || true
  if "$cli" set "$copy" --ifd 0th --tag 315 --type ASCII --value "$artist" --makernote "$answer" "${extra[@]}" \
      >/dev/null 2>"$work/stderr"; then
    exiftool -j -G1 -a -u -n "$copy" >"$work/after.json" 2>/dev/null || true
    if difference=$(compare "$work/before.json" "$work/after.json"); then
      verdict=preserved; preserved=$((preserved + 1))
    else
      verdict="changed: $difference"; changed=$((changed + 1))
    fi
  elif cmp -s "$copy" "$work/original"; then
    verdict="refused: $(tail -n 1 "$work/stderr")"; refused=$((refused + 1))
  else
    verdict="changed: failed but the file differs"; changed=$((changed + 1))
  fi
  [ "${VERBOSE:-0}" = 1 ] && echo "${file#"$folder"/}: $verdict"
done < <(find "$folder" -type f \( -iname '*.jpg' -o -iname '*.jpeg' \) -print0 | sort -z)
echo "files $index: preserved $preserved, refused $refused, changed $changed"
