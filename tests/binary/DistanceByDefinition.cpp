#include "DistanceByDefinition.h"

#include "support/RandomVolume.h"

#include <algorithm>

namespace testing_support {

namespace {

/// One raster sweep over the 13 neighbours that it has met before.
void sweep(ArvoImage3D& distance, int firstSlice, int lastSlice, int step)
{
    const math::Ivec3 size = distance.imageSize();
    const auto first = [&](int extent) { return step > 0 ? 0 : extent - 1; };
    const auto value = [&](int x, int y, int z) -> short& {
        return voxels<short>(distance)[indexOf(size, x, y, z)];
    };
    for (int z = firstSlice; z != lastSlice + step; z += step) {
        for (int y = first(size.y); y >= 0 && y < size.y; y += step) {
            for (int x = first(size.x); x >= 0 && x < size.x; x += step) {
                int lowest = 32766;
                for (int n = 0; n < 9; ++n) {
                    const int a = n / 3 - 1, b = n % 3 - 1, nx = x + b * step, ny = y + a * step;
                    if (!holds(size, nx, ny, z))
                        continue;
                    lowest = std::min<int>(lowest, value(nx, ny, z - step));
                    if (a < 0 || (a == 0 && b < 0))
                        lowest = std::min<int>(lowest, value(nx, ny, z));
                }
                value(x, y, z) = static_cast<short>(std::min<int>(value(x, y, z), lowest + 1));
            }
        }
    }
}

} // namespace

/// Slice by slice, one run from the second voxel of the second row to the last but one of the last but one row.
ArvoImage3D boundaryByDefinition(const ArvoImage3D& object)
{
    const math::Ivec3 size = object.imageSize();
    ArvoImage3D boundary(size, object.voxelSize(), image::Binary);
    boundary.zeroSlices();
    for (int z = 1; z <= size.z - 2; ++z) {
        const char* previous = object.getConstAxialSlice(z - 1);
        const char* current = object.getConstAxialSlice(z);
        const char* next = object.getConstAxialSlice(z + 1);
        for (int i = size.x + 1; i <= size.x * size.y - size.x - 2; ++i) {
            const bool isObject = static_cast<signed char>(current[i]) > 0;
            if (isObject && (previous[i] == 0 || current[i - 1] == 0 || current[i + 1] == 0 ||
                             current[i - size.x] == 0 || current[i + size.x] == 0 || next[i] == 0))
                boundary.getAxialSlice(z)[i] = 1;
        }
    }
    return boundary;
}

ArvoImage3D unsignedDistanceByDefinition(const ArvoImage3D& object)
{
    ArvoImage3D distance(object.imageSize(), object.voxelSize(), image::Int16);
    for (std::size_t i = 0; i < voxels<short>(distance).size(); ++i)
        voxels<short>(distance)[i] = voxels<unsigned char>(object)[i] ? 0 : 32766;
    const int depth = object.imageSize().z;
    sweep(distance, 1, depth - 1, 1);
    sweep(distance, depth - 2, 0, -1);
    return distance;
}

ArvoImage3D signedDistanceByDefinition(const ArvoImage3D& object)
{
    ArvoImage3D distance = unsignedDistanceByDefinition(boundaryByDefinition(object));
    for (std::size_t i = 0; i < voxels<short>(distance).size(); ++i) {
        if (voxels<unsigned char>(object)[i])
            voxels<short>(distance)[i] = static_cast<short>(-voxels<short>(distance)[i]);
    }
    return distance;
}

} // namespace testing_support
