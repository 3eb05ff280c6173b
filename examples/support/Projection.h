#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <array>
#include <vector>

namespace host {

/// The extent of the volume in mm.
QVector3D extentOf(const ArvoImage3D& volume);

/// A picture plane through the middle of a volume: unit vectors in mm from pixel to pixel and along the rays.
struct ViewDirection {
    QVector3D across, down, along;
};

/// The view of somebody who walks around the volume: 0 degrees from the front, 90 from the side. The head is up.
ViewDirection viewAround(float degrees);

/// The tables that a projection takes, in voxel indices: offsets of each column and row from the middle of the volume,
/// and the step of each column's rays. `step` is the edge of a pixel, and the distance of the samples, in mm.
struct RayTables {
    RayTables(const ArvoImage3D& volume, const ViewDirection& view, int width, int height, float step);

    std::array<float, 3> origin{};
    std::vector<float> columns, rows, steps;
};

} // namespace host
