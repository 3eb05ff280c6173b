#!/usr/bin/env bash
# What a change must pass besides the tests: formatting, the order of the folders, documented public names, lint.
# usage: scripts/check.sh [--fast]     --fast leaves Doxygen and clang-tidy out
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang-format clang-tidy

git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
echo "formatting holds"
scripts/check-layering.sh
[[ ${1:-} == --fast ]] && exit 0

scripts/docs.sh >/dev/null
echo "every public name has a comment"

cmake --preset dev >/dev/null
cmake --build --preset dev --target arvo_volume_autogen >/dev/null
git ls-files 'arvo/*.cpp' | xargs -P "$(nproc)" -n 4 clang-tidy -p build/dev --quiet
echo "lint holds"
