#!/usr/bin/env bash
# Builds the Debian packages into build/release/packages.
# usage: scripts/package.sh [--try]
#   --try installs them on this machine, builds and runs the consumer of the tests against them and removes them again.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
scripts/install-dependencies.sh "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" dpkg-dev file
cmake --preset release >/dev/null
cmake --build --preset release --target arvo_platform arvo_volume
rm -rf build/release/packages
cpack --config build/release/CPackConfig.cmake >/dev/null
for package in build/release/packages/*.deb; do
  echo "$package"
  dpkg-deb --field "$package" Package Version Depends
done
[[ ${1:-} == --try ]] || exit 0

sudo=()
[[ $(id -u) == 0 ]] || sudo=(sudo)
names=$(for package in build/release/packages/*.deb; do dpkg-deb --field "$package" Package; done)
# shellcheck disable=SC2086
trap '"${sudo[@]}" dpkg --purge $names' EXIT
"${sudo[@]}" dpkg --install build/release/packages/*.deb
work=build/release/packages/consumer
cmake -G Ninja -S tests/consumer -B "$work" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work" >/dev/null
ldd "$work/consumer" | grep arvo
"$work/consumer"
echo "the consumer works with the installed packages"
