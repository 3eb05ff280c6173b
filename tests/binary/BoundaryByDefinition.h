#pragma once

#include "support/RandomVolume.h"

#include <algorithm>
#include <vector>

/// Objects for the tests of the boundary and of the distance map, and the boundary voxel by voxel.
namespace testing_support {

/// Sizes from the smallest accepted on, thin in each axis, around the vector widths.
inline const std::vector<math::Ivec3>& objectSizes()
{
    static const std::vector<math::Ivec3> sizes = {
        {3, 3, 3},  {4, 3, 5},  {3, 7, 3},  {8, 3, 4},  {7, 9, 3},  {16, 5, 6},  {17, 6, 5},
        {9, 4, 11}, {33, 7, 4}, {3, 3, 40}, {3, 40, 3}, {70, 3, 5}, {24, 24, 5}, {13, 11, 9}};
    return sizes;
}

/// Random objects of several densities, a box that touches no face, one object on each face, a full and an empty one,
/// and grey values.
inline std::vector<ArvoImage3D> someObjects(const math::Ivec3& size)
{
    std::vector<ArvoImage3D> objects;
    for (const double density : {0.0, 0.003, 0.05, 0.5, 0.95, 1.0})
        objects.push_back(randomMask(size, density, 7));
    objects.push_back(randomVolume(size, image::UInt8, 8, Fill::Extremes));

    const auto addBox = [&](const math::Ivec3& min, const math::Ivec3& max) {
        ArvoImage3D& box = objects.emplace_back(randomMask(size, 0.0, 1));
        for (int z = min.z; z <= max.z; ++z) {
            for (int y = min.y; y <= max.y; ++y) {
                for (int x = min.x; x <= max.x; ++x)
                    reinterpret_cast<unsigned char*>(box.getAxialSlice(z))[y * size.x + x] = 1;
            }
        }
    };
    const math::Ivec3 last(size.x - 1, size.y - 1, size.z - 1);
    addBox({1, 1, 1}, {last.x - 1, last.y - 1, last.z - 1});
    addBox({0, 0, 0}, {0, last.y, last.z});
    addBox({last.x, 0, 0}, last);
    addBox({0, 0, 0}, {last.x, 0, last.z});
    addBox({0, last.y, 0}, last);
    addBox({0, 0, 0}, {last.x, last.y, 0});
    addBox({0, 0, last.z}, last);
    addBox({size.x / 2, size.y / 2, size.z / 2}, {size.x / 2, size.y / 2, size.z / 2});
    return objects;
}

/// Volumes that neither operation accepts.
inline const std::vector<ArvoImage3D>& unfitObjects()
{
    static const std::vector<ArvoImage3D> unfit = [] {
        std::vector<ArvoImage3D> volumes;
        for (const image::DataType type :
             {image::UInt16, image::Int16, image::Reserved, image::Float32, image::Int32})
            volumes.emplace_back(math::Ivec3(5, 5, 5), QVector3D(1, 1, 1), type);
        for (const math::Ivec3& size :
             {math::Ivec3(2, 10, 10), math::Ivec3(10, 2, 10), math::Ivec3(10, 10, 2), math::Ivec3(0, 10, 10)})
            volumes.emplace_back(size, QVector3D(1, 1, 1), image::Binary);
        volumes.emplace_back();
        return volumes;
    }();
    return unfit;
}

/// Slice by slice, one run from the second voxel of the second row to the last but one of the last but one row.
inline ArvoImage3D boundaryByDefinition(const ArvoImage3D& object)
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

} // namespace testing_support
