#pragma once

#include <cstdint>

/// The deterministic voxels of the workloads. Integer arithmetic only, so that every language and every instruction
/// set makes the same ones.
namespace phantom {

inline std::uint32_t hash(std::uint32_t x, std::uint32_t y, std::uint32_t z, std::uint32_t seed)
{
    std::uint32_t h = x * 0x243F6A89u + y * 0x85A308D3u + z * 0x13198A2Fu + seed * 0x03707345u;
    h ^= h >> 16;
    h *= 0xA4093823u;
    h ^= h >> 15;
    h *= 0x299F31D1u;
    h ^= h >> 16;
    return h;
}

/// A voxel centre in half voxels from the middle of a volume of edge n.
struct Centred {
    std::int64_t x, y, z, n;
};

/// Inside the ellipsoid with semi-axes (a, b, c) and centre (ox, oy, oz), all in percent of the half edge.
inline bool inEllipsoid(const Centred& p, std::int64_t ox, std::int64_t oy, std::int64_t oz, std::int64_t a,
                        std::int64_t b, std::int64_t c)
{
    const std::int64_t u = (100 * p.x - ox * p.n) * b * c;
    const std::int64_t v = (100 * p.y - oy * p.n) * a * c;
    const std::int64_t w = (100 * p.z - oz * p.n) * a * b;
    const std::int64_t r = p.n * a * b * c;
    const auto square = [](std::int64_t value) {
        return static_cast<double>(value) * static_cast<double>(value);
    };
    // The doubles are exact enough to reject what would overflow; the integers decide.
    return square(u) + square(v) + square(w) < 4e18 && u * u + v * v + w * w < r * r;
}

/// A CT-like head: air, soft tissue, a skull shell, brain with ventricles and a sinus, bright specks, noise.
inline int ctValue(int x, int y, int z, int n, std::uint32_t seed)
{
    const Centred p{2 * x + 1 - n, 2 * y + 1 - n, 2 * z + 1 - n, n};
    const auto bits = [](int value) { return static_cast<std::uint32_t>(value); };
    int value = -1000;
    if (inEllipsoid(p, 0, 0, 0, 88, 96, 92)) {
        value = 45;
        if (inEllipsoid(p, 0, 0, 0, 82, 90, 86))
            value = 1150;
        if (inEllipsoid(p, 0, 0, 0, 74, 82, 78)) {
            value = 30;
            if (inEllipsoid(p, -14, 5, 0, 12, 30, 20) || inEllipsoid(p, 14, 5, 0, 12, 30, 20))
                value = 5;
            if (inEllipsoid(p, 0, -50, -40, 22, 18, 20))
                value = -950;
        }
        const std::uint32_t h = hash(bits(x >> 3), bits(y >> 3), bits(z >> 3), 101);
        if (h % 5 == 0) {
            constexpr int radius2[4] = {1, 2, 4, 6};
            const int dx = (x & 7) - 2 - static_cast<int>((h >> 8) & 3);
            const int dy = (y & 7) - 2 - static_cast<int>((h >> 10) & 3);
            const int dz = (z & 7) - 2 - static_cast<int>((h >> 12) & 3);
            if (dx * dx + dy * dy + dz * dz <= radius2[(h >> 14) & 3])
                value = 900 + static_cast<int>((h >> 16) & 1023);
        }
    }
    const std::uint32_t h = hash(bits(x), bits(y), bits(z), seed);
    return value + static_cast<int>(h & 63) + static_cast<int>((h >> 6) & 63) - 63;
}

} // namespace phantom
