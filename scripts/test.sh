#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds and runs all tests.
# usage: scripts/test.sh [preset]      presets: release (default), dev, asan, tsan
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
preset=${1:-release}

scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset" -j "$(nproc)"
