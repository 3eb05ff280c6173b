#!/usr/bin/env bash
# Installs what is missing (Debian packages) and writes the API reference to build/docs/html.
# Fails, and shows where, when a public name has no comment.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" doxygen
cmake --preset docs
if ! cmake --build --preset docs --target docs; then
  cat build/docs/docs-warnings.txt >&2 2>/dev/null || true
  exit 1
fi
echo "build/docs/html/index.html"
