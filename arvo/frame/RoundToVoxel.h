#pragma once

#include "arvo/platform/image/VoxelConversion.h"

namespace frame {

/// A computed float as a voxel of type T: floats stay, for integers the value is rounded to the nearest integer, halves
/// away from zero, and cut to the low bits of the element, without saturation. A value that no 32-bit integer holds,
/// NaN included, counts as -2147483648 before the cut.
///
/// std::round without a library call, so that it vectorises. The fraction is exact, and so is the step to the next
/// integer, because a float with a fraction lies below 2^23. Beyond the 32-bit range the step is absorbed.
template <class T> constexpr T roundToVoxel(float value)
{
    if constexpr (std::floating_point<T>) {
        return value;
    } else {
        const float whole = static_cast<float>(image::truncateToInt32(value));
        const float fraction = value - whole;
        const float step = (fraction >= 0.5f ? 1.0f : 0.0f) - (fraction <= -0.5f ? 1.0f : 0.0f);
        return static_cast<T>(static_cast<std::int32_t>(whole + step));
    }
}

} // namespace frame
