#pragma once

#include "support/RandomVolume.h"

#include <QVector3D>

#include <algorithm>
#include <cmath>

/// Positions to sample at, and samples straight from the definition, one at a time.
namespace naive {

/// A component of a position or a direction: mostly within the scale, often 0 or a whole number, sometimes absurd.
inline float component(testing_support::Random& random, float scale)
{
    constexpr float absurd[] = {1e9f, -1e9f, 3e38f, INFINITY, NAN};
    const float any = std::uniform_real_distribution<float>(-scale, scale)(random);
    const auto dice = random() % 16;
    if (dice < 3)
        return 0.0f;
    if (dice < 5)
        return std::round(any);
    return dice > 5 ? any : random() % 4 == 0 ? absurd[random() % 5] : -0.0f;
}

inline QVector3D vector(testing_support::Random& random, float scale)
{
    return {component(random, scale), component(random, scale), component(random, scale)};
}

/// The index of a position: toward zero; what no int holds lies far outside.
inline math::Ivec3 indexOf(const QVector3D& p)
{
    const auto along = [&](int a) {
        return std::abs(p[a]) < 2e9f ? static_cast<int>(p[a]) : -2147483647 - 1;
    };
    return {along(0), along(1), along(2)};
}

/// The blend of the eight neighbours; a neighbour past an end is the voxel at that end.
inline float trilinear(const ArvoImage3D& volume, const QVector3D& p)
{
    const math::Ivec3 index = indexOf(p);
    float sum = 0.0f;
    for (int k = 0; k < 8; ++k) {
        math::Ivec3 v;
        float weight = 1.0f;
        for (int a = 0; a < 3; ++a) {
            const int upper = k >> a & 1;
            const float f = p[a] - static_cast<float>(index[a]);
            v[a] = std::clamp(index[a] + upper, 0, volume.imageSize()[a] - 1);
            weight = weight * (upper ? f : 1.0f - f);
        }
        const float term = weight * volume.getFloatValue(v.x, v.y, v.z);
        sum = k == 0 ? term : sum + term;
    }
    return sum;
}

} // namespace naive
