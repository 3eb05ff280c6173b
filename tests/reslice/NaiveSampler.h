#pragma once

#include "arvo/platform/image/ArvoImage3D.h"

#include <algorithm>
#include <array>
#include <cmath>

/// Samples straight from the definition, one at a time, for comparison.
namespace naive {

using Vec = std::array<float, 3>;

/// The index of a position: toward zero; what no int holds lies far outside.
inline int indexOf(float position)
{
    return std::abs(position) < 2e9f ? static_cast<int>(position) : -2147483647 - 1;
}

inline bool isInside(const ArvoImage3D& volume, int x, int y, int z)
{
    const math::Ivec3 n = volume.imageSize();
    return x >= 0 && y >= 0 && z >= 0 && x < n.x && y < n.y && z < n.z;
}

/// The blend of the eight neighbours; a neighbour past an end is the voxel at that end.
inline float trilinear(const ArvoImage3D& volume, const Vec& p)
{
    const math::Ivec3 n = volume.imageSize();
    int index[3];
    float f[3];
    for (int a = 0; a < 3; ++a) {
        index[a] = indexOf(p[static_cast<std::size_t>(a)]);
        f[a] = p[static_cast<std::size_t>(a)] - static_cast<float>(index[a]);
    }
    float sum = 0.0f;
    for (int k = 0; k < 8; ++k) {
        int v[3];
        float weight = 1.0f;
        for (int a = 0; a < 3; ++a) {
            const int upper = k >> a & 1;
            v[a] = std::clamp(index[a] + upper, 0, n[a] - 1);
            weight = weight * (upper ? f[a] : 1.0f - f[a]);
        }
        const float term = weight * volume.getFloatValue(v[0], v[1], v[2]);
        sum = k == 0 ? term : sum + term;
    }
    return sum;
}

} // namespace naive
