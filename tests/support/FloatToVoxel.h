#pragma once

#include <concepts>
#include <cstdint>

namespace testing_support {

/// Truncated toward zero; what no 32-bit integer holds, NaN included, as the smallest one.
inline std::int32_t truncated(double value)
{
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<std::int32_t>(value) : INT32_MIN;
}

/// A number as a voxel of type T: floats as they are, integers truncated and then cut to the low bits of the element.
template <class T> T storedAs(double value)
{
    if constexpr (std::floating_point<T>)
        return static_cast<T>(value);
    else
        return static_cast<T>(truncated(value));
}

} // namespace testing_support
