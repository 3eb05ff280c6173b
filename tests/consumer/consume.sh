#!/usr/bin/env bash
# Builds and runs the consumer as a user of the library would.
# usage: consume.sh package|pkgconfig|subdirectory BUILD_DIR WORK_DIR
set -euo pipefail
way=$1 build=$(realpath "$2") work=$3
here=$(cd "$(dirname "$0")" && pwd)

rm -rf "$work"
mkdir -p "$work"
prefix=$(realpath "$work")/prefix
case $way in
package)
  cmake --install "$build" --prefix "$prefix" >/dev/null
  cmake -G Ninja -S "$here" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefix"
  cmake --build "$work/build"
  "$work/build/consumer"
  ;;
pkgconfig)
  cmake --install "$build" --prefix "$prefix" >/dev/null
  lib=$(dirname "$(find "$prefix" -name 'libarvo_volume.so' | head -1)")
  flags=$(PKG_CONFIG_PATH="$lib/pkgconfig" pkg-config --cflags --libs arvo-volume)
  # shellcheck disable=SC2086
  "${CXX:-c++}" -std=c++20 -fPIC "$here/main.cpp" -o "$work/consumer" $flags -Wl,-rpath,"$lib"
  "$work/consumer"
  ;;
subdirectory)
  cmake -G Ninja -S "$here" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DARVO_SOURCE_DIR="$(cd "$here/../.." && pwd)"
  cmake --build "$work/build" --target consumer
  "$work/build/consumer"
  ;;
esac
echo "consumer ($way): works"
