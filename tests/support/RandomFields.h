#pragma once

#include "arvo/frame/ThreeImages3D.h"

#include "support/RandomVolume.h"
#include "support/SameBits.h"

namespace testing_support {

/// The field of the volumes component(0), component(1) and component(2).
template <class Component> ThreeImages3D fieldOf(Component&& component)
{
    const auto make = [&](int axis) { return new ArvoImage3D(component(axis)); };
    return {make(0), make(1), make(2)};
}

inline ThreeImages3D randomField(const math::Ivec3& size, image::DataType type, std::uint64_t seed,
                                 Fill fill = Fill::Uniform)
{
    return fieldOf(
        [&](int axis) { return randomVolume(size, type, seed + 10 * static_cast<unsigned>(axis), fill); });
}

inline bool sameFields(const ThreeImages3D& a, const ThreeImages3D& b)
{
    return sameBits(*a.getU(), *b.getU()) && sameBits(*a.getV(), *b.getV()) && sameBits(*a.getW(), *b.getW());
}

} // namespace testing_support
