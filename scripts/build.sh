#!/usr/bin/env bash
# Configures and builds one flavour of Tavexon: build.sh [release|sanitize] [TARGET...]
# release (build/release): everything, the desktop program (Qt) and the benchmarks included.
# sanitize (build/sanitize): the core, the command line, their tests and the fuzz targets, with
# clang under AddressSanitizer and UndefinedBehaviorSanitizer at -O1, so one compile of the core
# serves the tests and the fuzzers. "asan" and "fuzz" name the same tree.
set -euo pipefail
cd "$(dirname "$0")/.."
flavour=${1:-release}
jobs=$(nproc)
# A compiler cache makes a second build of the same sources (another flavour's configure, a
# fresh clone on the same machine) cheap; paths are taken relative to the project.
if command -v ccache >/dev/null && [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ]; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR=$PWD
fi
case "$flavour" in
  release) cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVEXON_TESTS=ON -DTAVEXON_BENCH=ON >/dev/null ;;
  sanitize|asan|fuzz)
           flavour=sanitize
           cmake -S . -B build/sanitize -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
                 -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DTAVEXON_FUZZ=ON -DTAVEXON_BENCH=OFF -DTAVEXON_DESKTOP=OFF >/dev/null ;;
  *) echo "usage: build.sh [release|sanitize]" >&2; exit 2 ;;
esac
shift || true
targets=()
for t in "$@"; do targets+=(--target "$t"); done
cmake --build "build/$flavour" -j "$jobs" "${targets[@]}"
