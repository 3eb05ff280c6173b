#pragma once

#include <concepts>
#include <cstdint>
#include <limits>

namespace image {

/// Truncates toward zero to 32 bits; a value that no 32-bit integer holds, NaN included, gives -2147483648.
///
/// This is what the processor's conversion instruction gives, spelled out so that it is defined on every path and
/// vectorises.
template <std::floating_point Real> constexpr std::int32_t truncateToInt32(Real value)
{
    constexpr Real limit = 2147483648.0f;
    const bool fits = value >= -limit && value < limit;
    return fits ? static_cast<std::int32_t>(value) : std::numeric_limits<std::int32_t>::min();
}

/// A computed value as a voxel of type T: floats stay, for integers the value is truncated toward zero and then cut to
/// the low bits of the element, without saturation (300.0 becomes 44 in 8 bits, -1.0 becomes 65535 in unsigned 16).
template <class T, std::floating_point Real> constexpr T toVoxel(Real value)
{
    if constexpr (std::floating_point<T>)
        return static_cast<T>(value);
    else
        return static_cast<T>(truncateToInt32(value));
}

/// An integer as a voxel: integers are cut to the low bits of the element, floats are rounded as usual.
template <class T> constexpr T toVoxel(int value)
{
    return static_cast<T>(value);
}

} // namespace image
