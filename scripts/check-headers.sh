#!/usr/bin/env bash
# Checks that every header that is installed compiles on its own, with what a host has and warnings as errors.
# usage: scripts/check-headers.sh BUILD_DIR      CXX names the compiler
set -euo pipefail
build=$(realpath "$1")
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" --component dev >/dev/null
flags=$(pkg-config --cflags Qt6Core Qt6Gui | sed 's/-I/-isystem /g')
cd "$prefix/include"
count=$(find . -name '*.h' | wc -l)
[[ $count -gt 0 ]]
# shellcheck disable=SC2016
find . -name '*.h' -printf '%P\n' | xargs -P "$(nproc)" -I HEADER sh -c \
  'echo "#include <HEADER>" | '"${CXX:-c++}"' -std=c++20 -fPIC -fsyntax-only -Wall -Wextra -Wpedantic -Werror -DQT_NO_KEYWORDS '"$flags"' -I. -x c++ - ||
   { echo "HEADER does not compile on its own"; exit 1; }'
echo "$count headers compile on their own"
