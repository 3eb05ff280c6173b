#pragma once

#include <cstddef>
#include <cstdint>

/// Counting kernels on runs of voxels, at the speed of memory.
namespace voxelops {

/// How many of `count` values compare equal to `value` (-0 equals 0, NaN equals nothing).
/// T: unsigned char, short, unsigned short, std::int32_t or float.
template <class T> std::int64_t countEqual(const T* values, std::ptrdiff_t count, T value);

/// How many of `count` values are greater than `limit`. T: as for countEqual.
template <class T> std::int64_t countAbove(const T* values, std::ptrdiff_t count, T limit);

} // namespace voxelops
