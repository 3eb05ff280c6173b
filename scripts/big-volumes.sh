#!/usr/bin/env bash
# Runs the operations on a volume of more than 2^31 voxels (18 GB of memory), niced, and checks planted voxels and the far
# corner.
# usage: scripts/big-volumes.sh [SIDE]      1300 unless given
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" util-linux
side=${1:-1300}
needed=$((side * side * side * 17 / 2 / 1024)) # four volumes and the 4 bytes of a divergence, in KiB, and some air
free=$(awk '/MemAvailable/ { print $2 }' /proc/meminfo)
if ((free < needed)); then
  echo "needs $((needed / 1048576)) GiB of memory, $((free / 1048576)) are available"
  exit 2
fi
cmake --preset release >/dev/null
cmake --build --preset release --target arvo_big_volumes >/dev/null
exec flock --nonblock build/release/big-volumes.lock nice -n 19 build/release/tests/trust/arvo_big_volumes "$side"
