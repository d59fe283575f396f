#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the release build, the core and its
# tests under AddressSanitizer and UndefinedBehaviorSanitizer, and a short fuzzing run of the
# same sanitized tree.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh

export TAVEXON_SHARED=${TAVEXON_SHARED:-$(cd .. && pwd)/shared}
status=0

echo "== layers"
bash scripts/check_layers.sh || status=1

echo "== release build and tests"
bash scripts/build.sh release
ctest --test-dir build/release --output-on-failure -j "$(nproc)" || status=1

echo "== desktop tests once more on a real X server (Xvfb)"
for program in build/release/tests/{kit,views,app}/tavexon_*_tests; do
  [ -x "$program" ] || continue
  QT_QPA_PLATFORM=xcb xvfb-run -a "$program" --gtest_brief=1 || status=1
done

echo "== sanitizer build (core, command line, tests, fuzz targets; clang) and tests"
bash scripts/build.sh sanitize
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build/sanitize --output-on-failure -j "$(nproc)" || status=1

echo "== fuzzing"
bash scripts/fuzz.sh "${FUZZ_SECONDS:-30}" || status=1

exit $status
