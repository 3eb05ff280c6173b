#include "trust/FixedInputs.h"

#include <cstdint>

namespace trust {

namespace {

const QVector3D SPACING(0.5f, 0.75f, 1.25f);

// The 64-bit finaliser of D. Stafford's mix 13 over a counter: every bit of the result depends on every bit of it.
std::uint64_t noise(std::uint64_t counter)
{
    std::uint64_t bits = counter * 0x9e3779b97f4a7c15u;
    bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9u;
    bits = (bits ^ (bits >> 27)) * 0x94d049bb133111ebu;
    return bits ^ (bits >> 31);
}

/// Calls set(slice, index in the slice, noise, share) for every voxel; share falls from 1000 in the middle to below 0.
template <class T, class Set> void fill(ArvoImage3D& volume, unsigned seed, Set&& set)
{
    const math::Ivec3 size = volume.imageSize();
    std::uint64_t counter = static_cast<std::uint64_t>(seed) << 32;
    for (int z = 0; z < size.z; ++z) {
        auto* slice = reinterpret_cast<T*>(volume.getAxialSlice(z));
        for (int y = 0; y < size.y; ++y) {
            for (int x = 0; x < size.x; ++x) {
                const int dx = 2 * x - size.x, dy = 2 * y - size.y, dz = 2 * z - size.z;
                const int share = 1000 - 1000 * dx * dx / (size.x * size.x) -
                                  1000 * dy * dy / (size.y * size.y) - 1000 * dz * dz / (size.z * size.z);
                slice[y * size.x + x] = set(noise(++counter), share);
            }
        }
    }
    volume.editFinished();
}

} // namespace

ArvoImage3D fixedVolume(const math::Ivec3& size, image::DataType type, unsigned seed)
{
    ArvoImage3D volume(size, SPACING, type);
    image::withElementType(type, image::StoredTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        fill<T>(volume, seed, [](std::uint64_t bits, int share) {
            const auto wide = static_cast<int>(bits % 40001) - 20000;
            const int value = bits >> 60 == 0 ? wide : share + static_cast<int>(bits % 200) - 500;
            if constexpr (std::is_same_v<T, float>)
                return static_cast<float>(value) / 16.0f;
            else
                return static_cast<T>(value);
        });
    });
    return volume;
}

ArvoImage3D fixedMask(const math::Ivec3& size, unsigned seed)
{
    ArvoImage3D mask(size, SPACING, image::Binary);
    fill<unsigned char>(mask, seed, [](std::uint64_t bits, int share) {
        return static_cast<unsigned char>(share > 600 ? bits % 256 != 0 : bits % 64 == 0);
    });
    return mask;
}

ArvoImage3D fixedInput(const math::Ivec3& size, image::DataType type)
{
    return type == image::Binary ? fixedMask(size, 3) : fixedVolume(size, type, 1);
}

MakeVolume otherVolume(unsigned seed)
{
    return [seed](const math::Ivec3& size, image::DataType type) { return fixedVolume(size, type, seed); };
}

MakeVolume maskFor(unsigned seed)
{
    return [seed](const math::Ivec3& size, image::DataType) { return fixedMask(size, seed); };
}

MakeVolume zeros(image::DataType type)
{
    return [type](const math::Ivec3& size, image::DataType) {
        ArvoImage3D volume(size, SPACING, type);
        volume.zeroSlices();
        return volume;
    };
}

} // namespace trust
