#pragma once

#include "arvo/frame/ThreeImages3D.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"

#include <cmath>

/// Clamped differences voxel by voxel, straight from their definition.
namespace naive {

using testing_support::Fill;

/// The difference of a voxel's neighbours along axis 0, 1 or 2; halved where both exist.
inline float difference(const ArvoImage3D& image, int axis, const math::Ivec3& voxel)
{
    math::Ivec3 a = voxel, b = voxel;
    a[axis] = std::max(voxel[axis] - 1, 0);
    b[axis] = std::min(voxel[axis] + 1, image.imageSize()[axis] - 1);
    const float factor = b[axis] - a[axis] == 2 ? 0.5f : 1.0f;
    if (image.dataType() == image::Float32)
        return (image.getFloatValue(b.x, b.y, b.z) - image.getFloatValue(a.x, a.y, a.z)) * factor;
    return static_cast<float>(image.getValue(b.x, b.y, b.z) - image.getValue(a.x, a.y, a.z)) * factor;
}

inline float gradientNorm(const ArvoImage3D& image, const math::Ivec3& v)
{
    const float x = difference(image, 0, v), y = difference(image, 1, v), z = difference(image, 2, v);
    return std::sqrt((x * x + y * y) + z * z);
}

inline float divergence(const ThreeImages3D& field, const math::Ivec3& v)
{
    return (difference(*field.getU(), 0, v) + difference(*field.getV(), 1, v)) +
           difference(*field.getW(), 2, v);
}

/// A float volume of that geometry: value(voxel) everywhere.
template <class Value> ArvoImage3D volume(const ArvoImage3D& geometry, Value&& value)
{
    ArvoImage3D result;
    result.createFrom(&geometry, image::Float32);
    testing_support::forEachVoxel(geometry.imageSize(), [&](int x, int y, int z, std::size_t i) {
        testing_support::voxels<float>(result)[i] = value(math::Ivec3(x, y, z));
    });
    return result;
}

/// The field of the volumes component(0), component(1) and component(2).
template <class Component> ThreeImages3D field(Component&& component)
{
    const auto make = [&](int axis) { return new ArvoImage3D(component(axis)); };
    return {make(0), make(1), make(2)};
}

inline ThreeImages3D randomField(const math::Ivec3& size, image::DataType type, std::uint64_t seed,
                                 Fill fill = Fill::Uniform)
{
    return field([&](int axis) {
        return testing_support::randomVolume(size, type, seed + 10 * static_cast<unsigned>(axis), fill);
    });
}

inline bool sameFields(const ThreeImages3D& a, const ThreeImages3D& b)
{
    using testing_support::sameBits;
    return sameBits(*a.getU(), *b.getU()) && sameBits(*a.getV(), *b.getV()) && sameBits(*a.getW(), *b.getW());
}

} // namespace naive
