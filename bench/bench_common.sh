# Sourced by the bench_*.sh scripts: the project root, the shared material, the program (built
# through scripts/build.sh when missing, so the release build keeps its tests), and hyperfine.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
shared=${TAVEXON_SHARED:-$root/../shared}
cli=${TAVEXON_CLI:-$root/build/release/cli/tavexon-cli}
[ -x "$cli" ] || bash "$root/scripts/build.sh" release tavexon-cli >/dev/null
command -v hyperfine >/dev/null || apt-get install -y -qq hyperfine >/dev/null
