#!/usr/bin/env bash
# Configures and builds one flavour of Tavexon: build.sh [release|asan|fuzz] [TARGET...]
# The desktop program (Qt) is built in the release flavour; the sanitizer and fuzz flavours
# build the core and the command line.
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
  asan)    cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTAVEXON_SANITIZE=ON -DTAVEXON_BENCH=OFF -DTAVEXON_DESKTOP=OFF >/dev/null ;;
  fuzz)    cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVEXON_FUZZ=ON \
                 -DCMAKE_CXX_COMPILER=clang++ >/dev/null ;;
  *) echo "usage: build.sh [release|asan|fuzz]" >&2; exit 2 ;;
esac
shift || true
targets=()
for t in "$@"; do targets+=(--target "$t"); done
cmake --build "build/$flavour" -j "$jobs" "${targets[@]}"
