#!/usr/bin/env bash
# Installs what is missing (Debian packages), builds the host ct_report and runs it on a real skull CT:
# the report with its pictures is then in demo/report.html.
# usage: scripts/demo.sh [output folder]      default: demo
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
output=${1:-demo}

scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${EXAMPLE_PACKAGES[@]}"
scripts/fetch-sample.sh build/sample
cmake --preset examples
cmake --build --preset examples --target ct_report
exec build/examples/examples/ct_report/ct_report build/sample/skull.mhd --output "$output"
