#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

/// The input volumes of the workloads, edge^3 voxels of spacing 1, made once and kept.
namespace inputs {

const ArvoImage3D& ct16(int edge, int seed = 0); ///< Int16; seeds 0 and 1 are CT16 and CT16B
const ArvoImage3D& ct8(int edge, int seed = 0);  ///< UInt8; CT8 and CT8B
const ArvoImage3D& ctF(int edge, int seed = 0);  ///< Float32; seeds 0, 1, 2 are CTF, CTFB, CTFC
const ArvoImage3D& smooth(int edge);             ///< Binary; union of 60 balls, 34 % set
const ArvoImage3D& parts(int edge);              ///< Binary; CT16 > 80: shell, specks and flecks, 10 % set
const ArvoImage3D& noise(int edge);              ///< Binary; 35 % set at random

ArvoImage3D copyOf(const ArvoImage3D& image);

/// Order-sensitive checksum of the voxels, to compare with other implementations of the same formulas.
unsigned long long checksum(const ArvoImage3D& image);

/// Makes the inputs of edge 64 and compares their checksums with the known ones; false, with a message, if one differs.
bool check();

} // namespace inputs
