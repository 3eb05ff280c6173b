#pragma once

#include "arvo/platform/image/ElementTypes.h"

#include <array>
#include <cstdint>

class ArvoImage3D;

/// Scans of the voxels whose value exceeds a threshold; what the centre and the axes of a voxel cloud are made from.
namespace geometry {

/// The types that are scanned; the other types have no such voxels.
using ThresholdTypes = image::TypeSet<image::UInt16, image::Int16, image::UInt8>;

/// How many voxels were counted, and the sums of their indices.
struct IndexSums {
    std::int64_t count = 0;
    std::int64_t x = 0;
    std::int64_t y = 0;
    std::int64_t z = 0;
};

/// Counts the voxels strictly above the threshold.
IndexSums sumIndicesAbove(const ArvoImage3D& image, int threshold);

/// The mean index (at least one voxel counted) times the voxel size: no half voxel is added.
std::array<float, 3> massCentreOf(const IndexSums& sums, const ArvoImage3D& image);

/// Writes a row of three per voxel above the threshold, x fastest, then y, then z: its position, voxel index times
/// voxel size, less `centre`. Positions are computed in float.
void listCentredPositions(const ArvoImage3D& image, int threshold, const std::array<float, 3>& centre,
                          double* rows);

} // namespace geometry
