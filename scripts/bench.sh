#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds our benchmarks and the peers, runs them interleaved and writes
# docs/PERFORMANCE.md and docs/performance.svg. Options go to bench/compare.py (--rounds N, --only GROUPS).
#
# scripts/bench.sh --instructions [--update] instead counts the instructions of key operations with callgrind and compares
# them with bench/instructions.txt; it fails when one grew, and rewrites the file with --update.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

if [[ ${1:-} == --instructions ]]; then
  shift
  scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${BENCH_PACKAGES[@]}" valgrind python3
  cmake --preset bench
  cmake --build --preset bench --target arvo_bench
  exec python3 bench/instructions.py "$@"
fi
scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${BENCH_PACKAGES[@]}" "${PEER_PACKAGES[@]}"
cmake --preset bench -DARVO_BENCH_PEERS=ON
cmake --build --preset bench
exec python3 bench/compare.py "$@"
