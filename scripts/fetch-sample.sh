#!/usr/bin/env bash
# Lays a real skull CT out as a MetaImage header over its raw voxels. usage: fetch-sample.sh FOLDER
#
# The CT comes from a Debian package that ships it as a gzipped tar: 108 x 256 x 256 signed 16-bit voxels (z slowest),
# 0.957 x 0.957 x 1.5 mm.
set -euo pipefail
folder=$1
[[ -f $folder/skull.mhd && -f $folder/skull.raw ]] && exit 0

"$(dirname "$0")/install-dependencies.sh" invesalius-examples
archive=/usr/share/doc/invesalius-examples/examples/Cranium.inv3
if [[ ! -f $archive ]]; then
  # Slim systems leave documentation out when they install; the package file itself still holds it.
  unpacked=$(mktemp -d)
  trap 'rm -rf "$unpacked"' EXIT
  (cd "$unpacked" && apt-get download -qq invesalius-examples && dpkg -x invesalius-examples_*.deb .)
  archive=$unpacked$archive
fi
mkdir -p "$folder"
tar -xOzf "$archive" --wildcards '*/matrix.dat' >"$folder/skull.raw"
cat >"$folder/skull.mhd" <<'HEADER'
ObjectType = Image
NDims = 3
DimSize = 256 256 108
ElementSpacing = 0.95703120 0.95703120 1.5
ElementType = MET_SHORT
ElementByteOrderMSB = False
ElementDataFile = skull.raw
HEADER
