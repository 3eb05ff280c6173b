// The synthetic inputs of WORKLOADS.md as plain vectors.
#pragma once

#include "../support/Phantom.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace phantom {

template <class T, class F> std::vector<T> fill(int n, F f)
{
    std::vector<T> out(std::size_t(n) * n * n);
    std::size_t i = 0;
    for (int z = 0; z < n; ++z)
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x)
                out[i++] = f(x, y, z);
    return out;
}

inline std::vector<std::int16_t> ctInt16(int n, std::uint32_t seed)
{
    return fill<std::int16_t>(n,
                              [=](int x, int y, int z) { return std::int16_t(ctValue(x, y, z, n, seed)); });
}

inline std::vector<std::uint16_t> ctUInt16(const std::vector<std::int16_t>& ct)
{
    std::vector<std::uint16_t> out(ct.size());
    std::transform(ct.begin(), ct.end(), out.begin(), [](int v) { return std::uint16_t(v + 1100); });
    return out;
}

inline std::vector<std::uint8_t> ctUInt8(const std::vector<std::int16_t>& ct)
{
    std::vector<std::uint8_t> out(ct.size());
    std::transform(ct.begin(), ct.end(), out.begin(),
                   [](int v) { return std::uint8_t(std::clamp((v + 1024) >> 3, 0, 255)); });
    return out;
}

inline std::vector<float> ctFloat(const std::vector<std::int16_t>& ct, int n, std::uint32_t seed)
{
    std::vector<float> out =
        fill<float>(n, [=](int x, int y, int z) { return float(hash(x, y, z, seed) >> 24) / 256.0f; });
    for (std::size_t i = 0; i < out.size(); ++i)
        out[i] += float(ct[i]);
    return out;
}

inline std::vector<std::uint8_t> maskSmooth(int n)
{
    struct Ball {
        std::int64_t c[3], r2;
    };
    std::array<Ball, 60> balls;
    for (std::uint32_t i = 0; i < balls.size(); ++i) {
        for (std::uint32_t k = 0; k < 3; ++k)
            balls[i].c[k] = hash(i, k, 0, 201) % std::uint32_t(2 * n);
        const std::int64_t r = std::int64_t(n) * (12 + hash(i, 3, 0, 201) % 24) / 100;
        balls[i].r2 = r * r;
    }
    std::vector<std::uint8_t> out(std::size_t(n) * n * n, 0);
    for (const Ball& b : balls) {
        std::size_t i = 0;
        for (int z = 0; z < n; ++z)
            for (int y = 0; y < n; ++y) {
                const std::int64_t dz = 2 * z + 1 - b.c[2], dy = 2 * y + 1 - b.c[1];
                const std::int64_t rest = b.r2 - dz * dz - dy * dy;
                for (int x = 0; x < n; ++x, ++i) {
                    const std::int64_t dx = 2 * x + 1 - b.c[0];
                    if (dx * dx < rest)
                        out[i] = 1;
                }
            }
    }
    return out;
}

inline std::vector<std::uint8_t> maskParts(const std::vector<std::int16_t>& ct)
{
    std::vector<std::uint8_t> out(ct.size());
    std::transform(ct.begin(), ct.end(), out.begin(), [](int v) { return std::uint8_t(v > 80 ? 1 : 0); });
    return out;
}

inline std::vector<std::uint8_t> maskNoise(int n)
{
    return fill<std::uint8_t>(
        n, [](int x, int y, int z) { return std::uint8_t(hash(x, y, z, 7) < 1503238553u ? 1 : 0); });
}

// Order-sensitive checksum of an input, so that another implementation of these formulas can be compared.
template <class T> std::uint64_t checksum(const std::vector<T>& v)
{
    std::uint64_t s = 0;
    for (std::size_t i = 0; i < v.size(); ++i)
        s += std::uint64_t(std::int64_t(v[i] * 256)) * (i % 251 + 1);
    return s;
}

} // namespace phantom
