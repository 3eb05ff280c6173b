#pragma once

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ElementTypes.h"

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

/// Volumes for differential tests: sizes x types x seeds, every voxel reproducible from its seed.
namespace testing_support {

using Random = std::mt19937_64;

/// Odd, non-cubic sizes: extents of 1, 2 and 3, around the vector width, primes, and one of more than 32 KiB, whose pages
/// are read in turn.
const std::vector<math::Ivec3>& someSizes();

/// The element types that most operations accept: 0, 1, 2, 3 and 5.
const std::vector<image::DataType>& voxelTypes();

std::string describe(const math::Ivec3& size, image::DataType type, std::uint64_t seed);

enum class Fill {
    Uniform,   ///< the whole range of integer types; floats in [-1000, 1000]
    Extremes,  ///< many smallest, largest and zero values; floats also with NaN, infinities, -0 and denormals
    FewValues, ///< 0 to 3, so that ties and zeros are common
    Mask,      ///< 0 and 1, one third set
};

/// A volume of unequal spacing with random voxels.
ArvoImage3D randomVolume(const math::Ivec3& size, image::DataType type, std::uint64_t seed,
                         Fill fill = Fill::Uniform);

/// A 0/1 volume of type Binary with that share of ones.
ArvoImage3D randomMask(const math::Ivec3& size, double density, std::uint64_t seed);

/// A volume with the given voxels, x fastest.
template <class T>
ArvoImage3D volumeOf(const math::Ivec3& size, image::DataType type, const std::vector<T>& values)
{
    ArvoImage3D image(size, QVector3D(1.0f, 1.0f, 1.0f), type);
    for (std::size_t i = 0; i < values.size(); ++i)
        reinterpret_cast<T*>(image.dataPtr())[i] = values[i];
    image.editFinished();
    return image;
}

/// The voxels as a span of T.
template <class T> std::span<T> voxels(ArvoImage3D& image)
{
    return {reinterpret_cast<T*>(image.dataPtr()),
            image.sizeOfAxialSlice() / sizeof(T) * static_cast<std::size_t>(image.imageSize().z)};
}

template <class T> std::span<const T> voxels(const ArvoImage3D& image)
{
    return {reinterpret_cast<const T*>(image.dataPtr()),
            image.sizeOfAxialSlice() / sizeof(T) * static_cast<std::size_t>(image.imageSize().z)};
}

ArvoImage3D copyOf(const ArvoImage3D& image);

/// Calls body(x, y, z, index) for every voxel, x fastest.
template <class Body> void forEachVoxel(const math::Ivec3& size, Body&& body)
{
    std::size_t index = 0;
    for (int z = 0; z < size.z; ++z) {
        for (int y = 0; y < size.y; ++y) {
            for (int x = 0; x < size.x; ++x)
                body(x, y, z, index++);
        }
    }
}

inline bool holds(const math::Ivec3& size, int x, int y, int z)
{
    return x >= 0 && y >= 0 && z >= 0 && x < size.x && y < size.y && z < size.z;
}

/// The place of a voxel that the volume holds.
inline std::size_t indexOf(const math::Ivec3& size, int x, int y, int z)
{
    return (static_cast<std::size_t>(z) * static_cast<std::size_t>(size.y) + static_cast<std::size_t>(y)) *
               static_cast<std::size_t>(size.x) +
           static_cast<std::size_t>(x);
}

/// Calls body(size, type, seed) for all sizes, the given types and two seeds.
template <class Body> void forEachCase(const std::vector<image::DataType>& types, Body&& body)
{
    for (const math::Ivec3& size : someSizes()) {
        for (const image::DataType type : types) {
            for (const std::uint64_t seed : {1u, 2u})
                body(size, type, seed);
        }
    }
}

/// Calls body(std::type_identity<T>{}) with the element type of `type`.
template <class Body> void withType(image::DataType type, Body&& body)
{
    image::withElementType(type, image::StoredTypes{}, nullptr, [&](auto element) { body(element); });
}

} // namespace testing_support
