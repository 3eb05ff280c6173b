#include "NaiveDifferences.h"

#include "support/RandomVolume.h"

#include <cmath>

namespace naive {

float difference(const ArvoImage3D& image, int axis, const math::Ivec3& voxel)
{
    math::Ivec3 lower = voxel, upper = voxel;
    lower[axis] = std::max(voxel[axis] - 1, 0);
    upper[axis] = std::min(voxel[axis] + 1, image.imageSize()[axis] - 1);
    const float factor = upper[axis] - lower[axis] == 2 ? 0.5f : 1.0f;
    if (image.dataType() == image::Float32)
        return (image.getFloatValue(upper.x, upper.y, upper.z) -
                image.getFloatValue(lower.x, lower.y, lower.z)) *
               factor;
    const int exact = image.getValue(upper.x, upper.y, upper.z) - image.getValue(lower.x, lower.y, lower.z);
    return static_cast<float>(exact) * factor;
}

float gradientNorm(const ArvoImage3D& image, const math::Ivec3& voxel)
{
    const float x = difference(image, 0, voxel), y = difference(image, 1, voxel),
                z = difference(image, 2, voxel);
    return std::sqrt((x * x + y * y) + z * z);
}

float divergence(const ThreeImages3D& field, const math::Ivec3& voxel)
{
    return (difference(*field.getU(), 0, voxel) + difference(*field.getV(), 1, voxel)) +
           difference(*field.getW(), 2, voxel);
}

ArvoImage3D volume(const ArvoImage3D& geometry, const std::function<float(const math::Ivec3&)>& value,
                   int first, int last, float unset)
{
    ArvoImage3D result;
    result.createFrom(&geometry, image::Float32);
    testing_support::forEachVoxel(geometry.imageSize(), [&](int x, int y, int z, std::size_t i) {
        testing_support::voxels<float>(result)[i] = z >= first && z <= last ? value({x, y, z}) : unset;
    });
    return result;
}

ThreeImages3D randomField(const math::Ivec3& size, image::DataType type, std::uint64_t seed, bool isExtreme)
{
    using namespace testing_support;
    const auto component = [&](std::uint64_t salt) {
        return new ArvoImage3D(
            randomVolume(size, type, seed + salt, isExtreme ? Fill::Extremes : Fill::Uniform));
    };
    return ThreeImages3D(component(0), component(10), component(20));
}

} // namespace naive
