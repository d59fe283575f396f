#!/usr/bin/env bash
# Builds the codec tests with ThreadSanitizer (build/tsan) and runs them: the decode threads
# must report nothing. Slow, so not part of every test run.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVEXON_BENCH=OFF -DTAVEXON_CLI=OFF \
  -DCMAKE_CXX_FLAGS="-fsanitize=thread -fno-omit-frame-pointer" -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=thread" >/dev/null
cmake --build build/tsan -j "$(nproc)" --target tavexon_codec_tests
shared=${TAVEXON_SHARED:-$(cd .. && pwd)/shared}
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" TAVEXON_SHARED="$shared" \
  build/tsan/tests/codec/tavexon_codec_tests "$@"
