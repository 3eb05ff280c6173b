#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds our benchmarks and the peers, runs them interleaved and writes
# docs/PERFORMANCE.md and docs/performance.svg. Options go to bench/compare.py (--rounds N, --only GROUPS).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${BENCH_PACKAGES[@]}" "${PEER_PACKAGES[@]}"
cmake --preset bench -DARVO_BENCH_PEERS=ON
cmake --build --preset bench
exec python3 bench/compare.py "$@"
