#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds the example host and runs it on a real skull CT.
# usage: scripts/demo.sh [output folder]      default: demo
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
output=${1:-demo}

scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${EXAMPLE_PACKAGES[@]}"
scripts/fetch-sample.sh build/sample
cmake --preset examples
cmake --build --preset examples
QT_QPA_PLATFORM=offscreen build/examples/examples/replace_skull/replace_skull build/sample/skull.mhd "$output"
