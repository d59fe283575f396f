#!/usr/bin/env bash
# Fails when a source file includes a header of a higher layer. The layers, lowest first:
#   frame < exif < makernote < shooting < codec < tools < kit < views < app
# cli/ stands beside the desktop: it may use the whole core but no desktop folder.
# tests/<folder>, fuzz/ and bench/ follow the folder they test (fuzz and bench as cli).
set -euo pipefail
cd "$(dirname "$0")/.."
layers=(frame exif makernote shooting codec tools kit views app)
rank() {
  local i
  for i in "${!layers[@]}"; do [ "${layers[$i]}" = "$1" ] && { echo "$i"; return; }; done
  case "$1" in cli|fuzz|bench) echo 5 ;; *) echo -1 ;; esac
}
status=0
while IFS= read -r file; do
  dir=${file%%/*}
  [ "$dir" = tests ] && { sub=${file#tests/}; dir=${sub%%/*}; }
  own=$(rank "$dir")
  [ "$own" -lt 0 ] && continue
  while IFS= read -r target; do
    [ "$target" = "$dir" ] && continue
    [ "$target" = cli ] && [ "$dir" != cli ] && { echo "$file includes cli/"; status=1; continue; }
    theirs=$(rank "$target")
    if [ "$theirs" -gt "$own" ]; then
      echo "$file includes $target/ (a higher layer)"
      status=1
    fi
  done < <(grep -hoE '^#include "[a-z_]+/' "$file" | sed -E 's/#include "([a-z_]+)\//\1/' | sort -u)
done < <(git ls-files '*.h' '*.cpp' '*.inc')
[ $status -eq 0 ] && echo "layers: every include points down"
exit $status
