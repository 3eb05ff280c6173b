#pragma once

#include "arvo/frame/ThreeImages3D.h"

#include <functional>

/// Clamped differences voxel by voxel, straight from their definition.
namespace naive {

/// The difference of a voxel's neighbours along axis 0, 1 or 2; halved where both exist.
float difference(const ArvoImage3D& image, int axis, const math::Ivec3& voxel);
float gradientNorm(const ArvoImage3D& image, const math::Ivec3& voxel);
float divergence(const ThreeImages3D& field, const math::Ivec3& voxel);

/// A float volume of that geometry with value(voxel) in slices first to last; `unset` elsewhere.
ArvoImage3D volume(const ArvoImage3D& geometry, const std::function<float(const math::Ivec3&)>& value,
                   int first = 0, int last = 1 << 30, float unset = -7.0f);

/// A field of random components of that type.
ThreeImages3D randomField(const math::Ivec3& size, image::DataType type, std::uint64_t seed, bool isExtreme);

} // namespace naive
