#pragma once

#include <bit>
#include <cstdint>
#include <limits>
#include <type_traits>

/// Voxels as integers of the same order.
///
/// Integers stand for themselves. Floats: -0 comes before +0, every NaN after all numbers.
namespace voxelops {

template <class T> using SortKey = std::conditional_t<std::is_floating_point_v<T>, std::int32_t, T>;

template <class T> constexpr SortKey<T> sortKeyOf(T value)
{
    if constexpr (std::is_floating_point_v<T>) {
        constexpr std::int32_t MAGNITUDE = 0x7fffffff;
        constexpr std::int32_t INFINITE = 0x7f800000;
        const auto bits = std::bit_cast<std::int32_t>(value);
        const std::int32_t key = bits ^ ((bits >> 31) & MAGNITUDE);
        return (bits & MAGNITUDE) > INFINITE ? MAGNITUDE : key;
    } else {
        return value;
    }
}

/// The float with that key: sortKeyOf is its own inverse but for NaN, of which one stands for all.
template <class T> constexpr float valueOfSortKey(std::int32_t key)
{
    if constexpr (std::is_floating_point_v<T>)
        return std::bit_cast<float>(key ^ ((key >> 31) & 0x7fffffff));
    else
        return static_cast<float>(key);
}

} // namespace voxelops
